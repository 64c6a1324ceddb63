// The test shift of the tick, the same on every backend.
#include "platform/clock.h"

#include <atomic>

#include "platform/testing/clock_testing.h"

namespace base::platform {
namespace {

// Added to the system's tick; only tests change it.
std::atomic<std::uint32_t> g_offset{0};
// Set by tests that need a tick that stands still; g_offset is then the tick.
std::atomic<bool> g_frozen{false};

}  // namespace

std::uint32_t TickCount() {
  const std::uint32_t offset = g_offset.load(std::memory_order_relaxed);
  if (g_frozen.load(std::memory_order_relaxed))
    return offset;
  return SystemTickCount() + offset;
}

namespace testing {

void SetTickCount(std::uint32_t tick) {
  g_frozen.store(false, std::memory_order_relaxed);
  g_offset.store(tick - SystemTickCount(), std::memory_order_relaxed);
}

void FreezeTickCount(std::uint32_t tick) {
  g_offset.store(tick, std::memory_order_relaxed);
  g_frozen.store(true, std::memory_order_relaxed);
}

void AdvanceTickCount(std::uint32_t milliseconds) {
  g_offset.fetch_add(milliseconds, std::memory_order_relaxed);
}

void ResetTickCount() {
  g_frozen.store(false, std::memory_order_relaxed);
  g_offset.store(0, std::memory_order_relaxed);
}

}  // namespace testing
}  // namespace base::platform
