#include "base/message_loop.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "message_test_support.h"
#include "platform/message_window.h"
#include "support/run_loop.h"

namespace base {
namespace {

using platform::kMessageTimer;
using platform::kMessageUser;
using platform::WindowHandle;
using platform::test::Delivery;
using platform::test::MakeRecordingWindow;
using platform::test::Recorder;
using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kPing = kMessageUser + 1;

TEST(MessageLoopTest, PostersAndATimerSetterWhileTheOwnerRuns) {
  constexpr int kPosters = 4;
  constexpr std::uintptr_t kPerPoster = 2000;
  Recorder recorder;
  const WindowHandle window = MakeRecordingWindow(recorder);
  std::vector<std::uintptr_t> lastFrom(kPosters, 0);
  std::size_t received = 0;
  bool timerSeen = false;
  bool ordered = true;
  recorder.onMessage = [&](WindowHandle, std::uint32_t message, std::uintptr_t wparam) {
    if (message == kMessageTimer) {
      timerSeen = true;
      platform::KillWindowTimer(window, wparam);
    } else if (message >= kPing) {
      // wparam counts up per poster: each poster's messages arrive in order.
      std::uintptr_t& last = lastFrom[message - kPing];
      ordered = ordered && wparam == last + 1;
      last = wparam;
      ++received;
    }
    if (received == kPosters * kPerPoster && timerSeen)
      QuitMessageLoop();
  };

  std::vector<std::thread> threads;
  for (int p = 0; p < kPosters; ++p) {
    threads.emplace_back([=] {
      for (std::uintptr_t i = 1; i <= kPerPoster; ++i)
        ASSERT_TRUE(platform::PostWindowMessage(window, kPing + p, i, 0));
    });
  }
  // A real 10 ms timer, armed from elsewhere while the owner is busy or asleep.
  threads.emplace_back([=] { ASSERT_TRUE(platform::SetWindowTimer(window, 42, 10)); });
  EXPECT_TRUE(testing::RunLoopWithin());
  for (std::thread& t : threads)
    t.join();

  EXPECT_TRUE(ordered);
  EXPECT_EQ(received, kPosters * kPerPoster);
  EXPECT_TRUE(timerSeen);
  recorder.onMessage = nullptr;
  EXPECT_TRUE(platform::DestroyMessageWindow(window));
}

TEST(MessageLoopTest, PumpWaitsForTheFirstMessageOrTimeout) {
  Recorder recorder;
  const WindowHandle window = MakeRecordingWindow(recorder);

  Clock::time_point start = Clock::now();
  EXPECT_EQ(PumpMessages(30), 0u);
  // The limit counts whole ticks of the millisecond clock, so 30 of them may
  // span a little less than 30 ms of this finer one.
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(29));

  // A post from another thread ends the wait long before the limit.
  start = Clock::now();
  std::thread poster([=] {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    platform::PostWindowMessage(window, kPing, 9, 0);
  });
  EXPECT_EQ(PumpMessages(10000), 1u);
  poster.join();
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));
  EXPECT_EQ(recorder.seen.back(), (Delivery{kPing, 9}));

  // So does a timer coming due on the real clock, even one set by another
  // thread after the wait began.
  start = Clock::now();
  std::thread setter([=] {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    platform::SetWindowTimer(window, 3, 20);
  });
  EXPECT_EQ(PumpMessages(10000), 1u);
  setter.join();
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(20));
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));
  EXPECT_EQ(recorder.seen.back(), (Delivery{kMessageTimer, 3}));
  EXPECT_TRUE(platform::DestroyMessageWindow(window));
}

TEST(MessageLoopTest, QuitEndsTheInnermostLoop) {
  // A quit asked for before the loop runs ends it at once.
  QuitMessageLoop();
  EXPECT_TRUE(testing::RunLoopWithin());

  Recorder recorder;
  const WindowHandle window = MakeRecordingWindow(recorder);
  std::vector<int> trace;
  recorder.onMessage = [&](WindowHandle w, std::uint32_t message, std::uintptr_t wparam) {
    if (message != kPing)
      return;
    trace.push_back(static_cast<int>(wparam));
    if (wparam == 1) {
      platform::PostWindowMessage(w, kPing, 2, 0);
      EXPECT_TRUE(testing::RunLoopWithin());  // nested; ended by message 2
      trace.push_back(-1);
      platform::PostWindowMessage(w, kPing, 3, 0);
    } else {
      QuitMessageLoop();
    }
  };
  platform::PostWindowMessage(window, kPing, 1, 0);
  EXPECT_TRUE(testing::RunLoopWithin());
  EXPECT_EQ(trace, (std::vector<int>{1, 2, -1, 3}));
  recorder.onMessage = nullptr;
  EXPECT_TRUE(platform::DestroyMessageWindow(window));
}

}  // namespace
}  // namespace base
