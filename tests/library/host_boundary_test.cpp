// The contracts whose exceptions cross the library's boundary, seen from an
// executable that links the shared library (libbase.so, base.dll) the way a
// host does, with public headers only. The other suites link the library's
// objects, where every frame belongs to one module; here an exception leaves a
// host's delegate through the library's frames (and, on Windows, the system's
// dispatch), or leaves the library through the host's. On 32-bit Windows
// either crossing ends the process unless both sides share one unwinder and
// the library carries exceptions past the system's frames.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>

#include "base/message_loop.h"
#include "base/method.h"
#include "base/thread_task.h"
#include "base/timer.h"
#include "support/join_within.h"
#include "support/wait_until.h"

namespace {

using base::testing::JoinWithin;
using base::testing::RunLoopUntil;
using base::testing::WaitUntil;
using OrvThread::thisThreadTask::TaskInterrupted;

// The host's own exception type, which the library knows nothing of.
struct HostError {};

void ThrowHostError(void* /*owner*/, void* /*param*/) {
  throw HostError();
}

void Count(void* /*owner*/, void* param) {
  ++*static_cast<int*>(param);
}

// Pumps the calling thread until `HostError` leaves PumpMessages.
::testing::AssertionResult PumpUntilHostError() {
  return WaitUntil(
      [] {
        try {
          base::PumpMessages(20);
        } catch (const HostError&) {
          return true;
        }
        return false;
      },
      "HostError to leave PumpMessages");
}

// Posts `work`, waits until it runs, interrupts it and joins it.
void RunUntilInterrupted(void (*work)(std::atomic<int>& progress), std::atomic<int>& progress) {
  ASSERT_TRUE(OrvThread::InitThreadManagement());
  OrvThread::ThreadTaskPtr task =
      OrvThread::PostThreadTask(MakeMethod([&progress, work] { work(progress); }));
  ASSERT_FALSE(task == nullptr);
  ASSERT_TRUE(WaitUntil([&] { return progress.load() > 0; }, "the task to start"));
  task->Interrupt();
  EXPECT_TRUE(JoinWithin(task));
}

TEST(HostBoundaryTest, TaskInterruptedEndsTheHostsDelegateOrIsCaughtThere) {
  // Out of the host's delegate: the run ends where the wait threw.
  std::atomic<int> uncaught{0};
  RunUntilInterrupted(
      [](std::atomic<int>& progress) {
        progress = 1;
        OrvThread::thisThreadTask::Sleep(INFINITE);
        progress = 2;
      },
      uncaught);
  EXPECT_EQ(uncaught.load(), 1);

  // Caught by the host: the request is taken, and the run goes on.
  std::atomic<int> caught{0};
  RunUntilInterrupted(
      [](std::atomic<int>& progress) {
        progress = 1;
        try {
          OrvThread::thisThreadTask::Sleep(INFINITE);
        } catch (const TaskInterrupted&) {
          progress = OrvThread::thisThreadTask::IsInterruptionRequested() ? 2 : 3;
        }
        OrvThread::thisThreadTask::InterruptionPoint();
        progress = progress + 10;
      },
      caught);
  EXPECT_EQ(caught.load(), 13);
}

TEST(HostBoundaryTest, AHostErrorOutOfACallbackTimerLeavesThePumpAndTheNextStaysDue) {
  InitTimeCallback();
  int later = 0;
  SetTimeCallback(1, MakeMethod([] { throw HostError(); }), 0);
  SetTimeCallback(1, MakeMethod([&later] { ++later; }), 0);
  EXPECT_TRUE(PumpUntilHostError());
  EXPECT_EQ(later, 0);
  EXPECT_TRUE(RunLoopUntil([&] { return later == 1; }, "the timer behind the thrower"));
}

TEST(HostBoundaryTest, AHostErrorOutOfATasksCallbackReachesTheMainThreadsPump) {
  InitTimeCallback();
  ASSERT_TRUE(OrvThread::InitThreadManagement());
  OrvThread::ThreadTaskPtr task = OrvThread::PostThreadTask(MakeMethod(
      [] { OrvThread::thisThreadTask::DoCallback(MakeMethod([] { throw HostError(); })); }));
  ASSERT_FALSE(task == nullptr);
  EXPECT_TRUE(JoinWithin(task));
  EXPECT_TRUE(PumpUntilHostError());
}

TEST(HostBoundaryTest, AHostErrorOutOfASchedulerTimerLeavesThePumpAndTheNextStaysDue) {
  int later = 0;
  ASSERT_TRUE(SetTimeout(10, ThrowHostError, nullptr, nullptr));
  ASSERT_TRUE(SetTimeout(10, Count, &later, nullptr));
  EXPECT_TRUE(PumpUntilHostError());
  EXPECT_EQ(later, 0);
  EXPECT_TRUE(RunLoopUntil([&] { return later == 1; }, "the timer behind the thrower"));
}

TEST(HostBoundaryTest, AHostErrorOutOfAnAsyncCallbackLeavesThePumpAndLosesItsBatch) {
  int lost = 0;
  ASSERT_TRUE(SetAsyncCallback(ThrowHostError, nullptr, nullptr));
  ASSERT_TRUE(SetAsyncCallback(Count, &lost, nullptr));
  EXPECT_TRUE(PumpUntilHostError());
  int after = 0;
  ASSERT_TRUE(SetAsyncCallback(Count, &after, nullptr));
  EXPECT_TRUE(RunLoopUntil([&] { return after == 1; }, "a later async callback"));
  EXPECT_EQ(lost, 0);
}

TEST(HostBoundaryTest, AHostErrorOutOfAnIdleCallbackLeavesNotifyIdle) {
  int owner = 0;
  ASSERT_TRUE(SetIdleCallback(ThrowHostError, nullptr, &owner));
  EXPECT_THROW(NotifyIdle(), HostError);
}

TEST(HostBoundaryTest, AHostErrorLeavesRunMessageLoop) {
  InitTimeCallback();
  // Should the error never come, the quit ends the loop and the test fails.
  constexpr std::uint32_t kQuitId = 1;
  SetTimeCallback(5000, MakeMethod([] { base::QuitMessageLoop(); }), kQuitId);
  SetTimeCallback(1, MakeMethod([] { throw HostError(); }), 0);
  EXPECT_THROW(base::RunMessageLoop(), HostError);
  KillTimeCallback(kQuitId);
}

}  // namespace
