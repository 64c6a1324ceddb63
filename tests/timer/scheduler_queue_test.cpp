#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include "base/timer.h"
#include "scheduler_test_support.h"
#include "support/wait_until.h"

namespace base::test {
namespace {

using SchedulerQueueTest = SchedulerTest;

TEST_F(SchedulerQueueTest, IdleCallbacksRunOnePerCallOldestFirst) {
  NotifyIdle();
  EXPECT_EQ(scheduler().idleGuard(), -1);
  EXPECT_FALSE(SetIdleCallback(nullptr, nullptr, nullptr));
  ASSERT_TRUE(SetIdleCallback(A, nullptr, Owner(1)));
  ASSERT_TRUE(SetIdleCallback(A, nullptr, Owner(2)));
  ASSERT_TRUE(SetIdleCallback(B, nullptr, nullptr));
  // A nested NotifyIdle runs nothing; a callback that queues itself again
  // goes behind the others.
  bool requeued = false;
  g_log.onCall = [&](char name, void*) {
    NotifyIdle();
    if (name == 'A' && !requeued)
      requeued = SetIdleCallback(A, nullptr, Owner(1));
  };
  NotifyIdle();
  EXPECT_EQ(g_log.names, Names("A"));
  NotifyIdle();
  NotifyIdle();
  NotifyIdle();
  EXPECT_EQ(g_log.names, Names("AABA"));
  NotifyIdle();
  EXPECT_EQ(g_log.names, Names("AABA"));
  EXPECT_EQ(scheduler().idleGuard(), -1);
}

TEST_F(SchedulerQueueTest, IdleDuplicatesAndErasesTreatOwnerZeroDifferently) {
  ASSERT_TRUE(SetIdleCallback(A, nullptr, Owner(5)));
  EXPECT_FALSE(SetIdleCallback(A, nullptr, nullptr));
  EXPECT_FALSE(SetIdleCallback(A, nullptr, Owner(5)));
  EXPECT_TRUE(SetIdleCallback(A, nullptr, Owner(6)));
  ASSERT_TRUE(SetIdleCallback(B, nullptr, nullptr));
  EXPECT_FALSE(SetIdleCallback(B, nullptr, Owner(5)));  // a queued 0 matches too
  EXPECT_FALSE(EraseIdleCallback(B, Owner(5)));         // but an erase by owner does not
  EXPECT_FALSE(EraseIdleCallback(nullptr, nullptr));
  EXPECT_TRUE(EraseIdleCallback(A, Owner(6)));
  EXPECT_TRUE(EraseIdleCallback(B, nullptr));
  ASSERT_TRUE(SetIdleCallback(A, nullptr, Owner(7)));
  EXPECT_TRUE(EraseIdleCallback(A, nullptr));  // every owner
  NotifyIdle();
  EXPECT_TRUE(g_log.names.empty());
}

TEST_F(SchedulerQueueTest, AsyncDuplicatesAndErasesFollowTheIdleRules) {
  ASSERT_TRUE(SetAsyncCallback(A, nullptr, Owner(5)));
  EXPECT_FALSE(SetAsyncCallback(A, nullptr, nullptr));
  EXPECT_FALSE(EraseAsyncCallback(A, Owner(6)));
  EXPECT_TRUE(EraseAsyncCallback(A, nullptr));
  PumpMessages(0);
  EXPECT_TRUE(g_log.names.empty());
}

TEST_F(SchedulerQueueTest, AsyncBatchesTakeWhatWaitsWhenTheyStart) {
  ASSERT_TRUE(SetAsyncCallback(A, nullptr, nullptr));
  EXPECT_FALSE(SetAsyncCallback(A, nullptr, nullptr));
  ASSERT_TRUE(SetAsyncCallback(B, nullptr, nullptr));
  std::vector<bool> results;
  g_log.onCall = [&](char name, void*) {
    if (name == 'A')
      results.push_back(EraseAsyncCallback(B, nullptr));  // already in the batch
    if (name == 'C' && results.size() == 1)
      results.push_back(SetAsyncCallback(C, nullptr, nullptr));
  };
  PumpMessages(0);
  EXPECT_EQ(g_log.names, Names("AB"));

  // Queued again from inside its run, C waits for a message of its own.
  ASSERT_TRUE(SetAsyncCallback(C, nullptr, nullptr));
  PumpMessages(0);
  EXPECT_EQ(g_log.names, Names("ABC"));
  PumpMessages(0);
  EXPECT_EQ(g_log.names, Names("ABCC"));
  EXPECT_EQ(results, (std::vector<bool>{false, true}));
}

void* g_posted = nullptr;
void Posted(std::uintptr_t argument) {
  g_posted = reinterpret_cast<void*>(argument);
}

TEST_F(SchedulerQueueTest, AnAsyncMessageWithAFunctionRunsOnlyTheFunction) {
  g_posted = nullptr;
  ASSERT_TRUE(SetAsyncCallback(A, nullptr, nullptr));
  PumpMessages(0);  // A's own message
  ASSERT_TRUE(SetAsyncCallback(B, nullptr, nullptr));
  platform::PostWindowMessage(scheduler().window(), CTimerBase::kMessageRunAsync, 42,
                              reinterpret_cast<std::intptr_t>(&Posted));
  EraseAsyncCallback(B, nullptr);  // B's message now finds nothing
  PumpMessages(0);
  EXPECT_EQ(g_posted, Owner(42));
  EXPECT_EQ(g_log.names, Names("A"));
}

TEST_F(SchedulerQueueTest, AThrowingAsyncCallbackLosesTheRestOfItsBatch) {
  MakeAThrow();
  ASSERT_TRUE(SetAsyncCallback(A, nullptr, nullptr));
  ASSERT_TRUE(SetAsyncCallback(B, nullptr, nullptr));
  EXPECT_THROW(PumpMessages(0), std::runtime_error);
  PumpMessages(0);  // B's own message finds the queue empty
  EXPECT_EQ(g_log.names, Names("A"));
  EXPECT_FALSE(EraseAsyncCallback(B, nullptr));
}

TEST_F(SchedulerQueueTest, AThrowingIdleCallbackEndsIdleCallbacksForGood) {
  MakeAThrow();
  ASSERT_TRUE(SetIdleCallback(A, nullptr, nullptr));
  ASSERT_TRUE(SetIdleCallback(B, nullptr, nullptr));
  EXPECT_THROW(NotifyIdle(), std::runtime_error);
  NotifyIdle();
  NotifyIdle();
  EXPECT_EQ(g_log.names, Names("A"));
  EXPECT_EQ(scheduler().idleGuard(), 0);
}

std::atomic<int> g_runs{0};
void CountRun(void*, void*) {
  g_runs.fetch_add(1);
}

TEST_F(SchedulerQueueTest, WorkersQueueWhileABatchRuns) {
  g_runs = 0;
  constexpr int kWorkers = 4;
  constexpr int kPerWorker = 200;
  std::atomic<bool> go{false};
  std::atomic<int> queued{0};
  std::vector<int> batchSizesSeen;
  // The first callback holds the main thread inside its batch until every
  // worker has queued: none of that may join the running batch.
  g_log.onCall = [&](char, void*) {
    go = true;
    EXPECT_TRUE(testing::WaitUntil([&] { return queued.load() == kWorkers * kPerWorker; },
                                   "every worker to queue its callbacks"));
    batchSizesSeen.push_back(g_runs.load());
  };
  ASSERT_TRUE(SetAsyncCallback(A, nullptr, nullptr));
  std::vector<std::thread> workers;
  for (int w = 0; w < kWorkers; ++w) {
    workers.emplace_back([&, w] {
      ASSERT_TRUE(testing::WaitUntil([&] { return go.load(); }, "the first batch to start"));
      for (int i = 0; i < kPerWorker; ++i) {
        EXPECT_TRUE(SetAsyncCallback(CountRun, nullptr, Owner(1 + w * kPerWorker + i)));
        queued.fetch_add(1);
      }
    });
  }
  PumpMessages(0);
  for (std::thread& worker : workers)
    worker.join();
  EXPECT_EQ(batchSizesSeen, std::vector<int>{0});
  EXPECT_TRUE(testing::WaitUntil(
      [] {
        PumpMessages(0);
        return g_runs.load() >= kWorkers * kPerWorker;
      },
      "the main thread to run every queued callback"));
  EXPECT_EQ(g_runs.load(), kWorkers * kPerWorker);
}

std::atomic<int> g_inside{0};
std::atomic<int> g_overlaps{0};
std::atomic<int> g_idleRuns{0};
void IdleWork(void*, void*) {
  if (g_inside.fetch_add(1) != 0)
    g_overlaps.fetch_add(1);
  std::this_thread::yield();
  g_idleRuns.fetch_add(1);
  g_inside.fetch_sub(1);
}

TEST_F(SchedulerQueueTest, IdleCallbacksNeverOverlapAcrossThreads) {
  g_idleRuns = 0;
  g_overlaps = 0;
  constexpr int kCallbacks = 100;
  for (int i = 1; i <= kCallbacks; ++i)
    ASSERT_TRUE(SetIdleCallback(IdleWork, nullptr, Owner(i)));
  std::vector<std::thread> threads;
  // Threads that meet the guard leave at once; yielding lets one get past.
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([] {
      EXPECT_TRUE(testing::WaitUntil(
          [] {
            NotifyIdle();
            return g_idleRuns.load() >= kCallbacks;
          },
          "the idle callbacks to run"));
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(g_idleRuns.load(), kCallbacks);
  EXPECT_EQ(g_overlaps.load(), 0);
  EXPECT_EQ(scheduler().idleGuard(), -1);
}

}  // namespace
}  // namespace base::test
