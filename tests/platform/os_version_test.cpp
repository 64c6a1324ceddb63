#include "platform/os_version.h"

#include <gtest/gtest.h>

#include "platform/testing/os_version_testing.h"

namespace base::platform {
namespace {

TEST(OsVersionTest, TestsOverrideOrFailTheSystemsAnswerUntilReset) {
  std::uint32_t system = 0;
  ASSERT_TRUE(QueryOsMajorVersion(system));
  EXPECT_GE(system, 5u);  // every system the library runs on has data protection

  std::uint32_t major = 0;
  testing::SetOsMajorVersion(4);
  ASSERT_TRUE(QueryOsMajorVersion(major));
  EXPECT_EQ(major, 4u);

  // A failed query leaves the caller's value alone.
  testing::FailOsVersionQuery();
  major = 77;
  EXPECT_FALSE(QueryOsMajorVersion(major));
  EXPECT_EQ(major, 77u);

  testing::ResetOsVersion();
  ASSERT_TRUE(QueryOsMajorVersion(major));
  EXPECT_EQ(major, system);
}

}  // namespace
}  // namespace base::platform
