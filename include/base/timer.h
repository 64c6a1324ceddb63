// Timers and main-thread callbacks.
//
// The library has two timer systems. The callback timer manager runs
// Method<void()> delegates and may be asked from any thread. The scheduler
// runs plain functions from slot tables on the thread that owns its hidden
// window, and carries two queues beside it: idle callbacks, run one per
// NotifyIdle, and async callbacks, which bring work from any thread onto the
// window's thread.
//
// The host's main thread owns the timers' hidden windows and runs every
// callback from its message loop (on Linux: RunMessageLoop or PumpMessages,
// see base/message_loop.h). A thread that never dispatches messages never
// sees a callback run.
//
// A thread that ends takes its windows with it. Timers whose window was made
// on a thread that has ended are dead: later calls still succeed
// (SetTimeCallback files its timer, KillTimeCallback finds the id,
// SetAsyncCallback gives true), but nothing runs again. Hence
// InitTimeCallback and the scheduler's first call belong to the main thread,
// which outlives every timer.
//
// Exceptions: the library catches none that a callback throws. It leaves the
// call that ran the callback (base::PumpMessages or base::RunMessageLoop for
// timers and async callbacks, NotifyIdle for idle ones) and reaches the host,
// which may catch it and go on. What is kept and what is lost:
//  - callback timers and scheduler timers: the timers due behind the thrower
//    stay due and run at the next timer message; a repeating thrower stays;
//  - async callbacks: the rest of the thrower's batch is lost, never run;
//  - idle callbacks: idle callbacks end for good, and every later NotifyIdle
//    runs nothing.
//
// Wake-ups: while any callback timer exists, and while the scheduler holds a
// timer of 180 ms or less, the owner thread wakes every 10 ms, 100 times a
// second, however long the timers' own periods are. On a Linux host that
// cares about power (a laptop, a tray program) that keeps the CPU out of its
// deep idle states. Keep no callback timer set when nothing is waiting, and
// give long periods to SetInterval, whose timers above 180 ms wake the thread
// every 100 ms and above 70,000 ms every 2 seconds.
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
// Scheduler: plain function timers, idle and async callbacks.
//
// An entry is named by the pair (callback, owner); owner 0 means "no owner".
// Callbacks get (owner, param) back, and the library never looks at either.
//
// Threading: the first call of any function below makes the scheduler and its
// window, and the thread that makes it owns them. Make that first call on the
// host's main thread, which must run a message loop (base/message_loop.h on
// Linux), and let it return before any other thread calls in.
//  - SetInterval, SetTimeout, EraseTimerCallback: the owner thread only.
//    Timers run there.
//  - SetIdleCallback, EraseIdleCallback, NotifyIdle, SetAsyncCallback,
//    EraseAsyncCallback: any thread. Async callbacks run on the owner thread;
//    idle callbacks run on the thread that calls NotifyIdle.
// No lock is held while a callback runs, so a callback may call any of these.

// The callback of scheduler timers, idle and async callbacks.
typedef void (*SchedulerCallback)(void* owner, void* param);

// Adds a timer that calls `callback(owner, param)` every `milliseconds` (0
// means 100) until it is erased. Its period is counted from the last firing,
// so it stretches to the next tick of its class (10 ms up to 180 ms, 100 ms up
// to 70,000 ms, 2,000 ms above) and missed periods are not made up. Timers
// added before the owner thread's message loop first turns count from that
// turn. Returns false for a null callback, or if the interval's class already
// holds a timer of `callback` and, when `owner` is not 0, of `owner` as well.
BASE_EXPORT bool SetInterval(unsigned int milliseconds,
                             SchedulerCallback callback,
                             void* param,
                             void* owner);

// As SetInterval, but the timer fires once. It leaves its slot just before the
// call, so the callback may set the same timer again.
BASE_EXPORT bool SetTimeout(unsigned int milliseconds,
                            SchedulerCallback callback,
                            void* param,
                            void* owner);

// Removes every timer of `callback` (of `owner` only, unless `owner` is 0),
// and silences firings of them that were collected and not run yet. Returns
// true if a timer was removed; a silenced firing alone gives false.
BASE_EXPORT bool EraseTimerCallback(SchedulerCallback callback, void* owner);

// Queues a one-shot idle callback, oldest first. Returns false for a null
// callback, or if `callback` is queued already with the same owner, or where
// either owner is 0 (0 matches every owner here).
BASE_EXPORT bool SetIdleCallback(SchedulerCallback callback, void* param, void* owner);

// Removes every queued idle callback of `callback` (of `owner` only, unless
// `owner` is 0). Returns true if any was removed.
BASE_EXPORT bool EraseIdleCallback(SchedulerCallback callback, void* owner);

// Runs the oldest idle callback, if any, on the calling thread. Does nothing
// while another NotifyIdle is inside, on any thread. Idle callbacks must not
// throw: an exception that leaves one stops idle callbacks for good.
BASE_EXPORT void NotifyIdle();

// Queues a one-shot callback to run on the owner thread at its next message
// loop turn; all that wait run together, oldest first. Duplicates as for
// SetIdleCallback. Callable from any thread.
BASE_EXPORT bool SetAsyncCallback(SchedulerCallback callback, void* param, void* owner);

// Removes queued async callbacks as EraseIdleCallback does. A callback whose
// batch has begun to run can no longer be stopped.
BASE_EXPORT bool EraseAsyncCallback(SchedulerCallback callback, void* owner);

// ---------------------------------------------------------------------------

#endif  // BASE_TIMER_H_
