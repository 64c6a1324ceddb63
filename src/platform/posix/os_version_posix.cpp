#include "platform/os_version.h"

namespace base::platform {

// Linux has no counterpart of the Windows major version. The library's
// version-dependent paths are written for current Windows, so the posix
// backend answers as Windows 10 does.
bool QuerySystemOsMajorVersion(std::uint32_t& major) {
  major = 10;
  return true;
}

}  // namespace base::platform
