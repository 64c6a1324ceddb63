// Thread tasks against what a user would otherwise reach for: a
// boost::asio::thread_pool with a future, std::async, and a std::thread per
// task. Each of our tasks owns two events and a map entry besides its run.
//
// Rows: post-to-start latency (median and p99 in the counters), throughput of
// empty tasks with and without a join of each, bursts of 200,000 empty tasks
// against an asio pool of one thread per core, the latency from Interrupt to
// the catch of TaskInterrupted in a task that waits, the stop of 10,000
// sleeping tasks, 400 tasks that block at once on a pool whose workers are all
// busy, and the release of 200,000 held pointers. Compare rows of one run;
// absolute times on a shared machine are noise. Run with
// --benchmark_repetitions=5 and read the medians (the Burst rows repeat by
// themselves: compare their fastest and slowest runs too).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>
#include <thread>
#include <vector>

#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>

#include "base/method.h"
#include "base/platform.h"
#include "base/thread_task.h"
#include "platform/testing/thread_pool_testing.h"
#include "platform/thread_pool.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kBatch = 1000;    // tasks per iteration of a throughput row
constexpr int kBurst = 200000;  // tasks of one burst, posted as fast as the poster can

double Micros(Clock::duration d) {
  return std::chrono::duration<double, std::micro>(d).count();
}

// Runs `postAndWait(started)` once per iteration; it must start a task that
// stores Clock::now() into `started` and wait for it. Reports the median and
// the 99th percentile of the post-to-start time.
template <typename PostAndWait>
void Latency(benchmark::State& state, PostAndWait postAndWait) {
  std::vector<double> samples;
  samples.reserve(1 << 16);
  for (auto _ : state) {
    Clock::time_point started;
    const Clock::time_point posted = Clock::now();
    postAndWait(started);
    samples.push_back(Micros(started - posted));
  }
  std::sort(samples.begin(), samples.end());
  state.counters["median_us"] = samples[samples.size() / 2];
  state.counters["p99_us"] = samples[samples.size() * 99 / 100];
}

void BM_Latency_Task(benchmark::State& state) {
  OrvThread::InitThreadManagement();
  Latency(state, [](Clock::time_point& started) {
    OrvThread::PostThreadTask(MakeMethod([&started] { started = Clock::now(); }))->Join();
  });
}

void BM_Latency_AsioPool(benchmark::State& state) {
  boost::asio::thread_pool pool(std::thread::hardware_concurrency());
  Latency(state, [&pool](Clock::time_point& started) {
    std::promise<void> done;
    boost::asio::post(pool, [&] {
      started = Clock::now();
      done.set_value();
    });
    done.get_future().get();
  });
}

void BM_Latency_Async(benchmark::State& state) {
  Latency(state, [](Clock::time_point& started) {
    std::async(std::launch::async, [&started] { started = Clock::now(); }).get();
  });
}

void BM_Latency_ThreadPerTask(benchmark::State& state) {
  Latency(state, [](Clock::time_point& started) {
    std::thread([&started] { started = Clock::now(); }).join();
  });
}

// Throughput without a join of each: post a batch of state.range(0) tasks,
// dropping their pointers, then wait for all of it. `workers` is the number
// of pool threads alive at the end.
void BM_Batch_Task(benchmark::State& state) {
  const int batch = static_cast<int>(state.range(0));
  OrvThread::InitThreadManagement();
  std::atomic<int> done{0};
  Method<void()> work = MakeMethod([&done] { done.fetch_add(1, std::memory_order_release); });
  for (auto _ : state) {
    done.store(0);
    for (int i = 0; i < batch; ++i)
      OrvThread::PostThreadTask(work);
    while (done.load(std::memory_order_acquire) != batch)
      std::this_thread::yield();
  }
  state.counters["workers"] = static_cast<double>(base::platform::testing::PoolWorkerCount());
  OrvThread::FInitThreadManagement();
  state.SetItemsProcessed(state.iterations() * batch);
}

void BM_Batch_AsioPool(benchmark::State& state) {
  const int batch = static_cast<int>(state.range(0));
  boost::asio::thread_pool pool(std::thread::hardware_concurrency());
  std::atomic<int> done{0};
  for (auto _ : state) {
    done.store(0);
    for (int i = 0; i < batch; ++i)
      boost::asio::post(pool, [&done] { done.fetch_add(1, std::memory_order_release); });
    while (done.load(std::memory_order_acquire) != batch)
      std::this_thread::yield();
  }
  state.SetItemsProcessed(state.iterations() * batch);
}

