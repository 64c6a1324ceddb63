#include "protect/version_gate.h"

#include <cstdint>

#include "platform/os_version.h"

namespace base {

bool SystemOffersProtection() {
  constexpr std::uint32_t kFirstProtectingVersion = 5;
  std::uint32_t major = 0;
  return platform::QueryOsMajorVersion(major) && major >= kFirstProtectingVersion;
}

}  // namespace base
