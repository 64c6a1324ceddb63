// DoCallback from a task: the delegate runs later, once, on the thread that
// made the callback timers, as a thread without a task, after the task ended.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>

#include "base/message_loop.h"
#include "base/thread_task.h"
#include "base/timer.h"
#include "platform/thread.h"
#include "support/run_loop.h"
#include "task_test_support.h"

namespace OrvThread::testing {
namespace {

using DoCallbackTest = TaskTest;

TEST_F(DoCallbackTest, DelegateRunsOnTheTimersThreadAfterTheTaskEnded) {
  InitTimeCallback();  // this thread owns the timers
  const std::uint32_t mainThread = base::platform::CurrentThreadId();
  std::atomic<int> runs{0};
  std::uint32_t ranOn = 0;
  std::uint32_t idThere = 1;
  bool taskHadEnded = false;
  ThreadTaskPtr task;
  task = Post([&] {
    thisThreadTask::DoCallback(MakeMethod([&] {
      ranOn = base::platform::CurrentThreadId();
      idThere = thisThreadTask::GetId();
      taskHadEnded = task->TimedJoin(0);
      runs.fetch_add(1);
    }));
  });
  ASSERT_TRUE(base::testing::JoinWithin(task));  // the task does not wait for the delegate
  ASSERT_TRUE(base::testing::RunLoopUntil([&] { return runs.load() > 0; }, "the delegate"));
  EXPECT_EQ(runs.load(), 1);
  EXPECT_EQ(ranOn, mainThread);
  EXPECT_EQ(idThere, 0u);
  EXPECT_TRUE(taskHadEnded);
  base::PumpMessages(30);
  EXPECT_EQ(runs.load(), 1);  // once
}

}  // namespace
}  // namespace OrvThread::testing
