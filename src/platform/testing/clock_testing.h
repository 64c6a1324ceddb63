// Test control: shifts the tick so that a wrap, or a loop held up for a while,
// is reached in microseconds instead of days or seconds. Not exported.
#ifndef BASE_PLATFORM_TESTING_CLOCK_TESTING_H_
#define BASE_PLATFORM_TESTING_CLOCK_TESTING_H_

#include <cstdint>

namespace base::platform::testing {

// Makes TickCount() return `tick` now; time runs on from there.
void SetTickCount(std::uint32_t tick);
// Makes TickCount() return `tick` until the next SetTickCount or
// ResetTickCount: tests that check exact ticks must not see the real clock
// move between two calls. AdvanceTickCount moves a frozen tick too.
void FreezeTickCount(std::uint32_t tick);
// Moves the tick forward by `milliseconds` at once.
void AdvanceTickCount(std::uint32_t milliseconds);
// Removes any shift, and lets a frozen tick run again.
void ResetTickCount();

}  // namespace base::platform::testing

#endif  // BASE_PLATFORM_TESTING_CLOCK_TESTING_H_
