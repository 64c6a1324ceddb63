// Test control: what QueryOsMajorVersion reports. Not exported.
#ifndef BASE_PLATFORM_TESTING_OS_VERSION_TESTING_H_
#define BASE_PLATFORM_TESTING_OS_VERSION_TESTING_H_

#include <cstdint>

namespace base::platform::testing {

// Makes QueryOsMajorVersion report `major` until reset.
void SetOsMajorVersion(std::uint32_t major);
// Makes QueryOsMajorVersion fail until reset.
void FailOsVersionQuery();
// Back to the real answer.
void ResetOsVersion();

}  // namespace base::platform::testing

#endif  // BASE_PLATFORM_TESTING_OS_VERSION_TESTING_H_
