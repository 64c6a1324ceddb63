// The timer scheduler: add+erase with many live timers, against the plain
// linear walk of every slot that the visible rules would suggest; the tick of
// the fast table; and the async round trip from a worker to the main thread,
// against a bare posted message on the same queue (the floor of any such
// path). Compare rows of one run; absolute times on a shared machine are noise.
#include <benchmark/benchmark.h>

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "base/message_loop.h"
#include "base/method.h"
#include "base/timer.h"
#include "platform/message_window.h"
#include "platform/testing/clock_testing.h"
#include "timer/scheduler.h"

namespace {

void Noop(void*, void*) {}

void* Owner(std::uintptr_t n) {
  return reinterpret_cast<void*>(n);
}

// A fresh, started scheduler on this thread.
base::CTimerDetail& FreshScheduler() {
  base::DeleteScheduler();
  base::CTimerDetail& scheduler = *base::GetScheduler();
  base::PumpMessages(0);
  return scheduler;
}

void BM_AddErase(benchmark::State& state) {
  const auto live = static_cast<std::uintptr_t>(state.range(0));
  FreshScheduler();
  // One function with many owners: the case where a walk of the slots cannot
  // stop at the first match.
  for (std::uintptr_t n = 1; n <= live; ++n)
    SetInterval(50, Noop, nullptr, Owner(n));
  for (auto _ : state) {
    benchmark::DoNotOptimize(SetInterval(50, Noop, nullptr, Owner(live + 1)));
    benchmark::DoNotOptimize(EraseTimerCallback(Noop, Owner(live + 1)));
  }
  base::DeleteScheduler();
}
BENCHMARK(BM_AddErase)->Arg(100)->Arg(10000)->Arg(100000);

// The peer: the same table rules with an add that walks every slot once for
// the lowest free slot and the duplicate test, and an erase that walks them all.
struct LinearTable {
  struct Slot {
    SchedulerCallback callback;
    void* owner;
  };
  std::vector<Slot> slots;
  std::vector<std::uint8_t> bitmap;

  explicit LinearTable(std::size_t capacity) : slots(capacity), bitmap(capacity / 8) {}
  bool Live(std::size_t i) const { return (bitmap[i / 8] >> (i % 8)) & 1; }
  bool Add(SchedulerCallback callback, void* owner) {
    std::size_t free = slots.size();
    for (std::size_t i = 0; i < slots.size(); ++i) {
      if (!Live(i)) {
        free = free == slots.size() ? i : free;
      } else if (slots[i].callback == callback && (!owner || slots[i].owner == owner)) {
        return false;
      }
    }
    if (free == slots.size())
      return false;
    slots[free] = {callback, owner};
    bitmap[free / 8] |= 1 << (free % 8);
    return true;
  }
  bool Erase(SchedulerCallback callback, void* owner) {
    bool any = false;
    for (std::size_t i = 0; i < slots.size(); ++i) {
      if (Live(i) && slots[i].callback == callback && (!owner || slots[i].owner == owner)) {
        bitmap[i / 8] &= ~(1 << (i % 8));
        any = true;
      }
    }
    return any;
  }
};

void BM_AddErase_LinearWalk(benchmark::State& state) {
  const auto live = static_cast<std::uintptr_t>(state.range(0));
  LinearTable table((live + 1024) / 1024 * 1024);
  for (std::uintptr_t n = 1; n <= live; ++n)
    table.Add(Noop, Owner(n));
  for (auto _ : state) {
    benchmark::DoNotOptimize(table.Add(Noop, Owner(live + 1)));
    benchmark::DoNotOptimize(table.Erase(Noop, Owner(live + 1)));
  }
}
BENCHMARK(BM_AddErase_LinearWalk)->Arg(100)->Arg(10000)->Arg(100000);

// 10,000 live fast timers, 100 due at every tick: 100 of 1 ms, and 9,900 of
// 180 ms that the clock never lets come due (it steps 1 ms per tick and goes
// back every 170 ticks, which leaves the 1 ms timers due).
void BM_FastTick(benchmark::State& state) {
  constexpr std::uint32_t kBase = 5000000;
  base::platform::testing::SetTickCount(kBase);
  base::CTimerDetail& scheduler = FreshScheduler();
  for (std::uintptr_t n = 1; n <= 10000; ++n)
    SetInterval(n <= 100 ? 1 : 180, Noop, nullptr, Owner(n));
  std::uint32_t step = 0;
  for (auto _ : state) {
    step = step % 170 + 1;
    base::platform::testing::SetTickCount(kBase + step);
    benchmark::DoNotOptimize(scheduler.OnTimer(base::CTimerDetail::kTimerIdFast));
  }
  base::DeleteScheduler();
  base::platform::testing::ResetTickCount();
}
BENCHMARK(BM_FastTick);

// A worker that, at each request of the main thread, sends one thing back.
class Worker {
 public:
  template <typename Send>
  explicit Worker(Send send)
      : thread_([this, send] {
          std::unique_lock<std::mutex> lock(mutex_);
          for (;;) {
            ready_.wait(lock, [this] { return requests_ > 0 || stop_; });
            if (stop_)
              return;
            --requests_;
            lock.unlock();
            send();
            lock.lock();
          }
        }) {}
  ~Worker() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      stop_ = true;
    }
    ready_.notify_one();
    thread_.join();
  }
  void Request() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      ++requests_;
    }
    ready_.notify_one();
  }

 private:
  std::mutex mutex_;
  std::condition_variable ready_;
  int requests_ = 0;
  bool stop_ = false;
  std::thread thread_;
};

bool g_arrived = false;

void Arrive(void*, void*) {
  g_arrived = true;
}

template <typename Send>
void RoundTrips(benchmark::State& state, Send send) {
  Worker worker(send);
  for (auto _ : state) {
    g_arrived = false;
    worker.Request();
    while (!g_arrived)
      base::PumpMessages(1000);
  }
}

void BM_AsyncRoundTrip(benchmark::State& state) {
  FreshScheduler();
  RoundTrips(state, [] { SetAsyncCallback(Arrive, nullptr, nullptr); });
  base::DeleteScheduler();
}
BENCHMARK(BM_AsyncRoundTrip)->UseRealTime();

std::intptr_t ArriveProcedure(base::platform::WindowHandle window,
                              std::uint32_t message,
                              std::uintptr_t wparam,
                              std::intptr_t lparam) {
  if (message == base::platform::kMessageUser)
    g_arrived = true;
  return base::platform::DefaultWindowProcedure(window, message, wparam, lparam);
}

void BM_PostedMessageRoundTrip(benchmark::State& state) {
  base::platform::RegisterWindowClass(L"bench arrival", ArriveProcedure);
  const base::platform::WindowHandle window =
      base::platform::CreateMessageWindow(L"bench arrival", L"", nullptr);
  RoundTrips(state, [window] {
    base::platform::PostWindowMessage(window, base::platform::kMessageUser, 0, 0);
  });
  base::platform::DestroyMessageWindow(window);
}
BENCHMARK(BM_PostedMessageRoundTrip)->UseRealTime();

// The callback timers' road for the same hand-over (DoCallback is
// SetTimeCallback(1, method, 0)): the record is due 1 ms later and runs at the
// next tick of the 10 ms window timer, so this round trip is bounded by that
// timer, not by the queue.
void BM_SetTimeCallbackRoundTrip(benchmark::State& state) {
  InitTimeCallback();
  RoundTrips(state, [] { SetTimeCallback(1, MakeMethod([] { g_arrived = true; }), 0); });
}
BENCHMARK(BM_SetTimeCallbackRoundTrip)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
