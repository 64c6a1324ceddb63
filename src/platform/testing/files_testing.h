// Test control: make file writes fail, as a full disk would. Not exported.
#ifndef BASE_PLATFORM_TESTING_FILES_TESTING_H_
#define BASE_PLATFORM_TESTING_FILES_TESTING_H_

namespace base::platform::testing {

// While set, WriteFileAt writes nothing and fails.
void FailFileWrites(bool fail);

}  // namespace base::platform::testing

#endif  // BASE_PLATFORM_TESTING_FILES_TESTING_H_
