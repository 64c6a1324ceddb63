#include "platform/thread_pool.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "platform/testing/thread_pool_testing.h"
#include "platform/thread.h"
#include "platform/wait.h"

namespace base::platform {
namespace {

struct Signal {
  HANDLE done = CreateEvent(true, false);
  std::atomic<std::uint32_t> threadId{0};
  ~Signal() { CloseHandle(done); }
};

std::uint32_t Report(void* context) {
  auto* signal = static_cast<Signal*>(context);
  signal->threadId = CurrentThreadId();
  SetEvent(signal->done);
  return 0;
}

TEST(ThreadPoolTest, RunsItemsOnPoolThreadsAndRefusesOnRequest) {
  Signal first;
  ASSERT_TRUE(QueueWorkItem(&Report, &first, 0));
  ASSERT_EQ(WaitForSingleObject(first.done, 5000), WAIT_OBJECT_0);
  EXPECT_NE(first.threadId.load(), 0u);
  EXPECT_NE(first.threadId.load(), CurrentThreadId());

  Signal refused;
  testing::FailNextWorkItem();
  EXPECT_FALSE(QueueWorkItem(&Report, &refused, 0));
  EXPECT_FALSE(QueueWorkItem(nullptr, &refused, 0));
  Signal after;  // the failure was for one item only; the long-run hint is accepted
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
  EXPECT_GE(testing::PoolWorkerCount(), std::size_t{Chain::kLength});
}

TEST(ThreadPoolTest, IdleWorkersRetireAndThePoolStartsAnew) {
  testing::SetIdleWorkerTimeout(20);
  std::vector<Signal> signals(8);
  for (auto& signal : signals)
    ASSERT_TRUE(QueueWorkItem(&Report, &signal, 0));
  for (auto& signal : signals)
    ASSERT_EQ(WaitForSingleObject(signal.done, 5000), WAIT_OBJECT_0);
  const auto start = std::chrono::steady_clock::now();
  while (testing::PoolWorkerCount() != 0 &&
         std::chrono::steady_clock::now() - start < std::chrono::seconds(10)) {
    Sleep(5);
  }
  EXPECT_EQ(testing::PoolWorkerCount(), 0u);
  testing::SetIdleWorkerTimeout(10000);
  Signal again;
  ASSERT_TRUE(QueueWorkItem(&Report, &again, 0));
  EXPECT_EQ(WaitForSingleObject(again.done, 5000), WAIT_OBJECT_0);
}

// The module is the library's code in a shared object of its own, with one
// entry that queues an item of the module's own code. dlclose right after the
// item reports must wait for the worker to leave that code and end.
std::atomic<std::uint32_t> g_workerThread{0};
std::atomic<bool> g_reported{false};

void OnItemRan(std::uint32_t threadId) {
  g_workerThread = threadId;
  g_reported = true;
}

bool ThreadAlive(std::uint32_t threadId) {
  return access(("/proc/self/task/" + std::to_string(threadId)).c_str(), F_OK) == 0;
}

TEST(ThreadPoolTest, UnloadJoinsAWorkerThatHasJustFinished) {
  for (int round = 0; round < 10; ++round) {
    void* module = dlopen(BASE_POOL_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << dlerror();
    using Entry = int (*)(void (*)(std::uint32_t));
    auto entry = reinterpret_cast<Entry>(dlsym(module, "BaseTestQueueReportingItem"));
    ASSERT_NE(entry, nullptr);
    g_reported = false;
    ASSERT_EQ(entry(&OnItemRan), 1);
    while (!g_reported)
      std::this_thread::yield();
    ASSERT_EQ(dlclose(module), 0);
    EXPECT_EQ(dlopen(BASE_POOL_MODULE_PATH, RTLD_NOW | RTLD_NOLOAD), nullptr);  // really unmapped
    EXPECT_FALSE(ThreadAlive(g_workerThread));
  }
}

}  // namespace
}  // namespace base::platform
