#include "platform/clock.h"

#include <time.h>

#include "base/platform.h"

namespace base::platform {

std::uint32_t SystemTickCount() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  const std::uint64_t ms = static_cast<std::uint64_t>(now.tv_sec) * 1000u +
                           static_cast<std::uint64_t>(now.tv_nsec) / 1000000u;
  return static_cast<std::uint32_t>(ms);
}

}  // namespace base::platform

// The host's tick is the library's, test shift included, so that hosts and
// tests see the same time as the timers.
extern "C" DWORD GetTickCount(void) {
  return base::platform::TickCount();
}
