// The major version of the operating system, as the Windows version query
// reports it. Some behaviour of the library depends on "version 5 and above"
// (data protection) or "below 6" (pool flags).
#ifndef BASE_PLATFORM_OS_VERSION_H_
#define BASE_PLATFORM_OS_VERSION_H_

#include <cstdint>

namespace base::platform {

// Stores the major version in `major` and returns true, or returns false and
// leaves `major` untouched when the query fails.
// The test override of testing/os_version_testing.h applies.
bool QueryOsMajorVersion(std::uint32_t& major);

// The system's own answer, with the same contract and without the override.
// Each backend provides it.
bool QuerySystemOsMajorVersion(std::uint32_t& major);

}  // namespace base::platform

#endif  // BASE_PLATFORM_OS_VERSION_H_
