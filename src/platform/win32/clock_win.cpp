#include "platform/clock.h"

#include "base/platform.h"

namespace base::platform {

std::uint32_t SystemTickCount() {
  return ::GetTickCount();
}

}  // namespace base::platform
