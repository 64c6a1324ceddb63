// The posix pool's own workers: they retire when idle, and an unload joins
// them.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <vector>

#include "platform/testing/thread_pool_testing.h"
#include "platform/thread.h"
#include "platform/thread_pool.h"
#include "platform/wait.h"
#include "support/test_module.h"
#include "support/wait_until.h"

namespace base::platform {
namespace {

std::uint32_t SetDone(void* context) {
  SetEvent(*static_cast<HANDLE*>(context));
  return 0;
}

TEST(ThreadPoolPosixTest, IdleWorkersRetireAndThePoolStartsAnew) {
  testing::SetIdleWorkerTimeout(20);
  std::vector<HANDLE> done(8);
  for (auto& event : done) {
    event = CreateEvent(true, false);
    ASSERT_TRUE(QueueWorkItem(&SetDone, &event, 0));
  }
  for (auto& event : done)
    ASSERT_EQ(WaitForSingleObject(event, 5000), WAIT_OBJECT_0);
  EXPECT_TRUE(base::testing::WaitUntil([] { return testing::PoolWorkerCount() == 0; },
                                       "the idle workers to retire"));
  testing::SetIdleWorkerTimeout(10000);
  ResetEvent(done[0]);
  ASSERT_TRUE(QueueWorkItem(&SetDone, &done[0], 0));
  EXPECT_EQ(WaitForSingleObject(done[0], 5000), WAIT_OBJECT_0);
  for (auto& event : done)
    CloseHandle(event);
}

std::atomic<std::uint32_t> g_workerThread{0};

void OnItemRan(std::uint32_t threadId) {
  g_workerThread = threadId;
}

bool ThreadAlive(std::uint32_t threadId) {
  return access(("/proc/self/task/" + std::to_string(threadId)).c_str(), F_OK) == 0;
}

TEST(ThreadPoolPosixTest, UnloadEndsTheModulesWorkers) {
  base::testing::TestModule module(BASE_POOL_MODULE_PATH);
  g_workerThread = 0;
  ASSERT_EQ(module.Call<int>("BaseTestQueueReportingItem", &OnItemRan), 1);
  ASSERT_TRUE(
      base::testing::WaitUntil([] { return g_workerThread.load() != 0; }, "the item to run"));
  module.Unload();
  EXPECT_FALSE(ThreadAlive(g_workerThread));
}

}  // namespace
}  // namespace base::platform
