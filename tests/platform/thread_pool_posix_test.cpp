// The posix pool's own workers: about one per core runs items, a blocked
// worker hands the queue on, the cap holds, idle workers beyond the cores
// retire, and an unload joins them.
#include <gtest/gtest.h>
#include <unistd.h>
#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/testing/thread_pool_testing.h"
#include "platform/thread.h"
#include "platform/thread_pool.h"
#include "platform/wait.h"
#include "support/pool_item.h"
#include "support/test_module.h"
#include "support/wait_until.h"

namespace base::platform {
namespace {

using base::testing::WaitUntil;

const std::size_t kCores = std::max(1u, std::thread::hardware_concurrency());

// How many items are inside a stretch at once, and the most there were.
struct Occupancy {
  std::atomic<int> inside{0};
  std::atomic<int> peak{0};

  void Enter() {
    const int now = inside.fetch_add(1) + 1;
    int seen = peak.load();
    while (now > seen && !peak.compare_exchange_weak(seen, now)) {
    }
  }
  void Leave() { inside.fetch_sub(1); }
};

// Items that block until the test opens them, in a wait of the library or in
// one the pool cannot see, and count how many are inside at once. Only a hang
// keeps them past the bound.
constexpr std::uint32_t kBlockLimitMs = 10000;

struct Blockers {
  HANDLE open = CreateEvent(true, false);
  std::mutex mutex;
  std::condition_variable openedHidden;
  bool hiddenOpen = false;
  Occupancy occupancy;
  std::atomic<int> finished{0};

  ~Blockers() {
    Open();
    CloseHandle(open);
  }
  void Open() {
    SetEvent(open);
    std::lock_guard<std::mutex> hold(mutex);
    hiddenOpen = true;
    openedHidden.notify_all();
  }
  void Enter() { occupancy.Enter(); }
  void Leave() {
    occupancy.Leave();
    finished.fetch_add(1);
  }

  static std::uint32_t InWait(void* context) {
    auto* self = static_cast<Blockers*>(context);
    self->Enter();
    WaitForSingleObject(self->open, kBlockLimitMs);
    self->Leave();
    return 0;
  }
  static std::uint32_t InHiddenWait(void* context) {
    auto* self = static_cast<Blockers*>(context);
    self->Enter();
    std::unique_lock<std::mutex> hold(self->mutex);
    self->openedHidden.wait_for(hold, std::chrono::milliseconds(kBlockLimitMs),
                                [self] { return self->hiddenOpen; });
    hold.unlock();
    self->Leave();
    return 0;
  }
};

// More blocked items than cores, then short items behind them: each short
// item must run while every blocked one still blocks, whether the pool sees
// the wait (it hands the queue on at once) or not (the watchdog must step in).
TEST(ThreadPoolPosixTest, BlockedItemsNeverLeaveQueuedItemsWaiting) {
  for (const auto blocker : {&Blockers::InWait, &Blockers::InHiddenWait}) {
    Blockers blockers;
    const int blocked = static_cast<int>(kCores) + 2;
    for (int i = 0; i < blocked; ++i)
      ASSERT_TRUE(QueueWorkItem(blocker, &blockers, 0));
    std::vector<Signal> shortItems(4);
    for (auto& item : shortItems)
      ASSERT_TRUE(QueueWorkItem(&Report, &item, 0));
    for (auto& item : shortItems)
      EXPECT_EQ(WaitForSingleObject(item.done, 10000), WAIT_OBJECT_0);
    EXPECT_EQ(blockers.finished.load(), 0);
    EXPECT_TRUE(
        WaitUntil([&] { return blockers.occupancy.inside.load() == blocked; }, "every blocker"));
    blockers.Open();
    ASSERT_TRUE(WaitUntil([&] { return blockers.finished.load() == blocked; }, "the blockers"));
  }
}

// A worker that sleeps counts as blocked for exactly as long as it sleeps.
std::uint32_t SleepAWhile(void* context) {
  Sleep(static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(context)));
  return 0;
}

TEST(ThreadPoolPosixTest, SleepCountsAsBlockedWhileItLasts) {
  ASSERT_TRUE(QueueWorkItem(&SleepAWhile, reinterpret_cast<void*>(std::uintptr_t{300}), 0));
  ASSERT_TRUE(WaitUntil([] { return testing::CountPool().blocked == 1; }, "the sleeper"));
  EXPECT_TRUE(WaitUntil(
      [] {
        const testing::PoolCounts counts = testing::CountPool();
        return counts.blocked == 0 && counts.running == 0;
      },
      "the sleep's end"));
}

// Items that block in a wait of the library until the test opens it, then
// run on for a while: the part after the wait is runnable work again.
struct Resumers {
  HANDLE open = CreateEvent(true, false);
  std::atomic<int> waiting{0};
  std::atomic<int> resumed{0};
  Occupancy occupancy;
  std::atomic<int> finished{0};
  int everyone = 0;

