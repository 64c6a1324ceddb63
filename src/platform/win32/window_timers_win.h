// The window timers this backend has armed, noted with their due tick.
// Internal to the Windows backend.
//
// The system's timers run on the system tick. Window timers promise to follow
// TickCount(), which tests may shift ahead (testing/clock_testing.h). So each
// timer armed through SetWindowTimer is also noted here, and the library's pump
// delivers a timer that TickCount() has made due before the system has. It
// then re-arms the system timer, which drops the expiry the system may be
// about to report: a period is never delivered twice. Without a shift the
// system's own WM_TIMER comes first, and its note only moves on.
//
// A host's own GetMessageW loop sees the system's timers only; that is enough,
// since without a shift they are due when their notes are.
#ifndef BASE_PLATFORM_WIN32_WINDOW_TIMERS_WIN_H_
#define BASE_PLATFORM_WIN32_WINDOW_TIMERS_WIN_H_

#include <windows.h>

#include <cstdint>

namespace base::platform::win32 {

// Any thread. Notes timer `id` of `window`, due `period` from now, replacing
// an earlier note of the same timer.
void NoteTimerArmed(HWND window, UINT_PTR id, UINT period);
// Any thread. Forgets one timer, or every timer of a window.
void ForgetTimer(HWND window, UINT_PTR id);
void ForgetWindowTimers(HWND window);

// Owner thread, from the pump: the system has just reported timer `id` of
// `window`, due one period from now again.
void NoteTimerReported(HWND window, UINT_PTR id);

// Owner thread. Delivers, once each, the calling thread's timers that are due
// on `now` and were not reported by the system in this pass; returns how many.
unsigned DeliverTimersDueOn(std::uint32_t now);

// Owner thread. Milliseconds until the calling thread's first noted timer is
// due on TickCount() (0 if one is due), or INFINITE if it has none.
DWORD MillisecondsUntilNextTimer();

}  // namespace base::platform::win32

#endif  // BASE_PLATFORM_WIN32_WINDOW_TIMERS_WIN_H_
