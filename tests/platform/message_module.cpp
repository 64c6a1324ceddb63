// A test module: the library's objects in a shared object of their own, with
// entries that use a message window the way the timers do: a window and a
// window timer on the calling thread, posts from other threads, and an
// exit-table entry that destroys the window at unload.
#include <cstdint>

#include "base/message_loop.h"
#include "platform/exit_table.h"
#include "platform/message_window.h"
#include "platform/testing/clock_testing.h"

namespace {

using namespace base::platform;

using Report = void (*)(bool destroyed);

WindowHandle g_window = nullptr;
Report g_report = nullptr;
int g_delivered = 0;
bool g_sawDestroy = false;

std::intptr_t BASE_WINDOW_CALL Procedure(WindowHandle window,
                                         std::uint32_t message,
                                         std::uintptr_t wparam,
                                         std::intptr_t lparam) {
  if (message == kMessageUser || message == kMessageTimer)
    ++g_delivered;
  if (message == kMessageDestroy)
    g_sawDestroy = true;
  return DefaultWindowProcedure(window, message, wparam, lparam);
}

void DestroyAtExit() {
  const bool destroyed = DestroyMessageWindow(g_window);
  g_report(destroyed && g_sawDestroy);
}

}  // namespace

#define ENTRY extern "C" __attribute__((visibility("default")))

// 0 on success; otherwise the number of the step that failed. A class that is
// already registered means the module was not loaded afresh.
ENTRY int BaseTestOpenWindow(Report report) {
  if (!RegisterWindowClass(L"unload test", &Procedure))
    return 1;
  g_window = CreateMessageWindow(L"unload test", L"", nullptr);
  if (!g_window)
    return 2;
  if (!SetWindowTimer(g_window, 1, kMinimumTimerPeriod))
    return 3;
  if (base::MessageLoopFd() < 0)
    return 4;
  g_report = report;
  return AddExitTableEntry(&DestroyAtExit) ? 0 : 5;
}

ENTRY bool BaseTestPost() {
  return PostWindowMessage(g_window, kMessageUser, 0, 0);
}

// Brings the timer due and dispatches; returns how many posts and timer
// messages have been delivered so far.
ENTRY int BaseTestPump() {
  testing::AdvanceTickCount(kMinimumTimerPeriod);
  base::PumpMessages(0);
  return g_delivered;
}
