// Timers that bring work onto the main thread.
//
// The host's main thread owns the timers' hidden windows and runs every
// callback from its message loop (on Linux: RunMessageLoop or PumpMessages,
// see base/message_loop.h). A thread that never dispatches messages never
// sees a callback run.
#ifndef BASE_TIMER_H_
#define BASE_TIMER_H_

#include <cstdint>

#include "base/export.h"
#include "base/method.h"

// ---------------------------------------------------------------------------
// Callback timers: delegates run once or repeatedly, set from any thread.
//
// Call InitTimeCallback once on the main thread before any other thread uses
// these functions: it decides the thread on which every delegate runs, and it
// is not safe against a concurrent first use. After that, SetTimeCallback and
// KillTimeCallback may be called from any thread, delegates included.
//
// Delegates run in order of due tick, and among equal due ticks in the order
// they were set. A repeating timer keeps its phase: its due ticks lie exactly
// one period apart however late it ran, and periods missed while the loop was
// held up are made up (a timer more than 100 ms behind waits behind the others
// that are due). One dispatch runs for at most about 10 ms; the next timer
// message of the loop carries on.
//
// The trap: when a timer is replaced, killed or found invalid, its delegate
// copy is dropped under the timers' lock. A MethodTarget destructor that calls
// SetTimeCallback or KillTimeCallback then deadlocks.
// ---------------------------------------------------------------------------

namespace base {
class TimerMgr;
}  // namespace base

// Makes the callback timers and their window on the calling thread, if not
// made yet. The result is of no use to callers.
BASE_EXPORT base::TimerMgr* InitTimeCallback();

// Runs `method` on the main thread: once, `milliseconds` from now, if
// milliseconds >= 0; else every -milliseconds ms (INT32_MIN: every 2^31 ms).
// A non-zero `id` names the timer: setting an id again replaces the timer of
// that id, whatever its kind. Id 0 timers cannot be killed.
// An empty or invalid `method` kills the timer of `id` instead. A `method`
// whose NeedsId() is true is ignored without an id.
// Returns at once; never waits for the run.
BASE_EXPORT void SetTimeCallback(std::int32_t milliseconds,
                                 Method<void()> method,
                                 std::uint32_t id);

// Kills the timer of `id`. False for id 0, for an id that is not set, and for
// a one-shot whose run has begun (a repeating timer may kill itself from its
// own run and gets true).
BASE_EXPORT bool KillTimeCallback(std::uint32_t id);

// ---------------------------------------------------------------------------

#endif  // BASE_TIMER_H_
