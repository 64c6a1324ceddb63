#include "platform/thread_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>

#include "platform/testing/thread_pool_testing.h"
#include "platform/thread.h"
#include "platform/wait.h"
#include "support/pool_item.h"
#include "support/test_module.h"
#include "support/wait_until.h"

namespace base::platform {
namespace {

TEST(ThreadPoolTest, RunsItemsOnPoolThreads) {
  Signal first;
  ASSERT_TRUE(QueueWorkItem(&Report, &first, 0));
  ASSERT_EQ(WaitForSingleObject(first.done, 5000), WAIT_OBJECT_0);
  EXPECT_NE(first.threadId.load(), 0u);
  EXPECT_NE(first.threadId.load(), CurrentThreadId());
}

TEST(ThreadPoolTest, RefusedItemsNeverRunAndAFailureIsForOneItemOnly) {
  Signal refused;
  testing::FailNextWorkItem();
  EXPECT_FALSE(QueueWorkItem(&Report, &refused, 0));
  EXPECT_FALSE(QueueWorkItem(nullptr, &refused, 0));
  Signal after;  // the long-run hint is accepted too
  ASSERT_TRUE(QueueWorkItem(&Report, &after, kWorkItemLongFunction));
  EXPECT_EQ(WaitForSingleObject(after.done, 5000), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(refused.done, 50), WAIT_TIMEOUT);
}

// Each item queues the next and waits for it to finish, so every worker is
// blocked until the last item runs: a fixed-size pool would deadlock here.
struct Chain {
  static constexpr int kLength = 64;
  HANDLE finished[kLength];
  std::atomic<int> queued{0};
  Chain() {
    for (auto& event : finished)
      event = CreateEvent(true, false);
  }
  ~Chain() {
    for (auto& event : finished)
      CloseHandle(event);
  }
};

std::uint32_t RunLink(void* context) {
  auto* chain = static_cast<Chain*>(context);
  const int me = chain->queued.load() - 1;
  if (me + 1 < Chain::kLength) {
    chain->queued.fetch_add(1);
    if (QueueWorkItem(&RunLink, chain, 0))
      WaitForSingleObject(chain->finished[me + 1], INFINITE);
  }
  SetEvent(chain->finished[me]);
  return 0;
}

TEST(ThreadPoolTest, GrowsWhenEveryWorkerWaitsForAnotherItem) {
  Chain chain;
  chain.queued = 1;
  ASSERT_TRUE(QueueWorkItem(&RunLink, &chain, 0));
  EXPECT_EQ(WaitForSingleObject(chain.finished[0], 20000), WAIT_OBJECT_0);
}

// The module is the library's code in a module of its own, with one entry
// that queues an item of the module's own code. An unload right after the
// item reports must wait for the worker to leave that code.
std::atomic<std::uint32_t> g_workerThread{0};
std::atomic<bool> g_reported{false};

void OnItemRan(std::uint32_t threadId) {
  g_workerThread = threadId;
  g_reported = true;
}

TEST(ThreadPoolTest, UnloadWaitsForAWorkerThatHasJustFinished) {
  for (int round = 0; round < 10; ++round) {
    base::testing::TestModule module(BASE_POOL_MODULE_PATH);
    g_reported = false;
    ASSERT_EQ(module.Call<int>("BaseTestQueueReportingItem", &OnItemRan), 1);
    ASSERT_TRUE(base::testing::WaitUntil([] { return g_reported.load(); }, "the item to run"));
    module.Unload();  // checks that the module is really gone
  }
}

}  // namespace
}  // namespace base::platform
