// Scoped holds of a slim reader/writer lock, the Windows backend's lock for
// state that must exist before any constructor runs (SRWLOCK_INIT is constant).
// Internal to the Windows backend. A lock is only ever taken through these, so
// that an exception between take and release cannot leave it held.
#ifndef BASE_PLATFORM_WIN32_SRW_LOCK_WIN_H_
#define BASE_PLATFORM_WIN32_SRW_LOCK_WIN_H_

#include <windows.h>

namespace base::platform::win32 {

// Holds `lock` for its scope, exclusively or shared.
template <bool kExclusive>
class SrwHold {
 public:
  explicit SrwHold(SRWLOCK& lock) : lock_(lock) {
    if constexpr (kExclusive)
      AcquireSRWLockExclusive(&lock_);
    else
      AcquireSRWLockShared(&lock_);
  }
  SrwHold(const SrwHold&) = delete;
  SrwHold& operator=(const SrwHold&) = delete;
  ~SrwHold() {
    if constexpr (kExclusive)
      ReleaseSRWLockExclusive(&lock_);
    else
      ReleaseSRWLockShared(&lock_);
  }

 private:
  SRWLOCK& lock_;
};

using ExclusiveHold = SrwHold<true>;
using SharedHold = SrwHold<false>;

}  // namespace base::platform::win32

#endif  // BASE_PLATFORM_WIN32_SRW_LOCK_WIN_H_