void BM_Batch_Async(benchmark::State& state) {
  std::vector<std::future<void>> futures;
  futures.reserve(kBatch);
  for (auto _ : state) {
    for (int i = 0; i < kBatch; ++i)
      futures.push_back(std::async(std::launch::async, [] {}));
    futures.clear();  // each future's destructor waits
  }
  state.SetItemsProcessed(state.iterations() * kBatch);
}

void BM_Batch_ThreadPerTask(benchmark::State& state) {
  std::vector<std::thread> threads;
  threads.reserve(kBatch);
  for (auto _ : state) {
    for (int i = 0; i < kBatch; ++i)
      threads.emplace_back([] {});
    for (auto& thread : threads)
      thread.join();
    threads.clear();
  }
  state.SetItemsProcessed(state.iterations() * kBatch);
}

// Throughput with a join of each task before the next is posted.
void BM_Joined_Task(benchmark::State& state) {
  OrvThread::InitThreadManagement();
  Method<void()> work = MakeMethod([] {});
  for (auto _ : state)
    OrvThread::PostThreadTask(work)->Join();
  state.SetItemsProcessed(state.iterations());
}

void BM_Joined_AsioPool(benchmark::State& state) {
  boost::asio::thread_pool pool(std::thread::hardware_concurrency());
  for (auto _ : state) {
    std::packaged_task<void()> task([] {});
    std::future<void> done = task.get_future();
    boost::asio::post(pool, std::move(task));
    done.get();
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_Joined_Async(benchmark::State& state) {
  for (auto _ : state)
    std::async(std::launch::async, [] {}).get();
  state.SetItemsProcessed(state.iterations());
}

void BM_Joined_ThreadPerTask(benchmark::State& state) {
  for (auto _ : state)
    std::thread([] {}).join();
  state.SetItemsProcessed(state.iterations());
}

// From Interrupt on the poster to the handler of TaskInterrupted in a task
// that waits on an event nobody signals.
void BM_InterruptToThrow(benchmark::State& state) {
  OrvThread::InitThreadManagement();
  HANDLE never = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  std::vector<double> samples;
  for (auto _ : state) {
    std::atomic<bool> waiting{false};
    Clock::time_point caught;
    OrvThread::ThreadTaskPtr task = OrvThread::PostThreadTask(MakeMethod([&] {
      waiting.store(true);
      try {
        OrvThread::thisThreadTask::InterruptibleWait(never,
                                                     OrvThread::Detail::wait_timeout(INFINITE));
      } catch (const OrvThread::thisThreadTask::TaskInterrupted&) {
        caught = Clock::now();
      }
    }));
    while (!waiting.load())
      std::this_thread::yield();
    // Let the task reach its wait, outside the measured time.
    state.PauseTiming();
    std::this_thread::sleep_for(std::chrono::microseconds(200));
    state.ResumeTiming();
    const Clock::time_point interrupted = Clock::now();
    task->Interrupt();
    task->Join();
    samples.push_back(Micros(caught - interrupted));
  }
  CloseHandle(never);
  std::sort(samples.begin(), samples.end());
  state.counters["median_us"] = samples[samples.size() / 2];
  state.counters["p99_us"] = samples[samples.size() * 99 / 100];
}

// Stops 10,000 tasks asleep in Sleep(INFINITE). The pool runs at most its cap
// of workers at once; the other tasks wait in its queue and meet their request
// at their first interruption point.
void BM_StopAllSleeping(benchmark::State& state) {
  constexpr int kTasks = 10000;
  OrvThread::InitThreadManagement();
  std::atomic<int> asleep{0};
  Method<void()> work = MakeMethod([&asleep] {
    asleep.fetch_add(1);
    OrvThread::thisThreadTask::Sleep(INFINITE);
  });
  double worst = 0;
  for (auto _ : state) {
    state.PauseTiming();
    asleep.store(0);
    for (int i = 0; i < kTasks; ++i)
      OrvThread::PostThreadTask(work);
    // Every worker the pool may run at once ends up with a sleeping task.
    const int running =
        static_cast<int>(std::min<std::size_t>(kTasks, base::platform::kMaxPoolWorkers));
    while (asleep.load() < running)
      std::this_thread::yield();
    state.counters["asleep_at_stop"] = asleep.load();
    state.ResumeTiming();
    const Clock::time_point start = Clock::now();
    OrvThread::FInitThreadManagement();
    worst = std::max(worst, Micros(Clock::now() - start) / 1000);
  }
  state.counters["worst_ms"] = worst;
}

// 400 tasks that each block on one event, posted while every worker of the
// pool is busy in a wait of its own, so each needs a worker started for it.
// `all_running_ms` is the time from the first post until the last of them
// has started.
void BM_BlockedAtOnce(benchmark::State& state) {
  constexpr int kTasks = 400;
  OrvThread::InitThreadManagement();
  HANDLE busy = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  HANDLE release = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  double worst = 0;
  for (auto _ : state) {
    state.PauseTiming();
    ResetEvent(busy);
    ResetEvent(release);
    // Workers of earlier rows retire first, down to the core count.
    base::platform::testing::SetIdleWorkerTimeout(1);
    while (base::platform::testing::PoolWorkerCount() > std::thread::hardware_concurrency())
      std::this_thread::yield();
    base::platform::testing::SetIdleWorkerTimeout(2000);
    const std::size_t workers = base::platform::testing::PoolWorkerCount();
    std::vector<OrvThread::ThreadTaskPtr> holders;
    for (std::size_t i = 0; i < workers; ++i)
      holders.push_back(
          OrvThread::PostThreadTask(MakeMethod([busy] { WaitForSingleObject(busy, INFINITE); })));
    while (base::platform::testing::CountPool().blocked < workers)
      std::this_thread::yield();
    std::atomic<int> started{0};
    Method<void()> work = MakeMethod([&started, release] {
      started.fetch_add(1);
      WaitForSingleObject(release, INFINITE);
    });
    state.ResumeTiming();
    const Clock::time_point first = Clock::now();
    for (int i = 0; i < kTasks; ++i)
      OrvThread::PostThreadTask(work);
    while (started.load() != kTasks)
      std::this_thread::yield();
    worst = std::max(worst, Micros(Clock::now() - first) / 1000);
    state.PauseTiming();
    SetEvent(release);
    SetEvent(busy);
    OrvThread::FInitThreadManagement();
    state.ResumeTiming();
  }
  CloseHandle(busy);
  CloseHandle(release);
  state.counters["all_running_ms"] = worst;
}

// Releases 200,000 pointers to finished tasks in launch order, each the last
// reference to its task: each release takes its task off the list.
void BM_ReleaseHeldInLaunchOrder(benchmark::State& state) {
  constexpr int kTasks = 200000;
  OrvThread::InitThreadManagement();
  Method<void()> work = MakeMethod([] {});
  double worst = 0;
  for (auto _ : state) {
    state.PauseTiming();
    std::vector<OrvThread::ThreadTaskPtr> held(kTasks);
    for (auto& task : held)
      task = OrvThread::PostThreadTask(work);
    for (auto& task : held)
      task->Join();
    state.ResumeTiming();
    const Clock::time_point start = Clock::now();
    for (auto& task : held)
      task = static_cast<OrvThread::ThreadTask*>(nullptr);
    worst = std::max(worst, Micros(Clock::now() - start) / 1000);
  }
  state.counters["worst_ms"] = worst;
}

}  // namespace

BENCHMARK(BM_Latency_Task)->UseRealTime();
BENCHMARK(BM_Latency_AsioPool)->UseRealTime();
BENCHMARK(BM_Latency_Async)->UseRealTime();
BENCHMARK(BM_Latency_ThreadPerTask)->UseRealTime();
BENCHMARK(BM_Batch_Task)->Arg(kBatch)->UseRealTime();
BENCHMARK(BM_Batch_AsioPool)->Arg(kBatch)->UseRealTime();
BENCHMARK(BM_Batch_Async)->UseRealTime();
BENCHMARK(BM_Batch_ThreadPerTask)->UseRealTime();
BENCHMARK(BM_Joined_Task)->UseRealTime();
BENCHMARK(BM_Joined_AsioPool)->UseRealTime();
BENCHMARK(BM_Joined_Async)->UseRealTime();
BENCHMARK(BM_Joined_ThreadPerTask)->UseRealTime();
// Bursts: one burst per run, five runs, to compare the fastest and the slowest.
BENCHMARK(BM_Batch_Task)
    ->Name("BM_Burst_Task")
    ->Arg(kBurst)
    ->Iterations(1)
    ->Repetitions(5)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Batch_AsioPool)
    ->Name("BM_Burst_AsioPool")
    ->Arg(kBurst)
    ->Iterations(1)
    ->Repetitions(5)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_InterruptToThrow)->UseRealTime();
BENCHMARK(BM_StopAllSleeping)->UseRealTime()->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BlockedAtOnce)->UseRealTime()->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReleaseHeldInLaunchOrder)->UseRealTime()->Iterations(3)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
