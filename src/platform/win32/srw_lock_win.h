// Scoped holds of a slim reader/writer lock, the Windows backend's lock for
// state that must exist before any constructor runs (SRWLOCK_INIT is constant).
// Internal to the Windows backend. A lock is only ever taken through these, so
// that an exception between take and release cannot leave it held.
#ifndef BASE_PLATFORM_WIN32_SRW_LOCK_WIN_H_
#define BASE_PLATFORM_WIN32_SRW_LOCK_WIN_H_

#include <windows.h>

namespace base::platform::win32 {

class ExclusiveHold {
 public:
  explicit ExclusiveHold(SRWLOCK& lock) : lock_(lock) { AcquireSRWLockExclusive(&lock_); }
  ExclusiveHold(const ExclusiveHold&) = delete;
  ExclusiveHold& operator=(const ExclusiveHold&) = delete;
  ~ExclusiveHold() { ReleaseSRWLockExclusive(&lock_); }

 private:
  SRWLOCK& lock_;
};

class SharedHold {
 public:
  explicit SharedHold(SRWLOCK& lock) : lock_(lock) { AcquireSRWLockShared(&lock_); }
  SharedHold(const SharedHold&) = delete;
  SharedHold& operator=(const SharedHold&) = delete;
  ~SharedHold() { ReleaseSRWLockShared(&lock_); }

 private:
  SRWLOCK& lock_;
};

}  // namespace base::platform::win32

#endif  // BASE_PLATFORM_WIN32_SRW_LOCK_WIN_H_
