// The callback timers against boost::asio::steady_timer on an io_context
// doing the same work, both with 100,000 timers live far in the future:
//   SetKill   set a timer, then cancel it by its name (asio: the timer object,
//             with its aborted handlers run every 1024 cancels, since asio
//             owes them a call);
//   Dispatch  run 10,000 one-shot timers that are due (per_timer);
//   IdleTick  a timer message / poll with nothing due.
// SetKill also runs on 2 threads at once. per_timer is CPU time: on a loaded
// machine the wall time of a dispatch includes preemption. Compare the rows
// of one run, by median over repetitions; absolute times are noise.
#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

#include "base/timer.h"
#include "platform/testing/clock_testing.h"
#include "timer/timer_mgr.h"

namespace {

constexpr std::uint32_t kLive = 100000;
constexpr std::uint32_t kDue = 10000;
constexpr std::uint32_t kProbes = 1024;  // timers each SetKill thread cycles through
constexpr std::uint32_t kFarMs = 1000000;

// Far-future delays, spread so that a new timer lands anywhere in the order.
std::vector<std::uint32_t> MakeDelays(std::size_t count, unsigned seed) {
  std::mt19937 rng(seed);
  std::vector<std::uint32_t> delays(count);
  for (std::uint32_t& d : delays)
    d = kFarMs + rng() % kFarMs;
  return delays;
}

const std::vector<std::uint32_t>& ProbeDelays() {
  static const std::vector<std::uint32_t> delays = MakeDelays(kProbes, 2);
  return delays;
}

std::atomic<std::uint64_t> g_runs{0};

// ---- The callback timers --------------------------------------------------

Method<void()> Noop() {
  static const Method<void()> method = MakeMethod([] {});
  return method;
}

void FillTimerMgr() {
  InitTimeCallback();
  const std::vector<std::uint32_t> delays = MakeDelays(kLive, 1);
  for (std::uint32_t i = 0; i < kLive; ++i)
    SetTimeCallback(static_cast<std::int32_t>(delays[i]), Noop(), i + 1);
}

void BM_SetKill_TimerMgr(benchmark::State& state) {
  const Method<void()> method = Noop();
  const std::vector<std::uint32_t>& delays = ProbeDelays();
  const std::uint32_t firstId =
      kLive + 1 + kProbes * static_cast<std::uint32_t>(state.thread_index());
  std::uint32_t i = 0;
  for (auto _ : state) {
    const std::uint32_t k = i++ % kProbes;
    SetTimeCallback(static_cast<std::int32_t>(delays[k]), method, firstId + k);
    benchmark::DoNotOptimize(KillTimeCallback(firstId + k));
  }
}

void BM_Dispatch_TimerMgr(benchmark::State& state) {
  base::TimerMgr* manager = base::TimerMgr::Instance();
  const Method<void()> count = MakeMethod([] { g_runs.fetch_add(1, std::memory_order_relaxed); });
  for (auto _ : state) {
    state.PauseTiming();
    const std::uint64_t target = g_runs.load() + kDue;
    for (std::uint32_t k = 0; k < kDue; ++k)
      SetTimeCallback(0, count, 0);
    base::platform::testing::AdvanceTickCount(1);
    state.ResumeTiming();
    while (g_runs.load(std::memory_order_relaxed) < target)
      manager->OnTick();
  }
  state.counters["per_timer"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * kDue,
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_IdleTick_TimerMgr(benchmark::State& state) {
  base::TimerMgr* manager = base::TimerMgr::Instance();
  for (auto _ : state)
    manager->OnTick();
}

// ---- boost::asio::steady_timer ---------------------------------------------

using Timer = boost::asio::steady_timer;

struct Asio {
  boost::asio::io_context io;
  std::vector<std::unique_ptr<Timer>> live;
  std::vector<std::unique_ptr<Timer>> probes;  // kProbes per SetKill thread
  std::vector<std::unique_ptr<Timer>> due;
};

Asio& GetAsio() {
  static Asio* const asio = [] {
    auto* a = new Asio;
    const std::vector<std::uint32_t> delays = MakeDelays(kLive, 1);
    for (std::uint32_t i = 0; i < kLive; ++i) {
      a->live.push_back(std::make_unique<Timer>(a->io, std::chrono::milliseconds(delays[i])));
      a->live.back()->async_wait([](const boost::system::error_code&) {});
    }
    for (std::uint32_t i = 0; i < 2 * kProbes; ++i)
      a->probes.push_back(std::make_unique<Timer>(a->io));
    for (std::uint32_t i = 0; i < kDue; ++i)
      a->due.push_back(std::make_unique<Timer>(a->io));
    return a;
  }();
  return *asio;
}

void BM_SetKill_Asio(benchmark::State& state) {
  Asio& asio = GetAsio();
  const std::vector<std::uint32_t>& delays = ProbeDelays();
  std::unique_ptr<Timer>* const probes =
      &asio.probes[kProbes * static_cast<std::size_t>(state.thread_index())];
  std::uint32_t i = 0;
  for (auto _ : state) {
    const std::uint32_t k = i++ % kProbes;
    probes[k]->expires_after(std::chrono::milliseconds(delays[k]));
    probes[k]->async_wait([](const boost::system::error_code&) {});
    probes[k]->cancel();
    if (k == kProbes - 1)
      asio.io.poll();
  }
  asio.io.poll();
}

void BM_Dispatch_Asio(benchmark::State& state) {
  Asio& asio = GetAsio();
  auto count = [](const boost::system::error_code&) {
    g_runs.fetch_add(1, std::memory_order_relaxed);
  };
  for (auto _ : state) {
    state.PauseTiming();
    const std::uint64_t target = g_runs.load() + kDue;
    const Timer::time_point now = Timer::clock_type::now();
    for (std::unique_ptr<Timer>& t : asio.due) {
      t->expires_at(now);
      t->async_wait(count);
    }
    state.ResumeTiming();
    while (g_runs.load(std::memory_order_relaxed) < target)
      asio.io.poll();
  }
  state.counters["per_timer"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * kDue,
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_IdleTick_Asio(benchmark::State& state) {
  Asio& asio = GetAsio();
  for (auto _ : state)
    benchmark::DoNotOptimize(asio.io.poll());
}

BENCHMARK(BM_SetKill_TimerMgr);
BENCHMARK(BM_SetKill_Asio);
BENCHMARK(BM_SetKill_TimerMgr)->Threads(2)->UseRealTime();
BENCHMARK(BM_SetKill_Asio)->Threads(2)->UseRealTime();
BENCHMARK(BM_Dispatch_TimerMgr);
BENCHMARK(BM_Dispatch_Asio);
BENCHMARK(BM_IdleTick_TimerMgr);
BENCHMARK(BM_IdleTick_Asio);

}  // namespace

// The manager's window, and so its dispatch, belongs to the main thread.
int main(int argc, char** argv) {
  FillTimerMgr();
  GetAsio();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv))
    return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
