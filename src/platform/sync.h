// Locks and counters of the platform layer. The interlocked counters are the
// public ones of base/platform.h (InterlockedIncrement, InterlockedDecrement);
// this header adds the critical section.
//
// Threading: a CriticalSection may be entered from any thread. It is recursive
// like the Windows one: the owner may enter again and must leave as often.
#ifndef BASE_PLATFORM_SYNC_H_
#define BASE_PLATFORM_SYNC_H_

#include <mutex>

#include "base/platform.h"

namespace base::platform {

// The system's own lock, held by value so that a section costs no allocation.
#if defined(_WIN32)
using NativeCriticalSection = CRITICAL_SECTION;
#else
using NativeCriticalSection = std::recursive_mutex;
#endif

// Construction initialises the section and destruction deletes it; deleting a
// section that a thread still holds is the caller's fault, as on Windows.
class CriticalSection {
 public:
  CriticalSection();
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;
  // Out of line for every backend, trivial or not: Windows' deletes the section.
  ~CriticalSection();  // NOLINT(performance-trivially-destructible)

  void Enter();
  void Leave();

 private:
  NativeCriticalSection section_;
};

// Holds a section for a scope, so that an exception (an allocation that fails
// while a queue grows) cannot leave it entered.
class ScopedCriticalSection {
 public:
  explicit ScopedCriticalSection(CriticalSection& section) : section_(section) { section_.Enter(); }
  ~ScopedCriticalSection() { section_.Leave(); }
  ScopedCriticalSection(const ScopedCriticalSection&) = delete;
  ScopedCriticalSection& operator=(const ScopedCriticalSection&) = delete;

 private:
  CriticalSection& section_;
};

}  // namespace base::platform

#endif  // BASE_PLATFORM_SYNC_H_
