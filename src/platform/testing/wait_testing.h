// Test controls of the waitable objects. Not exported.
#ifndef BASE_PLATFORM_TESTING_WAIT_TESTING_H_
#define BASE_PLATFORM_TESTING_WAIT_TESTING_H_

#include <cstdint>

#include "base/platform.h"

namespace base::platform::testing {

// How many waitable timers have been created since the module was loaded.
std::uint64_t WaitableTimersCreated();
// Makes the next CreateEvent fail (return 0), once.
void FailNextEventCreation();
// How many threads are inside WaitForSingleObject or WaitForMultipleObjects
// with a well-formed list and a time limit other than 0 right now, counted
// from just before they hand the wait to the system. Lets a test act once
// its waiters are waiting, instead of sleeping and hoping.
unsigned WaitsInProgress();
// How many waits are registered with the open object `handle` right now; 0
// for a handle that is not open. Posix only: Windows keeps no such count.
unsigned WaitersOf(HANDLE handle);

}  // namespace base::platform::testing

#endif  // BASE_PLATFORM_TESTING_WAIT_TESTING_H_
