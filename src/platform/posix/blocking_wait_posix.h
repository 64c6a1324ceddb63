// How the posix waits tell the pool that a worker blocks. The system pool on
// Windows sees its threads block by itself; ours learns it from the library's
// own waits (events, timers, Sleep). Posix-private.
#ifndef BASE_PLATFORM_POSIX_BLOCKING_WAIT_POSIX_H_
#define BASE_PLATFORM_POSIX_BLOCKING_WAIT_POSIX_H_

namespace base::platform {

// Brackets a wait that may block the calling thread. On a pool thread inside
// an item, the pool counts the worker as blocked for the scope, so queued
// items do not wait for it. Elsewhere it does nothing. Wrap only the part that
// really sleeps: a poll that returns at once gains nothing from it.
void EnterBlockingWait();
void LeaveBlockingWait();

class ScopedBlockingWait {
 public:
  ScopedBlockingWait() { EnterBlockingWait(); }
  ScopedBlockingWait(const ScopedBlockingWait&) = delete;
  ScopedBlockingWait& operator=(const ScopedBlockingWait&) = delete;
  ~ScopedBlockingWait() { LeaveBlockingWait(); }
};

}  // namespace base::platform

#endif  // BASE_PLATFORM_POSIX_BLOCKING_WAIT_POSIX_H_
