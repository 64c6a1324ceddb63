// What the posix objects promise beyond the Windows ones: handle values that
// never name a later object, objects without a descriptor each, a close that a
// running wait survives, and the host's Windows names (base/platform.h) on the
// same objects.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "base/platform.h"
#include "platform/testing/wait_testing.h"
#include "platform/wait.h"
#include "support/wait_until.h"

namespace base::platform {
namespace {

TEST(WaitPosixTest, HostNamesShareTheObjectsAndAClosedHandleNeverNamesANewOne) {
  HANDLE live = CreateEvent(true, false);
  EXPECT_EQ(::CreateEventW(nullptr, TRUE, FALSE, L"name"), nullptr);  // named: unsupported
  EXPECT_EQ(::SetEvent(live), TRUE);
  EXPECT_EQ(::WaitForSingleObject(live, 0), WAIT_OBJECT_0);
  EXPECT_EQ(::CloseHandle(live), TRUE);
  EXPECT_EQ(::CloseHandle(live), FALSE);

  // The slot is reused at once, but the old handle is refused.
  HANDLE fresh = ::CreateEventW(nullptr, TRUE, TRUE, nullptr);
  EXPECT_EQ(WaitForSingleObject(live, 0), WAIT_FAILED);
  EXPECT_EQ(WaitForSingleObject(fresh, 0), WAIT_OBJECT_0);
  CloseHandle(fresh);
}

// Objects are memory, not descriptors: a process holds as many as its tasks
// need, two per task.
TEST(WaitPosixTest, HundredThousandEventsLiveAtOnce) {
  constexpr int kCount = 100000;
  std::vector<HANDLE> events(kCount);
  for (auto& event : events) {
    event = CreateEvent(true, false);
    ASSERT_NE(event, nullptr);
  }
  for (int i = 0; i < kCount; i += 997)
    SetEvent(events[i]);
  for (int i = 0; i < kCount; ++i)
    ASSERT_EQ(WaitForSingleObject(events[i], 0), i % 997 == 0 ? WAIT_OBJECT_0 : WAIT_TIMEOUT);
  for (auto& event : events)
    ASSERT_TRUE(CloseHandle(event));
}

// Threads make and free events at once, as posters and pool workers do with
// every task's two: no slot is ever handed to two live events.
TEST(WaitPosixTest, EventsMadeAndFreedOnManyThreadsStayApart) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 20000;
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&wrong] {
      HANDLE held[3] = {};
      for (int round = 0; round < kRounds; ++round) {
        HANDLE& event = held[round % 3];
        if (event != nullptr) {
          // Signalled by this thread alone, and still its own.
          wrong += WaitForSingleObject(event, 0) != WAIT_OBJECT_0;
          wrong += !CloseHandle(event);
        }
        event = CreateEvent(true, false);
        wrong += event == nullptr || WaitForSingleObject(event, 0) != WAIT_TIMEOUT;
        SetEvent(event);
      }
      for (HANDLE event : held)
        wrong += !CloseHandle(event);
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(wrong.load(), 0);
}

TEST(WaitPosixTest, CloseWhileAnotherThreadWaitsLetsTheWaitRunOut) {
  HANDLE event = CreateEvent(true, false);
  HANDLE timer = CreateWaitableTimer();
  SetWaitableTimer(timer, -40 * 10000);
  std::uint32_t eventResult = 0;
  std::uint32_t timerResult = 0;
  std::atomic<bool> eventWaitOver{false};
  std::atomic<bool> timerWaitOver{false};
  std::thread eventWaiter([&] {
    eventResult = WaitForSingleObject(event, 60);
    eventWaitOver = true;
  });
  std::thread timerWaiter([&] {
    timerResult = WaitForSingleObject(timer, 5000);
    timerWaitOver = true;
  });
  // Close only once each thread is inside its wait (or, on a machine loaded
  // enough, already out of it): a wait that begins after the close fails,
  // which is right, but not what is tested here.
  EXPECT_TRUE(base::testing::WaitUntil(
      [&] {
        return (testing::WaitersOf(event) != 0 || eventWaitOver) &&
               (testing::WaitersOf(timer) != 0 || timerWaitOver);
      },
      "both threads to be inside their waits"));
  EXPECT_TRUE(CloseHandle(event));
  EXPECT_TRUE(CloseHandle(timer));
  // New objects may not take the slots of objects that waits still hold.
  HANDLE fresh[4];
  for (auto& handle : fresh)
    handle = CreateEvent(true, true);
  eventWaiter.join();
  timerWaiter.join();
  EXPECT_EQ(eventResult, WAIT_TIMEOUT);
  EXPECT_EQ(timerResult, WAIT_OBJECT_0);  // the armed timer still came due
  for (auto& handle : fresh)
    CloseHandle(handle);
}

}  // namespace
}  // namespace base::platform
