// Whole-archive extraction: Unzip beside Info-ZIP `unzip -q -o` and
// `bsdtar -xf`, and beside the inflate+CRC ceiling (every entry inflated into
// memory with zlib, nothing written).
//
// Usage: unzip_bench [benchmark flags] <corpus dir> <output dir>
// The corpus is what bench/unzip_setup.sh prepares. Each run extracts into a
// fresh directory below <output dir>; nothing is deleted while timing (a
// deletion just before makes the next extraction on ext4 several times
// slower), and everything is removed at the end. Run with
// --benchmark_repetitions=5 --benchmark_enable_random_interleaving=true and
// compare medians: absolute times on a shared machine are noise.
#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unzip.h>
#include <zlib.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "base/unzip.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;

fs::path g_output;

fs::path FreshDirectory(const std::string& label) {
  static int counter = 0;
  return g_output / (label + "-" + std::to_string(++counter));
}

// User and system time of this process and its waited-for children, in ms.
// On a loaded machine this shows the work done apart from the waiting.
double CpuMilliseconds() {
  double total = 0;
  for (int who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
    rusage usage;
    getrusage(who, &usage);
    for (const timeval& t : {usage.ru_utime, usage.ru_stime})
      total += static_cast<double>(t.tv_sec) * 1e3 + static_cast<double>(t.tv_usec) / 1e3;
  }
  return total;
}

bool Spawn(std::vector<std::string> args) {
  std::vector<char*> argv;
  for (std::string& a : args)
    argv.push_back(a.data());
  argv.push_back(nullptr);
  pid_t pid;
  if (posix_spawnp(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0)
    return false;
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// Inflates every entry of `archive` into a 64 KiB buffer and checks its CRC.
bool InflateAndCheck(const std::string& archive) {
  unzFile zip = unzOpen64(archive.c_str());
  if (zip == nullptr)
    return false;
  std::vector<unsigned char> packed;
  std::vector<unsigned char> out(65536);
  bool ok = true;
  for (int r = unzGoToFirstFile(zip); ok && r == UNZ_OK; r = unzGoToNextFile(zip)) {
    unz_file_info64 info;
    int method = 0;
    int level = 0;
    ok = unzGetCurrentFileInfo64(zip, &info, nullptr, 0, nullptr, 0, nullptr, 0) == UNZ_OK &&
         unzOpenCurrentFile2(zip, &method, &level, 1) == UNZ_OK;
    if (!ok)
      break;
    packed.resize(info.compressed_size);
    const int n = info.compressed_size
                      ? unzReadCurrentFile(zip, packed.data(), static_cast<unsigned>(packed.size()))
                      : 0;
    unzCloseCurrentFile(zip);
    uLong crc = crc32(0, nullptr, 0);
    if (method == 0) {
      crc = crc32(crc, packed.data(), static_cast<uInt>(n));
    } else {
      z_stream z{};
      inflateInit2(&z, -MAX_WBITS);
      z.next_in = packed.data();
      z.avail_in = static_cast<uInt>(n);
      int status;
      do {
        z.next_out = out.data();
        z.avail_out = static_cast<uInt>(out.size());
        status = inflate(&z, Z_NO_FLUSH);
        crc = crc32(crc, out.data(), static_cast<uInt>(out.size() - z.avail_out));
      } while (status == Z_OK);
      inflateEnd(&z);
      ok = status == Z_STREAM_END;
    }
    ok = ok && crc == info.crc;
  }
  unzClose(zip);
  return ok;
}

void RegisterArchive(const fs::path& archive) {
  const std::string name = archive.filename().string();
  const std::string path = archive.string();
  auto add = [&](const std::string& tool, auto run) {
    benchmark::RegisterBenchmark((name + "/" + tool).c_str(),
                                 [=](benchmark::State& state) {
                                   double cpu = 0;
                                   for (auto _ : state) {
                                     const double start = CpuMilliseconds();
                                     if (!run(FreshDirectory(name + "-" + tool).string()))
                                       state.SkipWithError("extraction failed");
                                     cpu += CpuMilliseconds() - start;
                                   }
                                   state.counters["cpu_ms"] = cpu;
                                 })
        ->Iterations(1)
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
  };
  add("Unzip", [path](const std::string& out) { return Unzip(path, out); });
  add("infozip", [path](const std::string& out) {
    return Spawn({"unzip", "-q", "-o", path, "-d", out});
  });
  add("bsdtar", [path](const std::string& out) {
    return fs::create_directories(out) && Spawn({"bsdtar", "-xf", path, "-C", out});
  });
  add("inflate_crc", [path](const std::string&) { return InflateAndCheck(path); });
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s [benchmark flags] <corpus dir> <output dir>\n", argv[0]);
    return 2;
  }
  g_output = argv[2];
  fs::remove_all(g_output);
  fs::create_directories(g_output);
  for (const char* archive : {"jdk-src.zip", "guava.jar", "pip.whl", "big-binaries.zip"})
    RegisterArchive(fs::path(argv[1]) / archive);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  fs::remove_all(g_output);
  return 0;
}