  ~Resumers() { CloseHandle(open); }

  // After the wait: runnable for two milliseconds, counting how many are inside
  // at once. It yields meanwhile, so that without turns every woken item
  // would be inside together even on one core.
  static std::uint32_t BusyAfterWait(void* context) {
    auto* self = static_cast<Resumers*>(context);
    self->waiting.fetch_add(1);
    WaitForSingleObject(self->open, kBlockLimitMs);
    self->occupancy.Enter();
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(2);
    while (std::chrono::steady_clock::now() < until)
      std::this_thread::yield();
    self->occupancy.Leave();
    self->finished.fetch_add(1);
    return 0;
  }

  // After the wait: spins until every other item is past its wait too, which
  // the pool cannot see; only the watchdog can let them all go on.
  static std::uint32_t SpinUntilAllResumed(void* context) {
    auto* self = static_cast<Resumers*>(context);
    self->waiting.fetch_add(1);
    WaitForSingleObject(self->open, kBlockLimitMs);
    self->resumed.fetch_add(1);
    while (self->resumed.load() < self->everyone)
      std::this_thread::yield();
    self->finished.fetch_add(1);
    return 0;
  }

  void StartAndOpen(WorkItemFunction item, int items) {
    everyone = items;
    for (int i = 0; i < items; ++i)
      ASSERT_TRUE(QueueWorkItem(item, this, 0));
    ASSERT_TRUE(WaitUntil([&] { return waiting.load() == items; }, "every item to wait"));
    ASSERT_TRUE(
        WaitUntil([&] { return testing::CountPool().blocked == static_cast<std::size_t>(items); },
                  "every item to block"));
    SetEvent(open);
    ASSERT_TRUE(WaitUntil([&] { return finished.load() == items; }, "every item to end"));
  }
};

// Many waits that end at once do not set many workers running at once: each
// woken worker waits for a turn. One step of the watchdog may add one more.
TEST(ThreadPoolPosixTest, WorkersWokenTogetherRunAboutOnePerCore) {
  Resumers resumers;
  resumers.StartAndOpen(&Resumers::BusyAfterWait, static_cast<int>(kCores) * 4);
  EXPECT_LE(resumers.occupancy.peak.load(), static_cast<int>(kCores) + 1);
}

// Woken workers that wait for each other in a way the pool cannot see all get
// their turn from the watchdog.
TEST(ThreadPoolPosixTest, WokenWorkersThatWaitForEachOtherAllGoOn) {
  Resumers resumers;
  resumers.StartAndOpen(&Resumers::SpinUntilAllResumed, static_cast<int>(kCores) + 3);
  EXPECT_EQ(resumers.resumed.load(), static_cast<int>(kCores) + 3);
}

TEST(ThreadPoolPosixTest, NoMoreThanTheCapRunAtOnce) {
  // Workers of earlier tests retire first, so the cap is reached here.
  testing::SetIdleWorkerTimeout(20);
  ASSERT_TRUE(WaitUntil([] { return testing::PoolWorkerCount() <= kCores; }, "retirement"));
  testing::SetIdleWorkerTimeout(2000);
  const std::size_t cap = kCores + 4;
  testing::SetWorkerCap(cap);
  for (const auto blocker : {&Blockers::InWait, &Blockers::InHiddenWait}) {
    Blockers blockers;
    const int items = static_cast<int>(cap) + 4;
    for (int i = 0; i < items; ++i)
      ASSERT_TRUE(QueueWorkItem(blocker, &blockers, 0));
    ASSERT_TRUE(WaitUntil([&] { return blockers.occupancy.inside.load() == static_cast<int>(cap); },
                          "the cap of items to block"));
    // Time for the watchdog to try more than one step beyond the cap.
    Sleep(350);
    EXPECT_EQ(testing::CountPool().queued, 4u);
    EXPECT_LE(testing::PoolWorkerCount(), cap);
    blockers.Open();
    ASSERT_TRUE(WaitUntil([&] { return blockers.finished.load() == items; }, "every item"));
    EXPECT_EQ(blockers.occupancy.peak.load(), static_cast<int>(cap));
  }
  testing::SetWorkerCap(kMaxPoolWorkers);
}

TEST(ThreadPoolPosixTest, IdleWorkersBeyondTheCoresRetireAndThePoolStartsAnew) {
  testing::SetIdleWorkerTimeout(20);
  {
    Blockers blockers;
    const int items = static_cast<int>(kCores) * 3;
    for (int i = 0; i < items; ++i)
      ASSERT_TRUE(QueueWorkItem(&Blockers::InWait, &blockers, 0));
    ASSERT_TRUE(
        WaitUntil([&] { return blockers.occupancy.inside.load() == items; }, "the blockers"));
    blockers.Open();
    ASSERT_TRUE(WaitUntil([&] { return blockers.finished.load() == items; }, "the blockers' end"));
  }
  EXPECT_TRUE(WaitUntil([] { return testing::PoolWorkerCount() == kCores; }, "retirement"));
  testing::SetIdleWorkerTimeout(2000);
  Signal again;
  ASSERT_TRUE(QueueWorkItem(&Report, &again, 0));
  EXPECT_EQ(WaitForSingleObject(again.done, 5000), WAIT_OBJECT_0);
}
std::atomic<std::uint32_t> g_workerThread{0};

void OnItemRan(std::uint32_t threadId) {
  g_workerThread = threadId;
}

bool ThreadAlive(std::uint32_t threadId) {
  return access(("/proc/self/task/" + std::to_string(threadId)).c_str(), F_OK) == 0;
}

TEST(ThreadPoolPosixTest, UnloadEndsTheModulesWorkersOrThereAreNone) {
  base::testing::TestModule module(BASE_POOL_MODULE_PATH);
  g_workerThread = 0;
  ASSERT_EQ(module.Call<int>("BaseTestQueueReportingItem", &OnItemRan), 1);
  ASSERT_TRUE(WaitUntil([] { return g_workerThread.load() != 0; }, "the item to run"));
  module.Unload();
  EXPECT_FALSE(ThreadAlive(g_workerThread));

  // A pool whose teardown could not enter the exit table would leave its
  // workers running in unmapped code: it refuses items and starts none.
  base::testing::TestModule refusing(BASE_POOL_MODULE_PATH);
  refusing.Call<void>("BaseTestFailNextExitTableEntry");
  // Freeing the pool's own few blocks at unload would take the very entry
  // that failed, so they stay, on purpose.
#if defined(__SANITIZE_ADDRESS__)
  __lsan::ScopedDisabler keptOnPurpose;
#endif
  EXPECT_EQ(refusing.Call<int>("BaseTestQueueReportingItem", &OnItemRan), 0);
}

}  // namespace
}  // namespace base::platform
