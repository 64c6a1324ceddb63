// The host's message loop on the thread's own Windows message queue.
//
// RunMessageLoop is the classic GetMessageW loop, and QuitMessageLoop posts
// WM_QUIT, so a quit asked for while no loop runs ends the next one at once,
// and a nested loop takes the quit before the one that encloses it.
//
// PumpMessages must dispatch the messages that were waiting when it started
// and not those posted meanwhile, which the queue cannot tell apart. So a pass
// posts a marker of its own to the thread and dispatches up to it. A nested
// pass may take an enclosing pass's marker on its way to its own; it posts
// that marker again once done, so the enclosing pass still finds an end. A
// marker whose pass is over (it ended by an exception) is dropped when met.
//
// Every dispatch goes through DispatchCarried, so that what a procedure of
// the library throws leaves these calls on 32-bit Windows too.
#include "base/message_loop.h"

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <utility>
#include <vector>

#include "platform/clock.h"
#include "platform/win32/carried_exception_win.h"
#include "platform/win32/srw_lock_win.h"
#include "platform/win32/window_timers_win.h"

namespace base {
namespace {

// A message number of its own, so that no host's thread message is taken for
// a marker. Read once; RegisterWindowMessageW gives the same number each time.
UINT MarkerMessage() {
  static const UINT marker = RegisterWindowMessageW(L"base.PumpMessages.marker");
  return marker;
}

// Passes that are running, on any thread, by the number their marker carries.
SRWLOCK g_passesLock = SRWLOCK_INIT;
std::vector<WPARAM> g_runningPasses;
std::atomic<WPARAM> g_lastPass{0};

bool IsRunning(WPARAM pass) {
  platform::win32::SharedHold hold(g_passesLock);
  return std::find(g_runningPasses.begin(), g_runningPasses.end(), pass) != g_runningPasses.end();
}

// One pass of PumpMessages: its marker, the markers of enclosing passes it
// took, and a quit it took and must leave in place.
class Pass {
 public:
  Pass() : number_(g_lastPass.fetch_add(1) + 1) {
    platform::win32::ExclusiveHold hold(g_passesLock);
    g_runningPasses.push_back(number_);
  }
  Pass(const Pass&) = delete;
  Pass& operator=(const Pass&) = delete;
  ~Pass() {
    {
      platform::win32::ExclusiveHold hold(g_passesLock);
      g_runningPasses.erase(std::find(g_runningPasses.begin(), g_runningPasses.end(), number_));
    }
    for (WPARAM enclosing : takenMarkers_)
      PostThreadMessageW(GetCurrentThreadId(), MarkerMessage(), enclosing, 0);
    if (quitTaken_)
      PostQuitMessage(quitCode_);
  }

  // Dispatches what was posted before the pass began; returns the count.
  unsigned DispatchPosted() {
    PostThreadMessageW(GetCurrentThreadId(), MarkerMessage(), number_, 0);
    unsigned delivered = 0;
    MSG message;
    // Should a nested GetMessageW loop have taken the marker, the queue
    // running dry ends the pass instead.
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
      if (message.message == MarkerMessage() && message.hwnd == nullptr) {
        if (message.wParam == number_)
          break;
        if (IsRunning(message.wParam))
          takenMarkers_.push_back(message.wParam);
        continue;
      }
      if (TakeQuit(message))
        continue;
      if (message.message == WM_TIMER)
        platform::win32::NoteTimerReported(message.hwnd, message.wParam);
      platform::win32::DispatchCarried(message);
      ++delivered;
    }
    return delivered;
  }

  // Dispatches each due timer once: those the system reports, then those
  // only the library's tick has made due.
  unsigned DispatchTimers() {
    const std::uint32_t now = platform::TickCount();
    std::vector<std::pair<HWND, WPARAM>> reported;
    unsigned delivered = 0;
    MSG message;
    while (PeekMessageW(&message, nullptr, WM_TIMER, WM_TIMER, PM_REMOVE)) {
      if (TakeQuit(message))
        continue;
      // A timer that comes due again while this pass runs is a period that
      // the pass folds, as the system folds periods a busy thread misses.
      const std::pair<HWND, WPARAM> timer(message.hwnd, message.wParam);
      if (std::find(reported.begin(), reported.end(), timer) != reported.end())
        break;
      reported.push_back(timer);
      platform::win32::NoteTimerReported(message.hwnd, message.wParam);
      platform::win32::DispatchCarried(message);
      ++delivered;
    }
    return delivered + platform::win32::DeliverTimersDueOn(now);
  }

 private:
  bool TakeQuit(const MSG& message) {
    if (message.message != WM_QUIT)
      return false;
    quitTaken_ = true;
    quitCode_ = static_cast<int>(message.wParam);
    return true;
  }

  const WPARAM number_;
  std::vector<WPARAM> takenMarkers_;
  bool quitTaken_ = false;
  int quitCode_ = 0;
};

// Waits up to `timeoutMs` for a message or a due timer, the library's timers
// included, whose due ticks the system does not know.
void WaitForWork(DWORD timeoutMs) {
  const DWORD start = GetTickCount();
  for (;;) {
    MSG peeked;
    if (PeekMessageW(&peeked, nullptr, 0, 0, PM_NOREMOVE))
      return;
    const DWORD untilTimer = platform::win32::MillisecondsUntilNextTimer();
    if (untilTimer == 0)
      return;
    DWORD left = INFINITE;
    if (timeoutMs != INFINITE) {
      const DWORD passed = GetTickCount() - start;
      if (passed >= timeoutMs)
        return;
      left = timeoutMs - passed;
    }
    MsgWaitForMultipleObjectsEx(0, nullptr, std::min(left, untilTimer), QS_ALLINPUT,
                                MWMO_INPUTAVAILABLE);
  }
}

}  // namespace

void RunMessageLoop() {
  MSG message;
  // 0 is WM_QUIT; -1 an error, which a valid call on the own queue never gives.
  while (GetMessageW(&message, nullptr, 0, 0) > 0) {
    if (message.message == WM_TIMER)
      platform::win32::NoteTimerReported(message.hwnd, message.wParam);
    platform::win32::DispatchCarried(message);
  }
}

void QuitMessageLoop() {
  PostQuitMessage(0);
}

unsigned PumpMessages(unsigned timeoutMs) {
  if (timeoutMs != 0)
    WaitForWork(timeoutMs);
  Pass pass;
  const unsigned posted = pass.DispatchPosted();
  return posted + pass.DispatchTimers();
}

}  // namespace base
