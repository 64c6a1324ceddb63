// Test control: how many entries the library has put in its exit table since
// it was loaded. The static objects' destructors are not counted: the C++
// runtime registers those itself. Not exported.
#ifndef BASE_PLATFORM_TESTING_EXIT_TABLE_TESTING_H_
#define BASE_PLATFORM_TESTING_EXIT_TABLE_TESTING_H_

namespace base::platform::testing {

unsigned ExitTableEntriesAdded();

}  // namespace base::platform::testing

#endif  // BASE_PLATFORM_TESTING_EXIT_TABLE_TESTING_H_
