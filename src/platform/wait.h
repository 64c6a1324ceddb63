// Waitable objects and the waits on them: events (manual or auto reset) and
// one-shot waitable timers, all named by HANDLE, with a wait for one object and
// a wait for any of up to kMaxWaitObjects.
//
// Objects are plain memory, not file descriptors, so a process may hold as
// many as it has memory for. Signalling an object wakes only the threads that
// wait on that object. A waitable timer has no thread of its own: the threads
// that wait on it fold its due time into their own timed waits, so a timer
// that nobody waits on is noticed as signalled only by the next wait or poll.
//
// Handles: 0 and INVALID_HANDLE_VALUE never name an object. A handle carries
// a generation, so a handle that was closed, or a value that no creation
// returned, is refused (WAIT_FAILED, false) instead of touching memory. The
// limit: a closed handle's value can name a later object again after 2^31
// reuses of the same slot, as Windows reuses handle values.
//
// Closing a handle while another thread waits on its object: the object lives
// on until that wait ends, and the wait goes on as if nothing had happened (it
// ends by its timeout or by another object of its list, or by an armed timer
// that comes due). New calls with the closed handle fail.
//
// Time: timeouts and due times run on the monotonic clock, not on the shifted
// test tick of clock.h.
//
// Threading: every function may be called from any thread.
#ifndef BASE_PLATFORM_WAIT_H_
#define BASE_PLATFORM_WAIT_H_

#include <cstdint>

#include "base/platform.h"

namespace base::platform {

// The most handles one WaitForMultipleObjects takes.
constexpr std::uint32_t kMaxWaitObjects = 3;

// An event, non-signalled unless `initiallySignalled`. A manual-reset event
// stays signalled until ResetEvent; an auto-reset event is taken back to
// non-signalled by the one wait that it satisfies. Returns 0 on failure.
[[nodiscard]] HANDLE CreateEvent(bool manualReset, bool initiallySignalled);
// Signal and reset an event. False if `event` is not an open event.
bool SetEvent(HANDLE event);
bool ResetEvent(HANDLE event);

// An auto-reset one-shot timer, not armed. Returns 0 on failure.
[[nodiscard]] HANDLE CreateWaitableTimer();
// Arms `timer` once and takes it back to non-signalled. `dueTime` counts
// 100 ns units: negative is relative to now, positive is an absolute time of
// day in those units since 1601-01-01 UTC, and a due time in the past
// (including 0) signals the timer at once. Re-arming replaces the due time.
// False if `timer` is not an open timer.
bool SetWaitableTimer(HANDLE timer, std::int64_t dueTime);

// Closes an event or a timer. False if `object` is not open.
bool CloseHandle(HANDLE object);

// Waits until `object` is signalled or `milliseconds` have passed (INFINITE is
// no limit, 0 a poll). Returns WAIT_OBJECT_0, WAIT_TIMEOUT or WAIT_FAILED.
// A wait satisfied by an auto-reset object resets it.
std::uint32_t WaitForSingleObject(HANDLE object, std::uint32_t milliseconds);

// Waits until any of `count` objects is signalled, at most `milliseconds`.
// Returns WAIT_OBJECT_0 + the index of the object that satisfied the wait (the
// lowest index if several were signalled at the start), WAIT_TIMEOUT, or
// WAIT_FAILED at once if `count` is 0 or above kMaxWaitObjects, if a handle is
// not open, or if a handle appears twice.
std::uint32_t WaitForMultipleObjects(std::uint32_t count,
                                     const HANDLE* objects,
                                     std::uint32_t milliseconds);

// The system's own objects, with the contracts above but without the checks
// and test seams that wait.cpp puts in front of them: handles may be 0 or
// INVALID_HANDLE_VALUE only where that is harmless to the backend, and a wait
// list is already known to be well formed. Each backend provides them; the
// rest of the library calls the functions above.
[[nodiscard]] HANDLE CreateSystemEvent(bool manualReset, bool initiallySignalled);
bool SetSystemEvent(HANDLE event);
bool ResetSystemEvent(HANDLE event);
[[nodiscard]] HANDLE CreateSystemWaitableTimer();
bool SetSystemWaitableTimer(HANDLE timer, std::int64_t dueTime);
bool CloseSystemHandle(HANDLE object);
std::uint32_t WaitForSystemObjects(std::uint32_t count,
                                   const HANDLE* objects,
                                   std::uint32_t milliseconds);

}  // namespace base::platform

#endif  // BASE_PLATFORM_WAIT_H_
