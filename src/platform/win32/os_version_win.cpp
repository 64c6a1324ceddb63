#include "platform/os_version.h"

#include "base/platform.h"

namespace base::platform {

// GetVersionExW, not the version helpers: the library's rules ("5 and above",
// "below 6") are about what this call reports, compatibility shims included.
bool QuerySystemOsMajorVersion(std::uint32_t& major) {
  OSVERSIONINFOW info = {};
  info.dwOSVersionInfoSize = sizeof(info);
  if (!::GetVersionExW(&info))
    return false;
  major = info.dwMajorVersion;
  return true;
}

}  // namespace base::platform
