// The descriptor that lets a posix host's own loop drive the library.
#include <gtest/gtest.h>
#include <poll.h>

#include <stdexcept>
#include <thread>

#include "base/message_loop.h"
#include "message_test_support.h"
#include "platform/message_window.h"

namespace base {
namespace {

using platform::kMessageTimer;
using platform::kMessageUser;
using platform::WindowHandle;
using platform::test::Delivery;
using platform::test::MakeRecordingWindow;
using platform::test::Recorder;

constexpr std::uint32_t kPing = kMessageUser + 1;

bool Readable(int fd, int timeoutMs) {
  pollfd p{fd, POLLIN, 0};
  return poll(&p, 1, timeoutMs) == 1;
}

TEST(MessageLoopTest, DescriptorTellsAHostLoopWhenToPump) {
  Recorder recorder;
  const WindowHandle window = MakeRecordingWindow(recorder);
  const int fd = MessageLoopFd();
  ASSERT_GE(fd, 0);
  EXPECT_EQ(MessageLoopFd(), fd);
  EXPECT_FALSE(Readable(fd, 0));

  std::thread([=] { platform::PostWindowMessage(window, kPing, 1, 0); }).join();
  EXPECT_TRUE(Readable(fd, 0));
  EXPECT_EQ(PumpMessages(0), 1u);
  EXPECT_FALSE(Readable(fd, 0));

  // Stays readable for what a pass leaves behind.
  recorder.onMessage = [](WindowHandle w, std::uint32_t message, std::uintptr_t wparam) {
    if (message == kPing && wparam == 1)
      platform::PostWindowMessage(w, kPing, 2, 0);
  };
  platform::PostWindowMessage(window, kPing, 1, 0);
  EXPECT_EQ(PumpMessages(0), 1u);
  EXPECT_TRUE(Readable(fd, 0));
  EXPECT_EQ(PumpMessages(0), 1u);
  EXPECT_FALSE(Readable(fd, 0));

  // And for what a pass took but could not deliver, because a procedure threw.
  recorder.onMessage = [](WindowHandle, std::uint32_t message, std::uintptr_t wparam) {
    if (message == kPing && wparam == 1)
      throw std::runtime_error("from the procedure");
  };
  platform::PostWindowMessage(window, kPing, 1, 0);
  platform::PostWindowMessage(window, kPing, 2, 0);
  EXPECT_THROW(PumpMessages(0), std::runtime_error);
  EXPECT_TRUE(Readable(fd, 0));
  EXPECT_EQ(PumpMessages(0), 1u);
  EXPECT_FALSE(Readable(fd, 0));
  recorder.onMessage = nullptr;

  // A timer makes it readable when it comes due, without anyone pumping.
  platform::SetWindowTimer(window, 4, 15);
  EXPECT_FALSE(Readable(fd, 0));
  EXPECT_TRUE(Readable(fd, 10000));
  EXPECT_EQ(PumpMessages(0), 1u);
  EXPECT_EQ(recorder.seen.back(), (Delivery{kMessageTimer, 4}));
  platform::KillWindowTimer(window, 4);
  EXPECT_EQ(PumpMessages(0), 0u);
  EXPECT_FALSE(Readable(fd, 0));
  EXPECT_TRUE(platform::DestroyMessageWindow(window));
}

}  // namespace
}  // namespace base
