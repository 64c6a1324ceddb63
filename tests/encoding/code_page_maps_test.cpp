#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

#include "base/encoding.h"
#include "encoding/code_page_tables.h"
#include "encoding/expected_units.h"
#include "platform/testing/codepage_testing.h"
#include "support/under_wine.h"

// The tables live for the whole test binary, so each test uses pages that no
// other test looks at first.
namespace XmlText::Encoding {
namespace {

using base::platform::testing::CodePageConverterOpens;
using base::platform::testing::CodePageInfoQueries;

int CountOf(const int* map, int value) {
  int count = 0;
  for (int byte = 0; byte < 256; ++byte)
    count += map[byte] == value;
  return count;
}

TEST(CodePageMapsTest, DoubleBytePagesMarkTheirLeadBytes) {
  const int* gbk = GetCPMap(936);
  ASSERT_NE(gbk, nullptr);
  EXPECT_EQ(GetCPMap(936), gbk);
  for (int byte = 0x81; byte <= 0xFE; ++byte)
    EXPECT_EQ(gbk[byte], kLeadByte) << byte;
  EXPECT_EQ(CountOf(gbk, kLeadByte), 126);
  ExpectUnits(936, {{0x00, 0}, {65, 65}, {0x80, 0x20AC}});
  EXPECT_EQ(GetCPDefChar(936), '?');

  // Windows' single-byte end points, which ICU lacks; halfwidth katakana are
  // single bytes; SUB, FS and DEL are themselves, not rotated as in IBM's
  // tables.
  EXPECT_EQ(CountOf(GetCPMap(932), kLeadByte), 60);
  ExpectUnits(932, {{0x9F, kLeadByte},
                    {0x80, 0x80},
                    {0xA1, 0xFF61},
                    {0xDF, 0xFF9F},
                    {0xE0, kLeadByte},
                    {0xFC, kLeadByte},
                    {0x1A, 0x1A},
                    {0x1C, 0x1C},
                    {0x7F, 0x7F}});
  EXPECT_EQ(GetCPDefChar(932), 0x30FB);

  ExpectUnits(1253, {{0xA2, 0x0386}});
  ExpectUnits(437, {{0xE6, 0xB5}});  // the micro sign, not the Greek mu
  for (int page : {949, 950}) {
    ExpectUnits(page, {{0x80, 0x80}});
    EXPECT_EQ(CountOf(GetCPMap(page), kLeadByte), 126) << page;
  }
}

TEST(CodePageMapsTest, PrivateUseBytesOfWindows) {
  // Wine 8's tables leave out the single bytes that Windows maps to private
  // use, which ICU lacks as well.
  if (base::testing::UnderWine())
    GTEST_SKIP() << "Wine lacks Windows' private-use single bytes";
  ExpectUnits(936, {{0xFF, 0xF8F5}});
  ExpectUnits(932, {{0xA0, 0xF8F0}, {0xFD, 0xF8F1}, {0xFF, 0xF8F3}});
  ExpectUnits(1253, {{0xAA, 0xF8F9}, {0xD2, 0xF8FA}});
}

TEST(CodePageMapsTest, SingleBytePagesHaveNoLeadBytes) {
  const int* latin = GetCPMap(1252);
  ASSERT_NE(latin, nullptr);
  EXPECT_EQ(CountOf(latin, kLeadByte), 0);
  EXPECT_EQ(CountOf(latin, kInvalidByte), 0);
  ExpectUnits(1252, {{0x80, 0x20AC}, {0x81, 0x81}, {0x9F, 0x178}, {0xFF, 0xFF}});
  ExpectUnits(437, {{0x1A, 0x1A}, {0x1C, 0x1C}, {0x7F, 0x7F}, {0xDB, 0x2588}});

  // Windows' ASCII folds its upper half onto the lower, dropping the high bit,
  // where the standard leaves it undefined. 0xBF then lands on the default
  // character, which makes it invalid: only 0x3F may give '?'.
  const int* ascii = GetCPMap(20127);
  ASSERT_NE(ascii, nullptr);
  EXPECT_EQ(CountOf(ascii, kLeadByte), 0);
  EXPECT_EQ(CountOf(ascii, kInvalidByte), 1);
  ExpectUnits(20127,
              {{0x7F, 0x7F}, {0x80, 0x00}, {0xE9, 0x69}, {0xFF, 0x7F}, {0xBF, kInvalidByte}});

  // The thread's ANSI page, which unknown names lead to, has a map of its own.
  const int* threadAnsi = GetCPMap(3);
  ASSERT_NE(threadAnsi, nullptr);
  EXPECT_NE(threadAnsi, latin);
  EXPECT_EQ(threadAnsi[0x80], 0x20AC);
}

TEST(CodePageMapsTest, DefaultCharFirstBuildsTheMapToo) {
  EXPECT_EQ(GetCPDefChar(1251), '?');
  const int queries = CodePageInfoQueries();
  const int* cyrillic = GetCPMap(1251);
  ASSERT_NE(cyrillic, nullptr);
  EXPECT_EQ(cyrillic[0xC0], 0x410);
  EXPECT_EQ(CodePageInfoQueries(), queries);
}

TEST(CodePageMapsTest, PagesWithoutMapsAreLookedAtOnce) {
  const int before = CodePageInfoQueries();
  // UTF-8 has characters of up to four bytes; 12345 and negative pages do not
  // exist; UTF-16 is no multibyte page.
  for (int page : {65001, 12345, -5, 1200}) {
    EXPECT_EQ(GetCPMap(page), nullptr) << page;
    EXPECT_EQ(GetCPDefChar(page), -1) << page;
    EXPECT_EQ(GetCPMap(page), nullptr) << page;
  }
  EXPECT_EQ(CodePageInfoQueries(), before + 4);
}

TEST(CodePageMapsTest, ConvertsExactlyTwoBytes) {
  // Only the two bytes are readable: a longer read would be caught.
  auto pair = [](unsigned char lead, unsigned char trail) {
    std::unique_ptr<char[]> bytes(new char[2]);
    bytes[0] = static_cast<char>(lead);
    bytes[1] = static_cast<char>(trail);
    return bytes;
  };
  EXPECT_EQ(CPConvert(936, pair(0xB0, 0xA1).get()), 0x554A);
  EXPECT_EQ(CPConvert(936, pair(0x81, 0x40).get()), 0x4E02);
  EXPECT_EQ(CPConvert(932, pair(0x82, 0xA0).get()), 0x3042);
  EXPECT_EQ(CPConvert(932, pair(0x81, 0x60).get()), 0xFF5E);
  EXPECT_EQ(CPConvert(949, pair(0xB0, 0xA1).get()), 0xAC00);
  EXPECT_EQ(CPConvert(950, pair(0xA4, 0x40).get()), 0x4E00);
  EXPECT_EQ(CPConvert(950, pair(0xF9, 0xFE).get()), 0x2593);
  EXPECT_EQ(base::scratchChar, 0x2593);

  // Two single-byte characters do not fit one unit; a bad trail byte fails.
  EXPECT_EQ(CPConvert(1250, pair('A', 'B').get()), '?');
  EXPECT_EQ(CPConvert(932, pair(0x81, 0x20).get()), 0x30FB);
  // UTF-8 converts without a map, and has no default to fall back on.
  EXPECT_EQ(CPConvert(65001, pair(0xC3, 0xA9).get()), 0xE9);
  EXPECT_EQ(CPConvert(65001, pair(0xC3, 'A').get()), -1);
  EXPECT_EQ(CPConvert(4321, pair(0xB0, 0xA1).get()), -1);
  EXPECT_EQ(CPConvert(936, nullptr), '?');

  const int opens = CodePageConverterOpens();
  const auto hangul = pair(0xB0, 0xA1);
  for (int i = 0; i < 1000; ++i)
    CPConvert(949, hangul.get());
  EXPECT_EQ(CodePageConverterOpens(), opens);
}

TEST(CodePageMapsTest, TablesFreeTheirMaps) {
  // A leak here is reported by the address-sanitizer build.
  base::CodePageTableSet tables;
  EXPECT_EQ(tables.names.size(), 2u);
  tables.byteMaps[1] = static_cast<int*>(std::malloc(256 * sizeof(int)));
  tables.byteMaps[2] = nullptr;
}

}  // namespace
}  // namespace XmlText::Encoding
