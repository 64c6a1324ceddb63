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
// How many waits are registered with the open object `handle` right now; 0
// for a handle that is not open. Posix only: the system keeps no such count. Lets a test act only once a thread is really
// inside its wait, instead of sleeping and hoping.
unsigned WaitersOf(HANDLE handle);

}  // namespace base::platform::testing

#endif  // BASE_PLATFORM_TESTING_WAIT_TESTING_H_
