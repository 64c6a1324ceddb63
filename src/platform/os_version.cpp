// The test override of the OS version, the same on every backend.
#include "platform/os_version.h"

#include <atomic>

#include "platform/testing/os_version_testing.h"

namespace base::platform {
namespace {

// kNoOverride, kFail, or a version to report.
constexpr std::int64_t kNoOverride = -1;
constexpr std::int64_t kFail = -2;
std::atomic<std::int64_t> g_override{kNoOverride};

}  // namespace

bool QueryOsMajorVersion(std::uint32_t& major) {
  const std::int64_t forced = g_override.load(std::memory_order_relaxed);
  if (forced == kNoOverride)
    return QuerySystemOsMajorVersion(major);
  if (forced == kFail)
    return false;
  major = static_cast<std::uint32_t>(forced);
  return true;
}

namespace testing {

void SetOsMajorVersion(std::uint32_t major) {
  g_override.store(major, std::memory_order_relaxed);
}

void FailOsVersionQuery() {
  g_override.store(kFail, std::memory_order_relaxed);
}

void ResetOsVersion() {
  g_override.store(kNoOverride, std::memory_order_relaxed);
}

}  // namespace testing
}  // namespace base::platform
