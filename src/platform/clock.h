// The millisecond tick: an unsigned 32-bit count that wraps every 2^32 ms
// (about 49.7 days). Two ticks are compared only through their 32-bit
// difference, so code that does so needs no special case for the wrap.
#ifndef BASE_PLATFORM_CLOCK_H_
#define BASE_PLATFORM_CLOCK_H_

#include <cstdint>

namespace base::platform {

// The system's tick plus the test shift of testing/clock_testing.h.
std::uint32_t TickCount();

// The system's own tick, without the shift: monotonic milliseconds truncated
// to 32 bits. Each backend provides it.
std::uint32_t SystemTickCount();

}  // namespace base::platform

#endif  // BASE_PLATFORM_CLOCK_H_
