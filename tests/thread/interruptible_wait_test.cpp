// Waits with deadlines: the timer rule at 20 ms, the passes of an infinite
// wait, deadlines shared by several waits, and waits across a wrap of the
// tick (on the shifted clock; the waits themselves run on the real one).
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>

#include "base/thread_task.h"
#include "platform/clock.h"
#include "platform/testing/clock_testing.h"
#include "platform/testing/wait_testing.h"
#include "task_test_support.h"

namespace OrvThread::testing {
namespace {

using base::platform::TickCount;
using base::platform::testing::WaitableTimersCreated;
using Detail::wait_timeout;
using thisThreadTask::InterruptibleWait;
using InterruptibleWaitTest = TaskTest;

// How many timers one wait of `milliseconds` on a signalled handle creates,
// measured in a run during which the tick did not move, so that the time left
// was exactly `milliseconds`.
std::uint64_t TimersForAWaitOf(std::uint32_t milliseconds, HANDLE signalled) {
  for (;;) {
    const std::uint32_t tick = TickCount();
    const std::uint64_t before = WaitableTimersCreated();
    EXPECT_TRUE(InterruptibleWait(signalled, wait_timeout(tick, milliseconds)));
    const std::uint64_t created = WaitableTimersCreated() - before;
    if (TickCount() == tick)
      return created;
  }
}

TEST_F(InterruptibleWaitTest, TimerOnlyForMoreThanTwentyMillisecondsLeft) {
  Gate signalled;
  signalled.Open();
  auto check = [&signalled] {
    EXPECT_EQ(TimersForAWaitOf(20, signalled.handle()), 0u);
    EXPECT_EQ(TimersForAWaitOf(21, signalled.handle()), 1u);
    EXPECT_EQ(TimersForAWaitOf(INFINITE, signalled.handle()), 0u);
    // An expired timeout still polls the handle, with no timer.
    const std::uint64_t before = WaitableTimersCreated();
    EXPECT_TRUE(InterruptibleWait(signalled.handle(), wait_timeout(TickCount() - 100, 50)));
    EXPECT_EQ(WaitableTimersCreated(), before);
  };
  check();  // on a thread without a task
  RunAsTask(check);
}

// The tick advances in steps of up to 16 ms on Windows (of 1 ms on Linux),
// and a wait's end is counted on it: measured on a finer clock, a wait that
// began late in a step ends up to one step early.
#if defined(_WIN32)
constexpr std::int64_t kTickStepMs = 16;
#else
constexpr std::int64_t kTickStepMs = 1;
#endif

TEST_F(InterruptibleWaitTest, TimeRunsOutWithAndWithoutTimer) {
  auto check = [] {
    for (std::uint32_t ms : {15u, 45u}) {  // the platform's wait alone, then the timer
      const std::uint64_t timers = WaitableTimersCreated();
      const auto start = Clock::now();
      EXPECT_FALSE(InterruptibleWait(INVALID_HANDLE_VALUE, wait_timeout(ms)));
      EXPECT_GE(MsSince(start), ms - kTickStepMs);
      EXPECT_LT(MsSince(start), 2000);
      EXPECT_EQ(WaitableTimersCreated() - timers, ms > 20 ? 1u : 0u);
    }
  };
  check();
  RunAsTask(check);
}

TEST_F(InterruptibleWaitTest, InfiniteWaitOnABadHandleEndsAfterTwoPasses) {
  Gate closed;
  HANDLE bad = closed.handle();
  CloseHandle(bad);
  auto check = [bad] {
    const auto start = Clock::now();
    EXPECT_FALSE(InterruptibleWait(bad, wait_timeout(INFINITE)));
    // Never a handle: Windows ignores a handle's two low bits, so a small value
    // may name a live object of the process.
    EXPECT_FALSE(InterruptibleWait(reinterpret_cast<HANDLE>(std::uintptr_t{0x7FFFFFF1}),
                                   wait_timeout(INFINITE)));
    EXPECT_FALSE(InterruptibleWait(bad, wait_timeout(500)));
    EXPECT_LT(MsSince(start), 400);
  };
  check();
  RunAsTask(check);
}

TEST_F(InterruptibleWaitTest, OneTimeoutIsOneDeadlineForSeveralWaits) {
  const wait_timeout timeout(60);
  const wait_timeout same = timeout;
  const auto start = Clock::now();
  EXPECT_FALSE(InterruptibleWait(INVALID_HANDLE_VALUE, timeout));
  EXPECT_FALSE(InterruptibleWait(INVALID_HANDLE_VALUE, same));  // already past
  EXPECT_GE(MsSince(start), 60 - kTickStepMs);
  EXPECT_LT(MsSince(start), 110);
}

TEST_F(InterruptibleWaitTest, WaitsAcrossAWrapOfTheTick) {
  using base::platform::testing::SetTickCount;
  const auto lasts = [](std::function<void()> wait) {
    const auto start = Clock::now();
    wait();
    return MsSince(start);
  };
  // Begun just before the wrap, with and without a timer.
  for (std::uint32_t ms : {15u, 50u}) {
    SetTickCount(0xFFFFFFFF - 5);
    const auto took = lasts([ms] { thisThreadTask::Sleep(ms); });
    EXPECT_GE(took, ms - kTickStepMs);
    EXPECT_LT(took, 1000);
  }
  // Begun before the wrap and used after it: 32 ms are gone, 68 are left.
  SetTickCount(0x10);
  const auto rest = lasts(
      [] { EXPECT_FALSE(InterruptibleWait(INVALID_HANDLE_VALUE, wait_timeout(0xFFFFFFF0, 100))); });
  EXPECT_GE(rest, 66);
  EXPECT_LT(rest, 95);
  // Begun before the wrap and expired after it.
  SetTickCount(0x10);
  EXPECT_LT(lasts([] {
              EXPECT_FALSE(InterruptibleWait(INVALID_HANDLE_VALUE, wait_timeout(0xFFFFFFF0, 30)));
            }),
            10);
}

TEST_F(InterruptibleWaitTest, TaskWaitsForAHostEvent) {
  HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  ASSERT_NE(event, nullptr);
  Gate waiting;
  bool signalled = false;
  ThreadTaskPtr task = Post([&] {
    waiting.Open();
    signalled = InterruptibleWait(event, wait_timeout(INFINITE));
  });
  ASSERT_TRUE(waiting.Wait());
  EXPECT_FALSE(task->TimedJoin(20));
  SetEvent(event);
  EXPECT_TRUE(base::testing::JoinWithin(task));
  EXPECT_TRUE(signalled);
  CloseHandle(event);
}

}  // namespace
}  // namespace OrvThread::testing
