// Bounded runs of the calling thread's message loop. A loop that nothing
// quits never returns; this gives up after a bound and fails the test where it
// waited. RunLoopUntil, which pumps until a condition holds, is in
// wait_until.h.
#ifndef BASE_TESTS_SUPPORT_RUN_LOOP_H_
#define BASE_TESTS_SUPPORT_RUN_LOOP_H_

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>

#include "base/message_loop.h"
#include "platform/message_window.h"
#include "support/wait_until.h"

namespace base::testing {

// Only a hang reaches it: loops under test quit within milliseconds.
constexpr std::chrono::seconds kRunLoopLimit{10};

namespace internal {

// The watchdog's window: word 0 points at the flag its timer raises. The
// timer is periodic, so a hang in a nested loop quits that loop and then
// each one around it.
inline std::intptr_t BASE_WINDOW_CALL WatchdogProcedure(platform::WindowHandle window,
                                                        std::uint32_t message,
                                                        std::uintptr_t wparam,
                                                        std::intptr_t lparam) {
  if (message == platform::kMessageCreate) {
    platform::SetWindowWord0(window,
                             reinterpret_cast<std::intptr_t>(platform::CreationParameter(lparam)));
  } else if (message == platform::kMessageTimer) {
    *reinterpret_cast<bool*>(platform::GetWindowWord0(window)) = true;
    QuitMessageLoop();
    return 0;
  }
  return platform::DefaultWindowProcedure(window, message, wparam, lparam);
}

}  // namespace internal

// RunMessageLoop() on this thread, quit by a watchdog timer if nothing else
// quits it within `limit`:
//   ASSERT_TRUE(RunLoopWithin());
[[nodiscard]] inline ::testing::AssertionResult RunLoopWithin(
    std::chrono::milliseconds limit = kRunLoopLimit) {
  static const bool registered =
      platform::RegisterWindowClass(L"test watchdog", internal::WatchdogProcedure);
  static_cast<void>(registered);  // false only for a second registration
  bool fired = false;
  const platform::WindowHandle watchdog =
      platform::CreateMessageWindow(L"test watchdog", L"test watchdog", &fired);
  if (watchdog == nullptr)
    return ::testing::AssertionFailure() << "no watchdog window";
  platform::SetWindowTimer(watchdog, 1, static_cast<std::uint32_t>(limit.count()));
  RunMessageLoop();
  platform::DestroyMessageWindow(watchdog);
  if (fired)
    return ::testing::AssertionFailure() << "the loop still ran after " << limit.count() << " ms";
  return ::testing::AssertionSuccess();
}

}  // namespace base::testing

#endif  // BASE_TESTS_SUPPORT_RUN_LOOP_H_
