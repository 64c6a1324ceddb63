// The message loop of a host, the same calls on Windows and Linux.
//
// The library's timers and main-thread callbacks run on hidden message windows
// owned by the thread that first used them (the host's main thread), and that
// thread must dispatch their messages. On Windows any message loop of the
// thread does (GetMessageW/DispatchMessageW, a framework's), and the calls
// below are that loop for hosts without one. On Linux the thread dispatches
// through these calls only: either let RunMessageLoop be its loop, or call
// PumpMessages from the loop it already has (GLib, Qt, libuv, asio...)
// whenever MessageLoopFd becomes readable.
//
// Threading: every call concerns the calling thread's own queue, made at the
// thread's first use of it. Windows, messages and timers of other threads are
// never dispatched here. The calls are re-entrant: a callback that runs inside
// them may call them again (a nested loop), and the nested call dispatches
// what has arrived since.
//
// Order: messages posted to the thread's windows are dispatched in the order
// they were posted. A due timer is dispatched once the messages that were
// already waiting have been, and at most once per pass however many periods
// passed; timer due times follow GetTickCount.
#ifndef BASE_MESSAGE_LOOP_H_
#define BASE_MESSAGE_LOOP_H_

#include "base/export.h"

namespace base {

// Dispatches on the calling thread, waiting while there is nothing to do,
// until QuitMessageLoop is called on this thread (from a callback that this
// loop runs). If a quit was asked for while no loop was running, returns at
// once. With nested loops, a quit ends the innermost one.
BASE_EXPORT void RunMessageLoop();

// Asks the calling thread's innermost RunMessageLoop to return once the
// callback that called this has returned. Has no effect on PumpMessages.
BASE_EXPORT void QuitMessageLoop();

// Dispatches everything pending on the calling thread: the messages waiting
// when it starts, then the timers due. If nothing is pending, it first waits
// up to `timeoutMs` milliseconds for a message or a due timer (0: no wait;
// 0xFFFFFFFF: no limit). Messages that arrive while it dispatches are left for
// the next call. Returns how many messages it dispatched.
BASE_EXPORT unsigned PumpMessages(unsigned timeoutMs);

#if !defined(_WIN32)
// A descriptor that polls readable while the calling thread has messages or
// due timers, for a host loop to watch (POLLIN, level-triggered). When it is
// readable, call PumpMessages(0) on this thread; do not read from it. It may
// now and then be readable with nothing to do; PumpMessages then returns 0.
// Owned by the library and valid until the thread ends; -1 if the system
// could give no descriptor.
BASE_EXPORT int MessageLoopFd();
#endif

}  // namespace base

#endif  // BASE_MESSAGE_LOOP_H_
