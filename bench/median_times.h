// For benchmark binaries that end with a table of ratios: a console reporter
// that also keeps each benchmark's CPU time by name, the median when run with
// --benchmark_repetitions, and a main that runs the benchmarks through it.
// CPU time: other work on a shared machine inflates wall time unevenly.
#ifndef BASE_BENCH_MEDIAN_TIMES_H_
#define BASE_BENCH_MEDIAN_TIMES_H_

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace base::bench {

class MedianTimesReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      const bool repeated = run.repetitions > 1;
      if (repeated ? run.aggregate_name == "median" : run.run_type == Run::RT_Iteration)
        times_[run.run_name.function_name + Args(run)] = run.GetAdjustedCPUTime();
    }
    ConsoleReporter::ReportRuns(runs);
  }

 protected:
  // The time of `name` ("BM_X" or "BM_X/arg"), or 0 when it did not run.
  double Time(const std::string& name) const {
    const auto it = times_.find(name);
    return it == times_.end() ? 0 : it->second;
  }

 private:
  static std::string Args(const Run& run) {
    return run.run_name.args.empty() ? "" : "/" + run.run_name.args;
  }

  std::map<std::string, double> times_;
};

// The body of main: the benchmarks chosen on the command line, reported
// through `reporter`, whose Finalize prints the ratios.
inline int RunBenchmarks(int argc, char** argv, benchmark::BenchmarkReporter& reporter) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv))
    return 1;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}

}  // namespace base::bench

#endif  // BASE_BENCH_MEDIAN_TIMES_H_
