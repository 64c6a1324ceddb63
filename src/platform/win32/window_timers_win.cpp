#include "platform/win32/window_timers_win.h"

#include <algorithm>
#include <tuple>
#include <vector>

#include "platform/clock.h"
#include "platform/message_window.h"
#include "platform/win32/carried_exception_win.h"
#include "platform/win32/srw_lock_win.h"

namespace base::platform::win32 {
namespace {

struct Note {
  HWND window;
  UINT_PTR id;
  std::uint32_t period;
  std::uint32_t due;
};

// A process has a handful of timers, so a vector searched in full is the
// cheapest table. A slim lock needs no set-up and no teardown at unload.
SRWLOCK g_lock = SRWLOCK_INIT;
std::vector<Note> g_notes;

// Signed distance from `now` to `due`: positive while `due` lies ahead.
std::int32_t TicksUntil(std::uint32_t due, std::uint32_t now) {
  return static_cast<std::int32_t>(due - now);
}

bool OwnedByCaller(HWND window) {
  return GetWindowThreadProcessId(window, nullptr) == GetCurrentThreadId();
}

// Under the lock. The caller's note that is most overdue on `now`, or null.
// Notes of windows that are gone (their thread ended) are dropped on the way.
Note* MostOverdueLocked(std::uint32_t now) {
  g_notes.erase(std::remove_if(g_notes.begin(), g_notes.end(),
                               [](const Note& n) { return !IsWindow(n.window); }),
                g_notes.end());
  Note* most = nullptr;
  for (Note& note : g_notes) {
    if (TicksUntil(note.due, now) <= 0 && OwnedByCaller(note.window) &&
        (!most || TicksUntil(note.due, now) < TicksUntil(most->due, now))) {
      most = &note;
    }
  }
  return most;
}

}  // namespace

void NoteTimerArmed(HWND window, UINT_PTR id, UINT period) {
  const std::uint32_t effective = std::max<std::uint32_t>(period, kMinimumTimerPeriod);
  const Note note{window, id, effective, TickCount() + effective};
  ExclusiveHold hold(g_lock);
  auto it = std::find_if(g_notes.begin(), g_notes.end(),
                         [&](const Note& n) { return n.window == window && n.id == id; });
  if (it == g_notes.end())
    g_notes.push_back(note);
  else
    *it = note;
}

void ForgetTimer(HWND window, UINT_PTR id) {
  ExclusiveHold hold(g_lock);
  g_notes.erase(std::remove_if(g_notes.begin(), g_notes.end(),
                               [&](const Note& n) { return n.window == window && n.id == id; }),
                g_notes.end());
}

void ForgetWindowTimers(HWND window) {
  ExclusiveHold hold(g_lock);
  g_notes.erase(std::remove_if(g_notes.begin(), g_notes.end(),
                               [&](const Note& n) { return n.window == window; }),
                g_notes.end());
}

void NoteTimerReported(HWND window, UINT_PTR id) {
  const std::uint32_t now = TickCount();
  ExclusiveHold hold(g_lock);
  for (Note& note : g_notes) {
    if (note.window == window && note.id == id)
      note.due = now + note.period;
  }
}

unsigned DeliverTimersDueOn(std::uint32_t now) {
  unsigned delivered = 0;
  for (;;) {
    MSG message = {};
    {
      ExclusiveHold hold(g_lock);
      Note* due = MostOverdueLocked(now);
      if (!due)
        return delivered;
      // Moved past `now` before the call, so that it is delivered once per
      // pass, and so that a procedure that pumps does not see it again.
      due->due = now + due->period;
      message.hwnd = due->window;
      message.message = WM_TIMER;
      message.wParam = due->id;
      // Re-arming drops an expiry that the system may report any moment. It
      // fails only for a window that is gone, whose message is dispatched to
      // nobody anyway.
      std::ignore = SetTimer(due->window, due->id, due->period, nullptr);
    }
    DispatchCarried(message);
    ++delivered;
  }
}

DWORD MillisecondsUntilNextTimer() {
  const std::uint32_t now = TickCount();
  DWORD next = INFINITE;
  ExclusiveHold hold(g_lock);
  for (const Note& note : g_notes) {
    if (!OwnedByCaller(note.window))
      continue;
    const std::int32_t until = TicksUntil(note.due, now);
    next = std::min<DWORD>(next, until <= 0 ? 0 : static_cast<DWORD>(until));
  }
  return next;
}

}  // namespace base::platform::win32
