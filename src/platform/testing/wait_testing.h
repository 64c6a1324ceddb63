// Test controls of the waitable objects. Not exported.
#ifndef BASE_PLATFORM_TESTING_WAIT_TESTING_H_
#define BASE_PLATFORM_TESTING_WAIT_TESTING_H_

#include <cstdint>

namespace base::platform::testing {

// How many waitable timers have been created since the module was loaded.
std::uint64_t WaitableTimersCreated();
// Makes the next CreateEvent fail (return 0), once.
void FailNextEventCreation();

}  // namespace base::platform::testing

#endif  // BASE_PLATFORM_TESTING_WAIT_TESTING_H_
