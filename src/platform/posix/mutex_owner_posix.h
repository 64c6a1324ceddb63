// AssertHeld for the posix backend's own std::mutex locks, which its
// condition variables need as they are. glibc records the owner's thread id
// in every mutex it locks and keeps it right across condition-variable
// waits, so the check is exact and needs no wrapper. Debug builds only; a
// failed check reports the caller's file and line, and aborts. Posix-private.
#ifndef BASE_PLATFORM_POSIX_MUTEX_OWNER_POSIX_H_
#define BASE_PLATFORM_POSIX_MUTEX_OWNER_POSIX_H_

#include <unistd.h>

#include <mutex>

#include "check/dcheck.h"

namespace base::platform {

// Fails, in debug builds, unless the calling thread holds `mutex`.
inline void AssertHeld(std::mutex& mutex,
                       const char* file = __builtin_FILE(),
                       int line = __builtin_LINE()) {
#ifndef NDEBUG
  if (mutex.native_handle()->__data.__owner != gettid())
    internal::DcheckFailed("the calling thread holds the lock", file, line);
#else
  static_cast<void>(mutex);
  static_cast<void>(file);
  static_cast<void>(line);
#endif
}

}  // namespace base::platform

#endif  // BASE_PLATFORM_POSIX_MUTEX_OWNER_POSIX_H_
