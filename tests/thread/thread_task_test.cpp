// Tasks from launch to release: ids, joins, references, refused launches,
// failed events, the stop of all tasks, and the races of a quick run.
#include "base/thread_task.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

#include "platform/testing/thread_pool_testing.h"
#include "platform/testing/wait_testing.h"
#include "support/join_within.h"
#include "support/wait_until.h"
#include "task_test_support.h"
#include "thread/task_access.h"
#include "thread/thread_management.h"

namespace OrvThread::testing {
namespace {

using base::testing::JoinWithin;

LONG RefCount(ThreadTask* task) {
  return __atomic_load_n(Detail::TaskAccess::RefCount(task), __ATOMIC_SEQ_CST);
}

// Waits until the worker has dropped its reference, so that the pointers
// held by the test are the only ones left.
::testing::AssertionResult WorkerReleased(ThreadTask* task, LONG held) {
  return base::testing::WaitUntil([&] { return RefCount(task) == held; },
                                  "the worker to drop its reference");
}

using ThreadTaskTest = TaskTest;

TEST_F(ThreadTaskTest, IdsRiseByOneInOrderOfCreation) {
  ThreadTaskPtr first = Post([] {});
  ThreadTaskPtr second = Post([] {});
  EXPECT_NE(first->GetId(), 0u);
  EXPECT_EQ(second->GetId(), first->GetId() + 1);
}

TEST_F(ThreadTaskTest, JoinsFromSeveralThreadsOnRunningAndFinishedTasks) {
  Gate gate;
  ThreadTaskPtr task = Post([&gate] { gate.Wait(); });
  std::atomic<int> polled{0};
  std::atomic<int> joined{0};
  std::vector<std::thread> joiners;
  for (int i = 0; i < 4; ++i) {
    joiners.emplace_back([&, i] {
      ThreadTaskPtr mine(task);
      EXPECT_FALSE(mine->TimedJoin(0));  // still running: a poll says no at once
      polled.fetch_add(1);
      if (i % 2 == 0)
        mine->Join();  // the call under test; the gate below releases it
      else
        EXPECT_TRUE(mine->TimedJoin(INFINITE));
      joined.fetch_add(1);
    });
  }
  ASSERT_TRUE(base::testing::WaitUntil([&] { return polled.load() == 4; }, "every joiner's poll"));
  EXPECT_FALSE(task->TimedJoin(20));
  EXPECT_EQ(joined.load(), 0);
  gate.Open();
  for (auto& joiner : joiners)
    joiner.join();
  EXPECT_EQ(joined.load(), 4);

  // Finished: every join returns at once, any number of times, on any thread.
  std::thread late([&] {
    EXPECT_TRUE(task->TimedJoin(0));
    task->Join();
  });
  late.join();
  EXPECT_TRUE(task->TimedJoin(0));
  task->Join();
}

TEST_F(ThreadTaskTest, DroppedPointerDoesNotStopTheTaskAndTheWorkerFreesIt) {
  std::atomic<int> runs{0};
  std::atomic<int> deaths{0};
  Gate gate;
  Gate ran;
  auto work = MakeMethod([&] {
    gate.Wait();
    ran.Open();
  });
  PostThreadTask(work);  // the pointer goes at once
  PostThreadTask(Method<void()>(new CountingTarget(&runs, &deaths)));
  gate.Open();
  ASSERT_TRUE(ran.Wait());
  // The worker frees the task, and with it the delegate.
  ASSERT_TRUE(base::testing::WaitUntil([&] { return deaths.load() == 1; }, "the worker to free"));
  EXPECT_EQ(runs.load(), 1);
}

TEST_F(ThreadTaskTest, EmptyAndInvalidDelegatesRunNothingAndFinish) {
  std::atomic<int> runs{0};
  std::atomic<int> deaths{0};
  ThreadTaskPtr empty = PostThreadTask(Method<void()>());
  ThreadTaskPtr invalid =
      PostThreadTask(Method<void()>(new CountingTarget(&runs, &deaths, /*valid=*/false)));
  ASSERT_FALSE(empty == nullptr);
  ASSERT_FALSE(invalid == nullptr);
  ASSERT_TRUE(JoinWithin(empty));
  ASSERT_TRUE(JoinWithin(invalid));
  EXPECT_EQ(runs.load(), 0);
  // The task keeps its delegate until the task itself is freed.
  EXPECT_EQ(deaths.load(), 0);
  invalid = static_cast<ThreadTask*>(nullptr);
  EXPECT_TRUE(base::testing::WaitUntil([&] { return deaths.load() == 1; }, "the task to be freed"));
}

TEST_F(ThreadTaskTest, RefusedLaunchGivesAnEmptyPointerAndFreesEverything) {
  std::atomic<int> runs{0};
  std::atomic<int> deaths{0};
  base::platform::testing::FailNextWorkItem();
  ThreadTaskPtr refused = PostThreadTask(Method<void()>(new CountingTarget(&runs, &deaths)));
  EXPECT_TRUE(refused == nullptr);
  EXPECT_EQ(static_cast<ThreadTask*>(refused), nullptr);
  EXPECT_EQ(deaths.load(), 1);  // task and delegate are gone before the call returns
  EXPECT_EQ(runs.load(), 0);
  // An empty pointer assigns and copies like any other.
  ThreadTaskPtr copy(refused);
  refused = copy;
  refused = Post([] {});
  EXPECT_FALSE(refused == nullptr);
  ASSERT_TRUE(JoinWithin(refused));
}

TEST_F(ThreadTaskTest, FailedEventCreationThrowsAndUsesUpNoId) {
  std::atomic<int> runs{0};
  std::atomic<int> deaths{0};
  const std::uint32_t before = Post([] {})->GetId();
  base::platform::testing::FailNextEventCreation();
  EXPECT_THROW(PostThreadTask(Method<void()>(new CountingTarget(&runs, &deaths))), ResourceError);
  EXPECT_EQ(deaths.load(), 1);
  EXPECT_EQ(runs.load(), 0);
  EXPECT_EQ(Post([] {})->GetId(), before + 1);
}

TEST_F(ThreadTaskTest, CountedPointerKeepsExactlyItsReferences) {
  Gate gate;
  ThreadTaskPtr task = Post([&gate] { gate.Wait(); });
  ThreadTask* raw = task;
  EXPECT_EQ(RefCount(raw), 2);  // the worker and `task`
  {
    ThreadTaskPtr copy(task);
    ThreadTaskPtr assigned;
    assigned = copy;
    ThreadTaskPtr fromRaw(raw);
    EXPECT_EQ(RefCount(raw), 5);
    assigned = raw;  // the same task: nothing changes
    copy = copy;
    EXPECT_EQ(RefCount(raw), 5);
    EXPECT_TRUE(fromRaw == raw);
    EXPECT_EQ(fromRaw->GetId(), task->GetId());
  }
  EXPECT_EQ(RefCount(raw), 2);
  gate.Open();
  ASSERT_TRUE(JoinWithin(task));
  ASSERT_TRUE(WorkerReleased(raw, 1));

  // Self-assignment while holding the last reference keeps the task alive
  // (freed memory here is what the address sanitizer would report).
  task = task;
  task = raw;
  EXPECT_EQ(RefCount(raw), 1);
  EXPECT_TRUE(task->TimedJoin(0));
}

TEST_F(ThreadTaskTest, LastReleaseOnAForeignThreadFreesTheTaskThere) {
  std::atomic<int> runs{0};
  std::atomic<int> deaths{0};
  ThreadTaskPtr task = PostThreadTask(Method<void()>(new CountingTarget(&runs, &deaths)));
  ASSERT_TRUE(JoinWithin(task));
  ASSERT_TRUE(WorkerReleased(task, 1));
  std::thread foreign([&task] { task = static_cast<ThreadTask*>(nullptr); });
  foreign.join();
  EXPECT_EQ(deaths.load(), 1);
  // The freed task is off the list: the stop of all tasks must not reach it.
  FInitThreadManagement();
}

TEST_F(ThreadTaskTest, StopOfAllTasksInterruptsJoinsAndCanBeRepeated) {
  // A second init keeps the same object.
  ThreadManagement* const management = GetThreadManagement();
  ASSERT_TRUE(InitThreadManagement());
  EXPECT_EQ(GetThreadManagement(), management);

  ThreadTaskPtr finished = Post([] {});
  ASSERT_TRUE(JoinWithin(finished));

  constexpr int kTasks = 1000;
  std::atomic<int> interrupted{0};
  Gate never;
  std::vector<ThreadTaskPtr> tasks;
  for (int i = 0; i < kTasks; ++i) {
    tasks.push_back(Post([&] {
      try {
        thisThreadTask::InterruptibleWait(never.handle(), Detail::wait_timeout(INFINITE));
      } catch (const thisThreadTask::TaskInterrupted&) {
        interrupted.fetch_add(1);
        throw;
      }
    }));
  }
  const auto start = Clock::now();
  FInitThreadManagement();
  EXPECT_LT(MsSince(start), 5000);
  EXPECT_EQ(interrupted.load(), kTasks);
  for (auto& task : tasks)
    EXPECT_TRUE(task->TimedJoin(0));
  // A finished task that is still held was listed: it got the request too.
  EXPECT_TRUE(finished->IsInterruptionRequested());

  // The list is empty now; stopping again finds nothing, and tasks still run.
  FInitThreadManagement();
  ASSERT_TRUE(InitThreadManagement());
  EXPECT_EQ(GetThreadManagement(), management);
  ThreadTaskPtr after = Post([] {});
  EXPECT_TRUE(JoinWithin(after));
  EXPECT_FALSE(after->IsInterruptionRequested());
}

// A run may begin and end before PostThreadTask returns; the poster's
// reference must exist by then and the task must not be freed under it.
TEST_F(ThreadTaskTest, RaceQuickRunsEndingBeforeTheLaunchReturns) {
  std::atomic<int> runs{0};
  std::atomic<int> deaths{0};
  constexpr int kRounds = 3000;
  for (int i = 0; i < kRounds; ++i) {
    ThreadTaskPtr task = PostThreadTask(Method<void()>(new CountingTarget(&runs, &deaths)));
    ASSERT_FALSE(task == nullptr);
    EXPECT_NE(task->GetId(), 0u);
    if (i % 2 == 0)
      ASSERT_TRUE(JoinWithin(task));
  }
  FInitThreadManagement();
  ASSERT_TRUE(
      base::testing::WaitUntil([&] { return deaths.load() == kRounds; }, "every task freed"));
  EXPECT_EQ(runs.load(), kRounds);
}

// Tasks without holders are freed by their workers while the stop of all
// tasks walks its copy of the list, and other threads post and stop at the
// same time.
TEST_F(ThreadTaskTest, RaceTasksFreedWhileAllAreJoined) {
  constexpr int kPosts = 4000;
  std::atomic<int> runs{0};
  std::atomic<int> deaths{0};
  std::atomic<bool> done{false};
  std::thread stopper([&] {
    while (!done.load())
      FInitThreadManagement();
  });
  for (int i = 0; i < kPosts; ++i) {
    PostThreadTask(Method<void()>(new CountingTarget(&runs, &deaths)));
    if (i % 4 == 0)
      PostThreadTask(MakeMethod([] { thisThreadTask::Sleep(1); }));
    if (i % 64 == 0)
      FInitThreadManagement();
  }
  done.store(true);
  stopper.join();
  FInitThreadManagement();
  ASSERT_TRUE(
      base::testing::WaitUntil([&] { return deaths.load() == kPosts; }, "every task freed"));
  EXPECT_EQ(runs.load(), kPosts);
}

}  // namespace
}  // namespace OrvThread::testing
