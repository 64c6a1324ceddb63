#include "platform/thread.h"

#include "base/platform.h"

namespace base::platform {

std::uint32_t CurrentThreadId() {
  return ::GetCurrentThreadId();
}

void Sleep(std::uint32_t milliseconds) {
  ::Sleep(milliseconds);
}

}  // namespace base::platform
