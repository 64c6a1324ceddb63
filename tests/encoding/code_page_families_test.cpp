#include <gtest/gtest.h>

#include <cstddef>
#include <initializer_list>
#include <utility>

#include "base/encoding.h"
#include "platform/testing/codepage_testing.h"

// Expected characters come from published mapping tables as the codecs of
// Python's standard library carry them: Microsoft's EBCDIC tables (cp037,
// cp500, cp875, cp1026), Apple's (mac_romanian, mac_iceland, mac_cyrillic,
// and Apple's own THAI.TXT and CROATIAN.TXT), the JIS, KS and GB sets (euc_jp,
// euc_kr, johab, gb2312, big5, shift_jis) and ISO 8859-6; or from reasoning
// stated beside them.
namespace XmlText::Encoding {
namespace {

using base::platform::testing::kListedCodePages;

constexpr int kDoubleBytePages[] = {932,   936,   949,   950,   1361, 10001,
                                    10002, 10003, 10008, 20932, 20949};

template <std::size_t N>
bool Contains(const int (&pages)[N], int page) {
  for (int listed : pages) {
    if (listed == page)
      return true;
  }
  return false;
}

// Mac Arabic and Hebrew have maps only where the system has them: no source on
// Linux has tables close enough to Windows' (the posix backend's own test pins
// that).
bool HasMap(int page) {
#ifdef _WIN32
  static_cast<void>(page);
  return true;
#else
  return page != 10004 && page != 10005;
#endif
}

using Ranges = std::initializer_list<std::pair<int, int>>;

// True when exactly the bytes in `ranges` are lead bytes in `map`, whatever
// `openByte` is.
bool LeadBytesAre(const int* map, Ranges ranges, int openByte = -1) {
  for (int byte = 0; byte < 256; ++byte) {
    if (byte == openByte)
      continue;
    bool inRange = false;
    for (const auto& range : ranges)
      inRange = inRange || (byte >= range.first && byte <= range.second);
    if ((map[byte] == kLeadByte) != inRange)
      return false;
  }
  return true;
}

int Pair(int page, int lead, int trail) {
  const char bytes[2] = {static_cast<char>(lead), static_cast<char>(trail)};
  return CPConvert(page, bytes);
}

TEST(CodePageFamiliesTest, EveryListedPageHasAMapOfItsKind) {
  for (int page : kListedCodePages) {
    if (!HasMap(page))
      continue;
    const int* map = GetCPMap(page);
    ASSERT_NE(map, nullptr) << page;
    bool hasLeadByte = false;
    for (int byte = 0; byte < 256; ++byte)
      hasLeadByte = hasLeadByte || map[byte] == kLeadByte;
    EXPECT_EQ(hasLeadByte, Contains(kDoubleBytePages, page)) << page;
    // Every page keeps ASCII's digits where it keeps ASCII at all.
    if (page != 37 && page != 500 && page != 875 && page != 1026)
      EXPECT_EQ(map['0'], '0') << page;
  }
}

TEST(CodePageFamiliesTest, EbcdicPages) {
  for (int page : {37, 500, 875, 1026}) {
    const int* map = GetCPMap(page);
    ASSERT_NE(map, nullptr) << page;
    // Letters, digits and the space sit at the same bytes in every EBCDIC page.
    EXPECT_EQ(map[0xC1], 'A') << page;
    EXPECT_EQ(map[0xF0], '0') << page;
    EXPECT_EQ(map[0x40], ' ') << page;
    EXPECT_EQ(GetCPDefChar(page), '?') << page;
    EXPECT_EQ(Pair(page, 0xC1, 0xC2), '?') << page;
  }
  const int* us = GetCPMap(37);
  EXPECT_EQ(us[0x5B], '$');
  EXPECT_EQ(us[0x4A], 0xA2);
  EXPECT_EQ(us[0x25], '\n');
  EXPECT_EQ(us[0x15], 0x85);
  EXPECT_EQ(GetCPMap(500)[0x4A], '[');
  const int* greek = GetCPMap(875);
  EXPECT_EQ(greek[0x41], 0x391);
  EXPECT_EQ(greek[0xB1], 0x3AC);
  EXPECT_EQ(greek[0xDC], 0x1A);  // Microsoft sends its unassigned bytes to SUB
  const int* turkish = GetCPMap(1026);
  EXPECT_EQ(turkish[0x4A], 0xC7);
  EXPECT_EQ(turkish[0x5A], 0x11E);
  EXPECT_EQ(turkish[0x9A], 0xAA);
}

TEST(CodePageFamiliesTest, MacPages) {
  const int* japanese = GetCPMap(10001);
  ASSERT_NE(japanese, nullptr);
  EXPECT_TRUE(LeadBytesAre(japanese, {{0x81, 0x9F}, {0xE0, 0xFC}}));
  EXPECT_EQ(japanese[0xFD], 0xA9);
  EXPECT_EQ(japanese[0xFE], 0x2122);
  EXPECT_EQ(japanese[0xFF], 0x2026);
  EXPECT_EQ(Pair(10001, 0x82, 0xA0), 0x3042);
  EXPECT_EQ(GetCPDefChar(10001), 0x30FB);
  EXPECT_EQ(Pair(10001, 0x82, 0x20), 0x30FB);

  // Apple's signs take the bytes that Big5 would use as lead bytes.
  const int* chinese = GetCPMap(10002);
  ASSERT_NE(chinese, nullptr);
  EXPECT_TRUE(LeadBytesAre(chinese, {{0x81, 0xFC}}));
  EXPECT_EQ(chinese[0xFD], 0xA9);
  EXPECT_EQ(Pair(10002, 0xA4, 0x40), 0x4E00);
  // Its user-defined areas in private use, numbered in byte order.
  EXPECT_EQ(Pair(10002, 0x81, 0x40), 0xE000);
  EXPECT_EQ(Pair(10002, 0x8D, 0xFE), 0xE7F8);
  EXPECT_EQ(Pair(10002, 0x8E, 0x40), 0xE7F9);
  EXPECT_EQ(Pair(10002, 0xA0, 0xFE), 0xF39F);
  EXPECT_EQ(Pair(10002, 0xC6, 0xA1), 0xF3A0);
  EXPECT_EQ(Pair(10002, 0xC8, 0xFE), 0xF537);
  EXPECT_EQ(Pair(10002, 0xFA, 0x40), 0xF538);
  EXPECT_EQ(Pair(10002, 0xFC, 0xFE), 0xF70E);

  const int* korean = GetCPMap(10003);
  ASSERT_NE(korean, nullptr);
  EXPECT_TRUE(LeadBytesAre(korean, {{0xA1, 0xAC}, {0xB0, 0xC8}, {0xCA, 0xFD}}));
  EXPECT_EQ(Pair(10003, 0xB0, 0xA1), 0xAC00);

  const int* simplified = GetCPMap(10008);
  ASSERT_NE(simplified, nullptr);
  EXPECT_TRUE(LeadBytesAre(simplified, {{0xA1, 0xA9}, {0xB0, 0xF7}}));
  EXPECT_EQ(Pair(10008, 0xB0, 0xA1), 0x554A);
  EXPECT_EQ(GetCPDefChar(10008), '?');

  // The Romanian and Icelandic letters, where Mac Roman has others.
  EXPECT_EQ(GetCPMap(10010)[0xAE], 0x102);
  EXPECT_EQ(GetCPMap(10010)[0xDE], 0x162);
  EXPECT_EQ(GetCPMap(10079)[0xA0], 0xDD);
  EXPECT_EQ(GetCPMap(10079)[0xDC], 0xD0);
  EXPECT_EQ(GetCPMap(10000)[0xAE], 0xC6);
  const int* ukrainian = GetCPMap(10017);
  ASSERT_NE(ukrainian, nullptr);
  EXPECT_EQ(ukrainian[0xA2], 0x490);
  EXPECT_EQ(ukrainian[0x80], 0x410);

  const int* thai = GetCPMap(10021);
  ASSERT_NE(thai, nullptr);
  EXPECT_EQ(thai[0xA1], 0xE01);  // KO KAI
  EXPECT_EQ(thai[0xE0], 0xE40);  // SARA E
  // Apple's variants of the tone marks are the marks themselves on Windows.
  EXPECT_EQ(thai[0xE8], 0xE48);  // MAI EK
  EXPECT_EQ(thai[0x83], 0xE48);
  EXPECT_EQ(thai[0x98], 0xE48);
  EXPECT_EQ(thai[0xDB], 0xFEFF);  // Apple has since put the word joiner here
  EXPECT_EQ(GetCPDefChar(10021), '?');
  EXPECT_EQ(Pair(10021, 0xA1, 0xE8), '?');  // a consonant and its tone mark

  const int* croatian = GetCPMap(10082);
  ASSERT_NE(croatian, nullptr);
  EXPECT_EQ(croatian[0xA9], 0x160);  // S WITH CARON
  EXPECT_EQ(croatian[0xE8], 0x10D);  // c with caron
  EXPECT_EQ(croatian[0xDB], 0xA4);   // the currency sign, not Apple's later euro
  EXPECT_EQ(croatian[0x7F], 0x7F);
  EXPECT_EQ(croatian[0x80], 0xC4);  // as in Mac Roman
}

TEST(CodePageFamiliesTest, JohabAndEucPages) {
  const int* johab = GetCPMap(1361);
  ASSERT_NE(johab, nullptr);
  EXPECT_TRUE(LeadBytesAre(johab, {{0x84, 0xD3}, {0xD8, 0xDE}, {0xE0, 0xF9}}));
  // 0xD8 begins the user row: private use in byte order over the symbol rows'
  // trail bytes.
  EXPECT_EQ(Pair(1361, 0xD8, 0x31), 0xE000);
  EXPECT_EQ(Pair(1361, 0xD8, 0x7E), 0xE04D);
  EXPECT_EQ(Pair(1361, 0xD8, 0x91), 0xE04E);
  EXPECT_EQ(Pair(1361, 0xD8, 0xFE), 0xE0BB);
  EXPECT_EQ(Pair(1361, 0xD8, 0x80), '?');
  EXPECT_EQ(Pair(1361, 0xD9, 0x31), 0x3000);  // the symbol row after it
  // A letter alone between fill codes is a conjoining jamo: the first and
  // last initial, vowel and final, and the final after the gap at code 18.
  EXPECT_EQ(Pair(1361, 0x88, 0x41), 0x1100);
  EXPECT_EQ(Pair(1361, 0xD0, 0x41), 0x1112);
  EXPECT_EQ(Pair(1361, 0x84, 0x61), 0x1161);
  EXPECT_EQ(Pair(1361, 0x87, 0xA1), 0x1175);
  EXPECT_EQ(Pair(1361, 0x84, 0x42), 0x11A8);
  EXPECT_EQ(Pair(1361, 0x84, 0x53), 0x11B8);
  EXPECT_EQ(Pair(1361, 0x84, 0x5D), 0x11C2);
  // Fill codes alone, a vowel code no letter has, final code 18.
  EXPECT_EQ(Pair(1361, 0x84, 0x41), '?');
  EXPECT_EQ(Pair(1361, 0x85, 0x01), '?');
  EXPECT_EQ(Pair(1361, 0x84, 0x52), '?');
  EXPECT_EQ(johab[0x5C], '\\');  // not the won sign of KS X 1003
  EXPECT_EQ(johab[0x80], 0x80);
  EXPECT_EQ(Pair(1361, 0x88, 0x61), 0xAC00);
  EXPECT_EQ(Pair(1361, 0x88, 0x20), '?');

  // Wansung leaves rows 0xAD-0xAF, 0xC9 and 0xFE empty: no lead bytes there.
  const int* wansung = GetCPMap(20949);
  ASSERT_NE(wansung, nullptr);
  EXPECT_TRUE(LeadBytesAre(wansung, {{0xA1, 0xAC}, {0xB0, 0xC8}, {0xCA, 0xFD}}));
  EXPECT_EQ(wansung[0x80], 0x80);
  EXPECT_EQ(Pair(20949, 0xB0, 0xA1), 0xAC00);
  EXPECT_EQ(Pair(20949, 0xB0, 0x41), '?');

  // Two bytes at most: 0x8F, EUC-JP's shift to three, is a character alone,
  // and the supplement it shifts to travels as (lead, trail without high bit).
  const int* japanese = GetCPMap(20932);
  ASSERT_NE(japanese, nullptr);
  EXPECT_EQ(japanese[0x8E], kLeadByte);
  EXPECT_EQ(japanese[0x8F], 0x8F);
  EXPECT_EQ(japanese[0xA1], kLeadByte);
  EXPECT_EQ(Pair(20932, 0xA4, 0xA2), 0x3042);
  EXPECT_EQ(Pair(20932, 0x8E, 0xB1), 0xFF71);
  EXPECT_EQ(Pair(20932, 0xB0, 0x21), 0x4E02);
  EXPECT_EQ(Pair(20932, 0xB0, 0x80 | 0x21), 0x4E9C);  // the basic set's own pair
  EXPECT_EQ(Pair(20932, 0xA4, 0x10), 0x30FB);

  // Arabic 708: the letters of ISO 8859-6.
  const int* arabic = GetCPMap(708);
  ASSERT_NE(arabic, nullptr);
  EXPECT_EQ(arabic[0xC7], 0x627);
  EXPECT_EQ(arabic[0xAC], 0x60C);
}

}  // namespace
}  // namespace XmlText::Encoding
