#include "platform/message_window.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

#include "base/message_loop.h"
#include "message_test_support.h"
#include "platform/testing/clock_testing.h"
#include "platform/testing/message_window_testing.h"
#include "support/under_wine.h"

namespace base::platform {
namespace {

using test::Delivery;
using test::MakeRecordingWindow;
using test::Recorder;

constexpr std::uint32_t kPing = kMessageUser + 1;

TEST(MessageWindowTest, LifecycleMessagesAndTheWindowWord) {
  Recorder recorder;
  const WindowHandle window = MakeRecordingWindow(recorder);
  ASSERT_NE(window, nullptr);
  EXPECT_EQ(GetWindowWord0(window), reinterpret_cast<std::intptr_t>(&recorder));
  EXPECT_EQ(recorder.seen, (std::vector<Delivery>{{kMessageCreate, 0}}));

  // The word is still there while kMessageDestroy is handled.
  std::intptr_t wordDuringDestroy = 0;
  recorder.onMessage = [&](WindowHandle w, std::uint32_t message, std::uintptr_t) {
    if (message == kMessageDestroy)
      wordDuringDestroy = GetWindowWord0(w);
  };
  ASSERT_TRUE(PostWindowMessage(window, kPing, 1, 0));
  ASSERT_TRUE(SetWindowTimer(window, 5, 10));
  EXPECT_TRUE(DestroyMessageWindow(window));
  EXPECT_EQ(wordDuringDestroy, reinterpret_cast<std::intptr_t>(&recorder));

  // A gone window refuses everything, and what was queued for it is dropped.
  EXPECT_FALSE(DestroyMessageWindow(window));
  EXPECT_FALSE(PostWindowMessage(window, kPing, 2, 0));
  EXPECT_FALSE(SetWindowTimer(window, 5, 10));
  EXPECT_FALSE(KillWindowTimer(window, 5));
  EXPECT_EQ(GetWindowWord0(window), 0);
  testing::AdvanceTickCount(1000);
  EXPECT_EQ(PumpMessages(0), 0u);
  EXPECT_EQ(recorder.seen.size(), 2u);
  testing::ResetTickCount();

  // A new window never gets the old handle back.
  Recorder other;
  const WindowHandle second = MakeRecordingWindow(other);
  EXPECT_NE(second, window);
  EXPECT_TRUE(DestroyMessageWindow(second));
}

int g_refusedDestroys = 0;

std::intptr_t BASE_WINDOW_CALL RefusingProcedure(WindowHandle,
                                                 std::uint32_t message,
                                                 std::uintptr_t,
                                                 std::intptr_t) {
  if (message == kMessageDestroy)
    ++g_refusedDestroys;
  return message == kMessageCreate ? -1 : 0;
}

TEST(MessageWindowTest, ClassesAndRefusedCreation) {
  EXPECT_EQ(CreateMessageWindow(L"no such class", L"", nullptr), nullptr);
  RegisterWindowClass(L"refusing", RefusingProcedure);
  // The first registration stays in force.
  EXPECT_FALSE(RegisterWindowClass(L"refusing", test::RecordingProcedure));
  // A creation refused by the procedure fails, after the procedure has seen
  // its destruction.
  const int destroysBefore = g_refusedDestroys;
  EXPECT_EQ(CreateMessageWindow(L"refusing", L"", nullptr), nullptr);
  // Wine 8 removes a window refused in WM_CREATE without sending it
  // WM_DESTROY, which Windows sends.
  if (!base::testing::UnderWine())
    EXPECT_EQ(g_refusedDestroys, destroysBefore + 1);
}

TEST(MessageWindowTest, TestControlsFailCreationsAndPosts) {
  Recorder recorder;
  testing::FailWindowCreations(1);
  EXPECT_EQ(MakeRecordingWindow(recorder), nullptr);
  EXPECT_TRUE(recorder.seen.empty());
  const WindowHandle window = MakeRecordingWindow(recorder);
  ASSERT_NE(window, nullptr);

  testing::FailWindowPosts(2);
  EXPECT_FALSE(PostWindowMessage(window, kPing, 1, 0));
  EXPECT_FALSE(PostWindowMessage(window, kPing, 2, 0));
  EXPECT_TRUE(PostWindowMessage(window, kPing, 3, 0));
  testing::FailWindowPosts(5);
  testing::FailWindowPosts(0);
  EXPECT_TRUE(PostWindowMessage(window, kPing, 4, 0));
  EXPECT_EQ(PumpMessages(0), 2u);
  EXPECT_EQ(recorder.seen.back(), (Delivery{kPing, 4}));
  EXPECT_TRUE(DestroyMessageWindow(window));
}

TEST(MessageWindowTest, OnlyTheOwnerThreadDestroys) {
  Recorder recorder;
  const WindowHandle window = MakeRecordingWindow(recorder);
  bool destroyedElsewhere = true;
  std::thread([&] { destroyedElsewhere = DestroyMessageWindow(window); }).join();
  EXPECT_FALSE(destroyedElsewhere);
  EXPECT_TRUE(DestroyMessageWindow(window));
}

TEST(MessageWindowTest, TimersComeDueOnTheShiftedTick) {
  Recorder recorder;
  const WindowHandle window = MakeRecordingWindow(recorder);
  recorder.seen.clear();
  testing::SetTickCount(0xFFFFFFF0u);  // the timer is due across the wrap

  // Real time runs on under the shift: the "not yet" steps keep a margin.
  ASSERT_TRUE(SetWindowTimer(window, 7, 1000));
  EXPECT_EQ(PumpMessages(0), 0u);
  testing::AdvanceTickCount(900);
  EXPECT_EQ(PumpMessages(0), 0u);
  testing::AdvanceTickCount(100);
  EXPECT_EQ(PumpMessages(0), 1u);
  EXPECT_EQ(recorder.seen.back(), (Delivery{kMessageTimer, 7}));

  // Many missed periods give one message, not a burst.
  testing::AdvanceTickCount(10000);
  EXPECT_EQ(PumpMessages(0), 1u);
  EXPECT_EQ(PumpMessages(0), 0u);

  // Setting the id again re-arms it from now with the new period.
  ASSERT_TRUE(SetWindowTimer(window, 7, 200));
  testing::AdvanceTickCount(150);
  EXPECT_EQ(PumpMessages(0), 0u);
  testing::AdvanceTickCount(60);
  EXPECT_EQ(PumpMessages(0), 1u);

  // Periods below the minimum are raised to it.
  ASSERT_TRUE(SetWindowTimer(window, 8, 0));
  testing::AdvanceTickCount(kMinimumTimerPeriod / 2);
  EXPECT_EQ(PumpMessages(0), 0u);
  testing::AdvanceTickCount(kMinimumTimerPeriod / 2);
  EXPECT_EQ(PumpMessages(0), 1u);
  EXPECT_EQ(recorder.seen.back(), (Delivery{kMessageTimer, 8}));

  EXPECT_TRUE(KillWindowTimer(window, 7));
  EXPECT_FALSE(KillWindowTimer(window, 7));
  EXPECT_TRUE(KillWindowTimer(window, 8));
  testing::AdvanceTickCount(1000);
  EXPECT_EQ(PumpMessages(0), 0u);
  EXPECT_TRUE(DestroyMessageWindow(window));
  testing::ResetTickCount();
}

TEST(MessageWindowTest, TimersWaitForPostedMessagesButAreNotStarved) {
  Recorder recorder;
  const WindowHandle window = MakeRecordingWindow(recorder);
  recorder.seen.clear();
  ASSERT_TRUE(SetWindowTimer(window, 1, 1000));
  testing::AdvanceTickCount(1000);
  PostWindowMessage(window, kPing, 1, 0);
  PostWindowMessage(window, kPing, 2, 0);
  // A procedure that posts again at every message: a stream that never dries.
  recorder.onMessage = [](WindowHandle w, std::uint32_t message, std::uintptr_t wparam) {
    if (message == kPing)
      PostWindowMessage(w, kPing, wparam + 10, 0);
  };
  EXPECT_EQ(PumpMessages(0), 3u);
  EXPECT_EQ(recorder.seen, (std::vector<Delivery>{{kPing, 1}, {kPing, 2}, {kMessageTimer, 1}}));
  // What was posted meanwhile comes next, in order.
  EXPECT_EQ(PumpMessages(0), 2u);
  EXPECT_EQ(recorder.seen[3], (Delivery{kPing, 11}));
  EXPECT_EQ(recorder.seen[4], (Delivery{kPing, 12}));
  recorder.onMessage = nullptr;
  EXPECT_TRUE(DestroyMessageWindow(window));
  testing::ResetTickCount();
}

TEST(MessageWindowTest, NestedDispatchSurvivesDestructionAndSelfKill) {
  Recorder outer;
  Recorder inner;
  const WindowHandle outerWindow = MakeRecordingWindow(outer);
  WindowHandle innerWindow = MakeRecordingWindow(inner);
  unsigned nestedCount = 0;

  // The outer procedure pumps; what it pumps destroys the outer window while
  // the outer dispatch is still inside its procedure.
  outer.onMessage = [&](WindowHandle, std::uint32_t message, std::uintptr_t) {
    if (message == kPing)
      nestedCount = PumpMessages(0);
  };
  inner.onMessage = [&](WindowHandle self, std::uint32_t message, std::uintptr_t id) {
    if (message == kPing) {
      EXPECT_TRUE(DestroyMessageWindow(outerWindow));
    } else if (message == kMessageTimer) {
      EXPECT_TRUE(KillWindowTimer(self, id));  // its own timer, from its own message
    }
  };
  PostWindowMessage(outerWindow, kPing, 0, 0);
  PostWindowMessage(innerWindow, kPing, 0, 0);
  PostWindowMessage(outerWindow, kPing, 1, 0);  // dropped by the destruction
  SetWindowTimer(innerWindow, 3, 10);
  testing::AdvanceTickCount(10);

  EXPECT_EQ(PumpMessages(0), 1u);  // the outer pass ends: its batch is gone
  EXPECT_EQ(nestedCount, 2u);      // the inner ping and the timer
  EXPECT_EQ(outer.seen.back(), (Delivery{kMessageDestroy, 0}));
  EXPECT_EQ(inner.seen.back(), (Delivery{kMessageTimer, 3}));
  testing::AdvanceTickCount(100);
  EXPECT_EQ(PumpMessages(0), 0u);
  EXPECT_TRUE(DestroyMessageWindow(innerWindow));
  testing::ResetTickCount();
}

TEST(MessageWindowTest, ThrowingProcedureLeavesTheRestQueued) {
  Recorder recorder;
  const WindowHandle window = MakeRecordingWindow(recorder);
  recorder.onMessage = [](WindowHandle, std::uint32_t message, std::uintptr_t wparam) {
    if (message == kPing && wparam == 1)
      throw std::runtime_error("from the procedure");
  };
  PostWindowMessage(window, kPing, 1, 0);
  PostWindowMessage(window, kPing, 2, 0);
  EXPECT_THROW(PumpMessages(0), std::runtime_error);
  EXPECT_EQ(PumpMessages(0), 1u);
  EXPECT_EQ(recorder.seen.back(), (Delivery{kPing, 2}));
  EXPECT_TRUE(DestroyMessageWindow(window));
}

// A pass takes what waits in one go; a procedure that pumps, and a nested
// pass that throws, still leave every message in the order it was posted.
TEST(MessageWindowTest, NestedPassesKeepThePostedOrder) {
  Recorder recorder;
  const WindowHandle window = MakeRecordingWindow(recorder);
  recorder.onMessage = [&](WindowHandle self, std::uint32_t message, std::uintptr_t wparam) {
    if (message != kPing)
      return;
    if (wparam == 1) {
      EXPECT_THROW(PumpMessages(0), std::runtime_error);
      PostWindowMessage(self, kPing, 5, 0);
    } else if (wparam == 2) {
      PostWindowMessage(self, kPing, 4, 0);
      throw std::runtime_error("from the nested pass");
    }
  };
  for (std::uintptr_t i = 1; i <= 3; ++i)
    PostWindowMessage(window, kPing, i, 0);
  // Which pass delivers 3 and 4 is the platform's affair; none is lost or doubled.
  const unsigned first = PumpMessages(0);
  EXPECT_EQ(first + PumpMessages(0), 4u);
  EXPECT_EQ(recorder.seen,
            (std::vector<Delivery>{
                {kMessageCreate, 0}, {kPing, 1}, {kPing, 2}, {kPing, 3}, {kPing, 4}, {kPing, 5}}));
  EXPECT_TRUE(DestroyMessageWindow(window));
}

TEST(MessageWindowTest, WindowsDieWithTheirThread) {
  Recorder recorder;
  WindowHandle window = nullptr;
  std::thread([&] {
    window = MakeRecordingWindow(recorder);
    PostWindowMessage(window, kPing, 0, 0);
  }).join();
  // Whether the procedure hears of it is the system's affair: the posix
  // backend destroys the windows as their owner would, Windows removes them
  // without a message, since their thread can no longer run one.
  EXPECT_FALSE(PostWindowMessage(window, kPing, 0, 0));
  EXPECT_EQ(GetWindowWord0(window), 0);
}

}  // namespace
}  // namespace base::platform
