// The millisecond tick: an unsigned 32-bit count that wraps every 2^32 ms
// (about 49.7 days). Two ticks are compared only through their 32-bit
// difference, so code that does so needs no special case for the wrap.
#ifndef BASE_PLATFORM_CLOCK_H_
#define BASE_PLATFORM_CLOCK_H_

#include <cstdint>

namespace base::platform {

// Monotonic milliseconds plus the test offset, truncated to 32 bits.
std::uint32_t TickCount();

}  // namespace base::platform

#endif  // BASE_PLATFORM_CLOCK_H_
