// Interruption as a task sees it: requests before, during and after the run,
// delivery at interruption points, and the two scope objects.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <thread>

#include "base/thread_task.h"
#include "support/join_within.h"
#include "task_test_support.h"
#include "thread/task_access.h"
#include "thread/thread_management.h"

namespace OrvThread::testing {
namespace {

using namespace OrvThread::thisThreadTask;
using InterruptionTest = TaskTest;
using base::testing::JoinWithin;

TEST_F(InterruptionTest, ThreadWithoutATaskGetsThePlainAnswers) {
  EXPECT_EQ(GetId(), 0u);
  EXPECT_FALSE(IsInterruptionEnabled());
  EXPECT_FALSE(IsInterruptionRequested());
  InterruptionPoint();
  thisThreadTask::Sleep(0);
  yield();
  {
    DisableInterruption outer;
    RestoreInterruption restore(outer);
    EXPECT_FALSE(IsInterruptionEnabled());
  }
  EXPECT_FALSE(IsInterruptionEnabled());
}

TEST_F(InterruptionTest, TaskSeesItsOwnStateAndGetIdIsOneWhateverItsId) {
  std::uint32_t id = 0;
  bool enabled = false;
  bool requested = true;
  ThreadTaskPtr task = Post([&] {
    id = GetId();
    enabled = IsInterruptionEnabled();
    requested = IsInterruptionRequested();
  });
  ASSERT_TRUE(JoinWithin(task));
  EXPECT_GT(task->GetId(), 0u);
  EXPECT_EQ(id, 1u);
  EXPECT_TRUE(enabled);  // a run starts with interruption enabled
  EXPECT_FALSE(requested);
}

TEST_F(InterruptionTest, RequestBeforeTheRunIsDeliveredAtTheFirstPoint) {
  std::atomic<int> reached{0};
  bool requestedInside = false;
  // Made and interrupted before its work item exists, then launched.
  ThreadTaskPtr task(new ListedTask(MakeMethod([&] {
    requestedInside = IsInterruptionRequested();
    reached = 1;
    InterruptionPoint();
    reached = 2;
  })));
  task->Interrupt();
  EXPECT_TRUE(task->IsInterruptionRequested());
  ASSERT_TRUE(GetThreadManagement()->AddTask(task));
  ASSERT_TRUE(JoinWithin(task));
  EXPECT_TRUE(requestedInside);
  EXPECT_EQ(reached.load(), 1);
  EXPECT_FALSE(task->IsInterruptionRequested());  // used up by the delivery
}

TEST_F(InterruptionTest, RequestBreaksAWaitAndASleepAndIsUsedUp) {
  for (int sleeping = 0; sleeping < 2; ++sleeping) {
    Gate waiting;
    Gate never;
    bool interrupted = false;
    bool waitedAgain = true;
    ThreadTaskPtr task = Post([&] {
      waiting.Open();
      try {
        if (sleeping)
          thisThreadTask::Sleep(INFINITE);
        else
          InterruptibleWait(never.handle(), Detail::wait_timeout(INFINITE));
      } catch (const TaskInterrupted&) {
        interrupted = true;
      }
      // Caught and going on: the old request does not break the next wait.
      waitedAgain = InterruptibleWait(INVALID_HANDLE_VALUE, Detail::wait_timeout(30));
    });
    ASSERT_TRUE(waiting.Wait());
    EXPECT_FALSE(task->TimedJoin(20));
    task->Interrupt();
    EXPECT_TRUE(JoinWithin(task));
    EXPECT_TRUE(interrupted);
    EXPECT_FALSE(waitedAgain);
  }
}

TEST_F(InterruptionTest, RequestAfterTheEndOnlyStaysPending) {
  std::atomic<int> runs{0};
  ThreadTaskPtr task = Post([&] { runs.fetch_add(1); });
  ASSERT_TRUE(JoinWithin(task));
  task->Interrupt();
  task->Interrupt();
  EXPECT_TRUE(task->IsInterruptionRequested());
  EXPECT_TRUE(task->TimedJoin(0));
  EXPECT_EQ(runs.load(), 1);
}

TEST_F(InterruptionTest, SleepZeroIsAPointAndASignalledHandleWinsOverARequest) {
  Gate ready;
  Gate gate;
  Gate signalled;
  signalled.Open();
  bool plainSleepReturned = false;
  bool handleWon = false;
  bool stillPending = false;
  bool thrown = false;
  ThreadTaskPtr task = Post([&] {
    thisThreadTask::Sleep(0);  // no request yet: returns at once
    plainSleepReturned = true;
    ready.Open();
    gate.Wait();
    handleWon = InterruptibleWait(signalled.handle(), Detail::wait_timeout(0, 0));
    stillPending = IsInterruptionRequested();
    try {
      thisThreadTask::Sleep(0);
    } catch (const TaskInterrupted&) {
      thrown = true;
    }
  });
  ASSERT_TRUE(ready.Wait());
  task->Interrupt();
  gate.Open();
  ASSERT_TRUE(JoinWithin(task));
  EXPECT_TRUE(plainSleepReturned);
  EXPECT_TRUE(handleWon);
  EXPECT_TRUE(stillPending);
  EXPECT_TRUE(thrown);
}

TEST_F(InterruptionTest, DisabledScopeHoldsTheRequestUntilItEnds) {
  Gate sleeping;
  bool requestedWhileDisabled = false;
  bool sleptThrough = false;
  int reached = 0;
  ThreadTaskPtr task = Post([&] {
    {
      DisableInterruption disabled;
      sleeping.Open();
      const auto start = Clock::now();
      thisThreadTask::Sleep(60);
      sleptThrough = MsSince(start) >= 55;
      requestedWhileDisabled = IsInterruptionRequested();
      InterruptionPoint();
      reached = 1;
    }
    InterruptionPoint();
    reached = 2;
  });
  ASSERT_TRUE(sleeping.Wait());
  task->Interrupt();
  ASSERT_TRUE(JoinWithin(task));
  EXPECT_TRUE(sleptThrough);
  EXPECT_TRUE(requestedWhileDisabled);
  EXPECT_EQ(reached, 1);
}

TEST_F(InterruptionTest, ScopeObjectsNest) {
  std::vector<bool> seen;
  bool innerRestoreEnabled = true;
  RunAsTask([&] {
    auto note = [&] { seen.push_back(IsInterruptionEnabled()); };
    {
      DisableInterruption outer;
      note();  // false
      {
        DisableInterruption inner;
        {
          RestoreInterruption restore(outer);
          note();  // true: the outer scope was the one that disabled
        }
        note();  // false
        {
          RestoreInterruption restore(inner);  // saved false: no effect
          innerRestoreEnabled = IsInterruptionEnabled();
        }
      }
      note();  // false: only the outermost scope enables again
    }
    note();  // true
  });
  EXPECT_EQ(seen, (std::vector<bool>{false, true, false, false, true}));
  EXPECT_FALSE(innerRestoreEnabled);
}

}  // namespace
}  // namespace OrvThread::testing
