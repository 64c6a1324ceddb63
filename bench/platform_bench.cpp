// The platform layer beside what a user would otherwise pick, in one run:
//   event wake: a ping-pong of two auto-reset events against the same hand-off
//     with std::mutex + std::condition_variable (time per round trip);
//   pool start: post one item and wait until it has started, against
//     boost::asio::thread_pool and a std::thread per item;
//   pool throughput: post a batch of small items and wait for all of them.
// Compare the ratios within one run; absolute times on a shared machine are
// noise. Run with --benchmark_repetitions=5 and read the medians.
#include <benchmark/benchmark.h>

#include <atomic>
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/thread_pool.h"
#include "platform/wait.h"

namespace {

namespace platform = base::platform;

void EventPingPong(benchmark::State& state) {
  HANDLE ping = platform::CreateEvent(false, false);
  HANDLE pong = platform::CreateEvent(false, false);
  std::atomic<bool> stop{false};
  std::thread echo([&] {
    for (;;) {
      platform::WaitForSingleObject(ping, INFINITE);
      if (stop.load(std::memory_order_relaxed))
        return;
      platform::SetEvent(pong);
    }
  });
  for (auto _ : state) {
    platform::SetEvent(ping);
    platform::WaitForSingleObject(pong, INFINITE);
  }
  stop = true;
  platform::SetEvent(ping);
  echo.join();
  platform::CloseHandle(ping);
  platform::CloseHandle(pong);
}
BENCHMARK(EventPingPong)->UseRealTime();

// The peer: an auto-reset flag under a mutex with a condition variable.
class Flag {
 public:
  void Set() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      set_ = true;
    }
    cv_.notify_one();
  }
  void Wait() {
    std::unique_lock<std::mutex> lock(mutex_);
    cv_.wait(lock, [this] { return set_; });
    set_ = false;
  }

 private:
  std::mutex mutex_;
  std::condition_variable cv_;
  bool set_ = false;
};

void CondVarPingPong(benchmark::State& state) {
  Flag ping;
  Flag pong;
  std::atomic<bool> stop{false};
  std::thread echo([&] {
    for (;;) {
      ping.Wait();
      if (stop.load(std::memory_order_relaxed))
        return;
      pong.Set();
    }
  });
  for (auto _ : state) {
    ping.Set();
    pong.Wait();
  }
  stop = true;
  ping.Set();
  echo.join();
}
BENCHMARK(CondVarPingPong)->UseRealTime();

// Post-to-start: the poster spins (yielding) until the item has started, so
// every peer is measured with the same detection.
std::atomic<int> g_started{0};

std::uint32_t MarkStarted(void*) {
  g_started.fetch_add(1, std::memory_order_release);
  return 0;
}

void AwaitStarted(int count) {
  while (g_started.load(std::memory_order_acquire) < count)
    std::this_thread::yield();
}

template <typename Post>
void MeasureStart(benchmark::State& state, Post post) {
  for (auto _ : state) {
    g_started.store(0, std::memory_order_relaxed);
    post();
    AwaitStarted(1);
  }
}

template <typename Post>
void MeasureThroughput(benchmark::State& state, Post post) {
  const int batch = static_cast<int>(state.range(0));
  for (auto _ : state) {
    g_started.store(0, std::memory_order_relaxed);
    for (int i = 0; i < batch; ++i)
      post();
    AwaitStarted(batch);
  }
  state.SetItemsProcessed(state.iterations() * batch);
}

// A refused item would never start, and the wait for it would never end.
void QueueMarker() {
  if (!platform::QueueWorkItem(&MarkStarted, nullptr, 0))
    std::abort();
}

void PoolStart(benchmark::State& state) {
  MeasureStart(state, QueueMarker);
}
BENCHMARK(PoolStart)->UseRealTime();

void AsioPoolStart(benchmark::State& state) {
  boost::asio::thread_pool pool;
  MeasureStart(state, [&] { boost::asio::post(pool, [] { MarkStarted(nullptr); }); });
  pool.join();
}
BENCHMARK(AsioPoolStart)->UseRealTime();

void ThreadPerItemStart(benchmark::State& state) {
  MeasureStart(state, [] { std::thread([] { MarkStarted(nullptr); }).detach(); });
}
BENCHMARK(ThreadPerItemStart)->UseRealTime();

void PoolThroughput(benchmark::State& state) {
  MeasureThroughput(state, QueueMarker);
}
BENCHMARK(PoolThroughput)->Arg(1000)->UseRealTime();

void AsioPoolThroughput(benchmark::State& state) {
  boost::asio::thread_pool pool;
  MeasureThroughput(state, [&] { boost::asio::post(pool, [] { MarkStarted(nullptr); }); });
  pool.join();
}
BENCHMARK(AsioPoolThroughput)->Arg(1000)->UseRealTime();

void ThreadPerItemThroughput(benchmark::State& state) {
  MeasureThroughput(state, [] { std::thread([] { MarkStarted(nullptr); }).detach(); });
}
BENCHMARK(ThreadPerItemThroughput)->Arg(1000)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
