#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <thread>
#include <vector>

#include "platform/codepage.h"
#include "platform/testing/codepage_testing.h"

namespace base::platform {
namespace {

TEST(CodePagePlatformTest, ReportsWhatTheBuildNeeds) {
  CodePageInfo info;
  ASSERT_TRUE(QueryCodePageInfo(932, info));
  EXPECT_EQ(info.maxCharSize, 2u);
  const std::uint8_t sjisLeads[kLeadByteCells] = {0x81, 0x9F, 0xE0, 0xFC};
  EXPECT_EQ(std::memcmp(info.leadBytes, sjisLeads, kLeadByteCells), 0);
  EXPECT_EQ(info.unicodeDefaultChar, 0x30FB);

  ASSERT_TRUE(QueryCodePageInfo(65001, info));
  EXPECT_EQ(info.maxCharSize, 4u);
  EXPECT_EQ(info.leadBytes[0], 0);
  EXPECT_EQ(info.unicodeDefaultChar, 0xFFFD);

  ASSERT_TRUE(QueryCodePageInfo(28591, info));
  EXPECT_EQ(info.maxCharSize, 1u);
  EXPECT_EQ(info.unicodeDefaultChar, '?');

  // Pages that ICU knows by a Windows name and Windows does not serve.
  for (std::uint32_t page : {858u, 1200u, 51949u})
    EXPECT_FALSE(QueryCodePageInfo(page, info)) << page;

  // 10002 makes 0xFD and 0xFE single bytes where Big5, its source, has lead
  // bytes: a pair that begins with one is two characters.
  std::uint16_t unit = 0xBEEF;
  for (const char* pair : {"\xFD\x40", "\xFE\xFE", "\xFD\xA1"})
    EXPECT_FALSE(ConvertToOneUnit(10002, pair, 2, unit));
  EXPECT_EQ(unit, 0xBEEF);
  EXPECT_TRUE(ConvertToOneUnit(10002, "\xFD", 1, unit));
  EXPECT_EQ(unit, 0xA9);
  EXPECT_TRUE(ConvertToOneUnit(10002, "\xFC\x40", 2, unit));

  // Pairs that the source gives a character of a later edition: none on
  // Windows, or another one, and the overridden pair leaves its neighbours.
  unit = 0xBEEF;
  EXPECT_FALSE(ConvertToOneUnit(20949, "\xA2\xE8", 2, unit));
  EXPECT_EQ(unit, 0xBEEF);
  EXPECT_TRUE(ConvertToOneUnit(20949, "\xA2\xE6", 2, unit));
  EXPECT_EQ(unit, 0x20AC);
  EXPECT_TRUE(ConvertToOneUnit(20932, "\xA2\x37", 2, unit));
  EXPECT_EQ(unit, '~');

  // Failure leaves the caller's value alone.
  info.maxCharSize = 7;
  EXPECT_FALSE(QueryCodePageInfo(12345, info));
  EXPECT_FALSE(QueryCodePageInfo(0x10000 + 1252, info));
  EXPECT_EQ(info.maxCharSize, 7u);
}

TEST(CodePagePlatformTest, ConvertsOnlyToExactlyOneUnit) {
  std::uint16_t unit = 0xBEEF;
  EXPECT_FALSE(ConvertToOneUnit(936, "\xB0", 1, unit));  // lead byte without trail
  EXPECT_FALSE(ConvertToOneUnit(936, "A", 0, unit));
  EXPECT_FALSE(ConvertToOneUnit(65001, "\xF0\x9F\x98\x80", 4, unit));  // a surrogate pair
  EXPECT_FALSE(ConvertToOneUnit(12345, "A", 1, unit));
  EXPECT_EQ(unit, 0xBEEF);
  EXPECT_TRUE(ConvertToOneUnit(0, "\x80", 1, unit));  // the ANSI page
  EXPECT_EQ(unit, 0x20AC);
}

TEST(CodePagePlatformTest, ClosedConvertersOpenAgainOnUse) {
  std::uint16_t unit = 0;
  ASSERT_TRUE(ConvertToOneUnit(20949, "\xB0\xA1", 2, unit));
  testing::CloseCodePageConverters();
  const int opens = testing::CodePageConverterOpens();
  unit = 0;
  EXPECT_TRUE(ConvertToOneUnit(20949, "\xB0\xA1", 2, unit));
  EXPECT_EQ(unit, 0xAC00);
  EXPECT_EQ(testing::CodePageConverterOpens(), opens + 1);
}

TEST(CodePagePlatformTest, FailedConversionsLeaveErrnoAlone) {
  std::uint16_t unit = 0;
  errno = ERANGE;
  EXPECT_FALSE(ConvertToOneUnit(20949, "\xB0", 1, unit));      // iconv: incomplete
  EXPECT_FALSE(ConvertToOneUnit(20949, "\xFF\xFF", 2, unit));  // iconv: illegal
  EXPECT_EQ(errno, ERANGE);
}

TEST(CodePagePlatformTest, ConvertsFromManyThreadsAtOnce) {
  // Converters hold state and are shared per page, opened by whichever thread
  // comes first.
  std::vector<std::thread> threads;
  std::vector<int> failures(4, 0);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &failures] {
      const std::uint32_t page = t % 2 ? 949 : 950;
      const std::uint16_t expected = t % 2 ? 0xAC00 : 0x4E00;
      const char* pair = t % 2 ? "\xB0\xA1" : "\xA4\x40";
      for (int i = 0; i < 500; ++i) {
        std::uint16_t unit = 0;
        failures[t] += !ConvertToOneUnit(page, pair, 2, unit) || unit != expected;
      }
    });
  }
  for (auto& thread : threads)
    thread.join();
  EXPECT_EQ(failures, std::vector<int>(4, 0));
}

}  // namespace
}  // namespace base::platform
