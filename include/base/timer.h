// Timers and main-thread callbacks.
//
// The library has two timer systems. The callback timer manager runs
// Method<void()> delegates and may be asked from any thread. The scheduler
// runs plain functions from slot tables on the thread that owns its hidden
// window, and carries two queues beside it: idle callbacks, run one per
// NotifyIdle, and async callbacks, which bring work from any thread onto the
// window's thread.
#ifndef BASE_TIMER_H_
#define BASE_TIMER_H_

#include "base/export.h"

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
