#include "platform/wait.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>
#include <vector>

#include "base/platform.h"
#include "platform/clock.h"
#include "platform/testing/clock_testing.h"
#include "platform/testing/wait_testing.h"
#include "support/wait_until.h"

namespace base::platform {
namespace {

using Clock = std::chrono::steady_clock;

std::int64_t MsSince(Clock::time_point start) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

// A bound for waits that another thread ends: only a hang reaches it.
constexpr std::uint32_t kLimitMs = 10000;

// Waits until `count` threads are inside a wait; a test that signals before
// its waiters wait would prove nothing about waking them.
::testing::AssertionResult WaitingThreads(unsigned count) {
  return base::testing::WaitUntil([count] { return testing::WaitsInProgress() >= count; },
                                  "the waiters to wait");
}

// 100 ns units, relative to now.
std::int64_t RelativeDue(std::int64_t ms) {
  return -ms * 10000;
}

TEST(WaitTest, EventsKeepOrConsumeTheirSignal) {
  HANDLE manual = CreateEvent(true, false);
  HANDLE automatic = CreateEvent(false, true);
  ASSERT_NE(manual, nullptr);
  ASSERT_NE(automatic, nullptr);

  EXPECT_EQ(WaitForSingleObject(manual, 0), WAIT_TIMEOUT);
  EXPECT_TRUE(SetEvent(manual));
  EXPECT_EQ(WaitForSingleObject(manual, 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(manual, INFINITE), WAIT_OBJECT_0);  // still signalled
  EXPECT_TRUE(ResetEvent(manual));
  EXPECT_EQ(WaitForSingleObject(manual, 0), WAIT_TIMEOUT);

  EXPECT_EQ(WaitForSingleObject(automatic, 0), WAIT_OBJECT_0);  // initially signalled
  EXPECT_EQ(WaitForSingleObject(automatic, 0), WAIT_TIMEOUT);   // ...and consumed

  EXPECT_TRUE(CloseHandle(manual));
  EXPECT_TRUE(CloseHandle(automatic));
}

TEST(WaitTest, BadHandlesFailAtOnce) {
  HANDLE event = CreateEvent(true, true);
  HANDLE timer = CreateWaitableTimer();
  ASSERT_TRUE(CloseHandle(event));
  int onStack = 0;
  const HANDLE bad[] = {nullptr, INVALID_HANDLE_VALUE, event, &onStack,
                        reinterpret_cast<HANDLE>(std::uintptr_t{0x7FFFFFF1})};
  for (HANDLE handle : bad) {
    EXPECT_EQ(WaitForSingleObject(handle, INFINITE), WAIT_FAILED);
    EXPECT_FALSE(SetEvent(handle));
    EXPECT_FALSE(ResetEvent(handle));
    EXPECT_FALSE(CloseHandle(handle));
    const HANDLE list[] = {timer, handle};
    EXPECT_EQ(WaitForMultipleObjects(2, list, INFINITE), WAIT_FAILED);
  }
  // A handle of the other kind is refused by the kind's own calls.
  EXPECT_FALSE(SetEvent(timer));
  HANDLE live = CreateEvent(true, false);
  EXPECT_FALSE(SetWaitableTimer(live, 0));
  // Count out of range, or one object twice: refused, not a deadlock.
  const HANDLE twice[] = {live, timer, live};
  EXPECT_EQ(WaitForMultipleObjects(3, twice, INFINITE), WAIT_FAILED);
  EXPECT_EQ(WaitForMultipleObjects(0, twice, 0), WAIT_FAILED);
  const HANDLE four[] = {live, timer, event, event};
  EXPECT_EQ(WaitForMultipleObjects(4, four, 0), WAIT_FAILED);
  EXPECT_TRUE(CloseHandle(live));
  EXPECT_FALSE(CloseHandle(live));
  EXPECT_TRUE(CloseHandle(timer));

  testing::FailNextEventCreation();  // once
  EXPECT_EQ(CreateEvent(true, false), nullptr);
  HANDLE again = CreateEvent(true, false);
  EXPECT_NE(again, nullptr);
  EXPECT_TRUE(CloseHandle(again));
}

TEST(WaitTest, WaitAnyPrefersTheLowestSignalledIndex) {
  HANDLE events[3] = {CreateEvent(true, false), CreateEvent(true, false),
                      CreateEvent(false, false)};
  SetEvent(events[2]);
  SetEvent(events[1]);
  EXPECT_EQ(WaitForMultipleObjects(3, events, 0), WAIT_OBJECT_0 + 1);
  SetEvent(events[0]);
  EXPECT_EQ(WaitForMultipleObjects(3, events, 0), WAIT_OBJECT_0 + 0);
  // The auto-reset event at index 2 was never taken, so it is still set.
  EXPECT_EQ(WaitForSingleObject(events[2], 0), WAIT_OBJECT_0);
  for (HANDLE event : events)
    CloseHandle(event);
}

TEST(WaitTest, WaitAnyTimesOutOrWakesWithTheIndexAnotherThreadSignals) {
  HANDLE events[3] = {CreateEvent(true, false), CreateEvent(true, false),
                      CreateEvent(false, false)};
  const auto start = Clock::now();
  EXPECT_EQ(WaitForMultipleObjects(3, events, 30), WAIT_TIMEOUT);
  EXPECT_GE(MsSince(start), 30);

  std::thread setter([&] {
    EXPECT_TRUE(WaitingThreads(1));
    SetEvent(events[2]);
  });
  EXPECT_EQ(WaitForMultipleObjects(3, events, kLimitMs), WAIT_OBJECT_0 + 2);
  setter.join();
  for (HANDLE event : events)
    CloseHandle(event);
}

TEST(WaitTest, LowestSignalledIndexWinsWhateverTheAddresses) {
  // A wait for several objects takes their locks in address order; the
  // result must still follow the caller's order, for every order of the
  // same objects and every set of them signalled.
  std::vector<HANDLE> objects = {CreateEvent(false, false), CreateEvent(false, false),
                                 CreateEvent(false, false)};
  std::sort(objects.begin(), objects.end());
  do {
    for (unsigned signalled = 1; signalled < 8; ++signalled) {
      unsigned lowest = 3;
      for (unsigned i = 3; i-- > 0;) {
        if (signalled & (1u << i)) {
          ASSERT_TRUE(SetEvent(objects[i]));
          lowest = i;
        }
      }
      EXPECT_EQ(WaitForMultipleObjects(3, objects.data(), 0), WAIT_OBJECT_0 + lowest)
          << "signalled set " << signalled;
      // Only the winner's auto-reset signal was taken.
      for (unsigned i = 0; i < 3; ++i) {
        const bool kept = (signalled & (1u << i)) != 0 && i != lowest;
        EXPECT_EQ(WaitForSingleObject(objects[i], 0), kept ? WAIT_OBJECT_0 : WAIT_TIMEOUT)
            << "signalled set " << signalled << ", index " << i;
      }
    }
  } while (std::next_permutation(objects.begin(), objects.end()));
  for (HANDLE object : objects)
    CloseHandle(object);
}

TEST(WaitTest, SignalWakesOnlyThatObjectsWaitersAndAutoResetWakesOne) {
  HANDLE mine = CreateEvent(true, false);
  HANDLE other = CreateEvent(true, false);
  HANDLE single = CreateEvent(false, false);
  std::atomic<int> otherWoke{0};
  std::atomic<int> singleWoke{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < 3; ++i) {
    waiters.emplace_back([&] {
      if (WaitForSingleObject(other, 300) == WAIT_OBJECT_0)
        ++otherWoke;
    });
    waiters.emplace_back([&] {
      if (WaitForSingleObject(single, 300) == WAIT_OBJECT_0)
        ++singleWoke;
    });
  }
  ASSERT_TRUE(WaitingThreads(6));
  SetEvent(mine);
  SetEvent(single);
  for (auto& waiter : waiters)
    waiter.join();
  EXPECT_EQ(otherWoke.load(), 0);
  EXPECT_EQ(singleWoke.load(), 1);
  EXPECT_EQ(WaitForSingleObject(single, 0), WAIT_TIMEOUT);  // taken by that one wait
  CloseHandle(mine);
  CloseHandle(other);
  CloseHandle(single);
}

TEST(WaitTest, TimerFiresWithinAWaitOnceAndRearmingReachesWaiters) {
  const std::uint64_t createdBefore = testing::WaitableTimersCreated();
  HANDLE timer = CreateWaitableTimer();
  ASSERT_NE(timer, nullptr);
  EXPECT_EQ(testing::WaitableTimersCreated(), createdBefore + 1);
  EXPECT_EQ(WaitForSingleObject(timer, 0), WAIT_TIMEOUT);  // not armed

  auto start = Clock::now();
  ASSERT_TRUE(SetWaitableTimer(timer, RelativeDue(30)));
  EXPECT_EQ(WaitForSingleObject(timer, kLimitMs), WAIT_OBJECT_0);
  EXPECT_GE(MsSince(start), 29);
  EXPECT_EQ(WaitForSingleObject(timer, 0), WAIT_TIMEOUT);  // one shot, auto reset

  // A due time of 0, or one in the past, signals at once; nobody needs to wait.
  ASSERT_TRUE(SetWaitableTimer(timer, 0));
  EXPECT_EQ(WaitForSingleObject(timer, 0), WAIT_OBJECT_0);

  // Due while nobody waits: the next poll sees it, exactly once.
  ASSERT_TRUE(SetWaitableTimer(timer, RelativeDue(1)));
  std::this_thread::sleep_for(std::chrono::milliseconds(5));
  EXPECT_EQ(WaitForSingleObject(timer, 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(timer, 0), WAIT_TIMEOUT);

  // Re-armed sooner while a thread sleeps on it: the waiter wakes at the new time.
  ASSERT_TRUE(SetWaitableTimer(timer, RelativeDue(60000)));
  start = Clock::now();
  std::thread rearm([&] {
    EXPECT_TRUE(WaitingThreads(1));
    SetWaitableTimer(timer, RelativeDue(10));
  });
  EXPECT_EQ(WaitForSingleObject(timer, 5000), WAIT_OBJECT_0);
  EXPECT_LT(MsSince(start), 4000);
  rearm.join();

  // Beside an event: the event, at the lower index, wins when both are set.
  HANDLE event = CreateEvent(true, true);
  ASSERT_TRUE(SetWaitableTimer(timer, 0));
  const HANDLE list[] = {event, timer};
  EXPECT_EQ(WaitForMultipleObjects(2, list, INFINITE), WAIT_OBJECT_0);
  ResetEvent(event);
  EXPECT_EQ(WaitForMultipleObjects(2, list, kLimitMs), WAIT_OBJECT_0 + 1);
  CloseHandle(event);
  CloseHandle(timer);
}

TEST(WaitTest, TimedWaitLastsAsLongAsAskedAcrossTheTickWrap) {
  HANDLE event = CreateEvent(true, false);
  testing::SetTickCount(0xFFFFFFFFu - 10);
  const std::uint32_t before = TickCount();
  EXPECT_EQ(WaitForSingleObject(event, 40), WAIT_TIMEOUT);
  const std::uint32_t after = TickCount();
  testing::ResetTickCount();
  EXPECT_LT(after, before);  // the tick wrapped during the wait
  EXPECT_GE(after - before, 40u);
  EXPECT_LT(after - before, 2000u);
  CloseHandle(event);
}

// Many threads wait on overlapping pairs while others signal: every wait must
// end with an index whose object was really set, and nothing may hang.
TEST(WaitTest, ConcurrentWaitsAndSignalsStayConsistent) {
  constexpr int kEvents = 4;
  constexpr int kRounds = 300;
  HANDLE events[kEvents];
  for (auto& event : events)
    event = CreateEvent(false, false);
  std::atomic<bool> stop{false};
  std::atomic<int> satisfied{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      const HANDLE pair[] = {events[t % kEvents], events[(t + 1) % kEvents]};
      for (int i = 0; i < kRounds; ++i) {
        const std::uint32_t result = WaitForMultipleObjects(2, pair, 20);
        ASSERT_TRUE(result == WAIT_OBJECT_0 || result == WAIT_OBJECT_0 + 1 ||
                    result == WAIT_TIMEOUT);
        if (result != WAIT_TIMEOUT)
          ++satisfied;
      }
    });
  }
  std::thread signaller([&] {
    for (int i = 0; !stop.load(); ++i) {
      SetEvent(events[i % kEvents]);
      std::this_thread::yield();
    }
  });
  for (auto& thread : threads)
    thread.join();
  stop = true;
  signaller.join();
  EXPECT_GT(satisfied.load(), 0);
  for (auto& event : events)
    CloseHandle(event);
}

}  // namespace
}  // namespace base::platform
