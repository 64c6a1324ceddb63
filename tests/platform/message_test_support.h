// A window that records what its procedure receives, for the message tests.
#ifndef BASE_TESTS_PLATFORM_MESSAGE_TEST_SUPPORT_H_
#define BASE_TESTS_PLATFORM_MESSAGE_TEST_SUPPORT_H_

#include <cstdint>
#include <functional>
#include <vector>

#include "platform/message_window.h"

namespace base::platform::test {

struct Delivery {
  std::uint32_t message;
  std::uintptr_t wparam;
  bool operator==(const Delivery& o) const { return message == o.message && wparam == o.wparam; }
};

// Lives in window word 0; touched on the owner thread only.
struct Recorder {
  std::vector<Delivery> seen;
  std::function<void(WindowHandle, std::uint32_t, std::uintptr_t)> onMessage;
};

inline std::intptr_t BASE_WINDOW_CALL RecordingProcedure(WindowHandle window,
                                                         std::uint32_t message,
                                                         std::uintptr_t wparam,
                                                         std::intptr_t lparam) {
  if (message == kMessageCreate)
    SetWindowWord0(window, reinterpret_cast<std::intptr_t>(CreationParameter(lparam)));
  auto* recorder = reinterpret_cast<Recorder*>(GetWindowWord0(window));
  // The system sends a window more than the messages the library knows.
  const bool known = message == kMessageCreate || message == kMessageDestroy ||
                     message == kMessageTimer || message >= kMessageUser;
  if (!recorder || !known)
    return DefaultWindowProcedure(window, message, wparam, lparam);
  recorder->seen.push_back({message, wparam});
  if (recorder->onMessage)
    recorder->onMessage(window, message, wparam);
  return 0;
}

inline const wchar_t* RecordingClass() {
  static const bool registered = RegisterWindowClass(L"recording", RecordingProcedure);
  (void)registered;
  return L"recording";
}

inline WindowHandle MakeRecordingWindow(Recorder& recorder) {
  return CreateMessageWindow(RecordingClass(), L"test window", &recorder);
}

}  // namespace base::platform::test

#endif  // BASE_TESTS_PLATFORM_MESSAGE_TEST_SUPPORT_H_
