#include "platform/clock.h"

#include <gtest/gtest.h>

#include "base/platform.h"
#include "platform/testing/clock_testing.h"

namespace base::platform {
namespace {

TEST(ClockTest, ShiftedTickWrapsAndRunsOn) {
  testing::SetTickCount(0xFFFFFFF0u);
  const std::uint32_t before = TickCount();
  EXPECT_LT(before - 0xFFFFFFF0u, 1000u);

  testing::AdvanceTickCount(0x20);
  const std::uint32_t after = TickCount();
  // Past the wrap the raw value is small, yet the difference is what passed.
  EXPECT_LT(after, 0x1000u);
  EXPECT_GE(after - before, 0x20u);
  EXPECT_LT(after - before, 0x20u + 1000u);

  testing::ResetTickCount();
  const std::uint32_t a = TickCount();
  const std::uint32_t b = TickCount();
  EXPECT_LT(b - a, 1000u);  // monotonic: never a huge backward step
}

TEST(ClockTest, FrozenTickStandsStillUntilSetOrReset) {
  testing::FreezeTickCount(0xFFFFFFFFu);
  EXPECT_EQ(TickCount(), 0xFFFFFFFFu);
  testing::AdvanceTickCount(2);
  EXPECT_EQ(TickCount(), 1u);

  testing::SetTickCount(100);  // runs again from 100
  EXPECT_LT(TickCount() - 100u, 1000u);
  testing::FreezeTickCount(5);
  testing::ResetTickCount();
  const std::uint32_t a = TickCount();
  EXPECT_LT(TickCount() - a, 1000u);
  EXPECT_NE(a, 5u);
}

}  // namespace
}  // namespace base::platform
