// Test controls of the library's exit table. Not exported.
#ifndef BASE_PLATFORM_TESTING_EXIT_TABLE_TESTING_H_
#define BASE_PLATFORM_TESTING_EXIT_TABLE_TESTING_H_

namespace base::platform::testing {

// How many entries the library has tried to put in its exit table since it
// was loaded. The static objects' destructors are not counted: the C++
// runtime registers those itself.
unsigned ExitTableEntriesAdded();
// Makes the next AddExitTableEntry fail, once, as a full table would.
void FailNextExitTableEntry();

}  // namespace base::platform::testing

#endif  // BASE_PLATFORM_TESTING_EXIT_TABLE_TESTING_H_
