#include <gtest/gtest.h>

#include <cstddef>
#include <initializer_list>
#include <utility>

#include "base/encoding.h"
#include "encoding/expected_units.h"
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

using Ranges = std::initializer_list<std::pair<int, int>>;

// True when exactly the bytes in `ranges` are lead bytes in `map`.
bool LeadBytesAre(const int* map, Ranges ranges) {
  if (map == nullptr)
    return false;
  for (int byte = 0; byte < 256; ++byte) {
    bool inRange = false;
    for (const auto& range : ranges)
      inRange = inRange || (byte >= range.first && byte <= range.second);
    if ((map[byte] == kLeadByte) != inRange)
      return false;
  }
  return true;
}

TEST(CodePageFamiliesTest, EveryListedPageHasAMapOfItsKind) {
  for (int page : kListedCodePages) {
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
    // Letters, digits and the space sit at the same bytes in every EBCDIC page.
    ExpectUnits(page, {{0xC1, 'A'}, {0xF0, '0'}, {0x40, ' '}, {0xC1C2, '?'}});
    EXPECT_EQ(GetCPDefChar(page), '?') << page;
  }
  ExpectUnits(37, {{0x5B, '$'}, {0x4A, 0xA2}, {0x25, '\n'}, {0x15, 0x85}});
  ExpectUnits(500, {{0x4A, '['}});
  // Microsoft sends 875's unassigned bytes to SUB.
  ExpectUnits(875, {{0x41, 0x391}, {0xB1, 0x3AC}, {0xDC, 0x1A}});
  ExpectUnits(1026, {{0x4A, 0xC7}, {0x5A, 0x11E}, {0x9A, 0xAA}});
}

TEST(CodePageFamiliesTest, MacPages) {
  EXPECT_TRUE(LeadBytesAre(GetCPMap(10001), {{0x81, 0x9F}, {0xE0, 0xFC}}));
  ExpectUnits(10001,
              {{0xFD, 0xA9}, {0xFE, 0x2122}, {0xFF, 0x2026}, {0x82A0, 0x3042}, {0x8220, 0x30FB}});
  EXPECT_EQ(GetCPDefChar(10001), 0x30FB);

  // Apple's signs take the bytes that Big5 would use as lead bytes, so a pair
  // that begins with one is two characters. The user-defined areas are in
  // private use, numbered in byte order.
  EXPECT_TRUE(LeadBytesAre(GetCPMap(10002), {{0x81, 0xFC}}));
  ExpectUnits(10002, {{0xFD, 0xA9},
                      {0xA440, 0x4E00},
                      {0x8140, 0xE000},
                      {0x8DFE, 0xE7F8},
                      {0x8E40, 0xE7F9},
                      {0xA0FE, 0xF39F},
                      {0xC6A1, 0xF3A0},
                      {0xC8FE, 0xF537},
                      {0xFA40, 0xF538},
                      {0xFCFE, 0xF70E},
                      {0xFD40, '?'},
                      {0xFEFE, '?'}});

  EXPECT_TRUE(LeadBytesAre(GetCPMap(10003), {{0xA1, 0xAC}, {0xB0, 0xC8}, {0xCA, 0xFD}}));
  ExpectUnits(10003, {{0xB0A1, 0xAC00}});
  EXPECT_TRUE(LeadBytesAre(GetCPMap(10008), {{0xA1, 0xA9}, {0xB0, 0xF7}}));
  ExpectUnits(10008, {{0xB0A1, 0x554A}});
  EXPECT_EQ(GetCPDefChar(10008), '?');

  // Arabic and Hebrew keep ASCII below 0x80 (Apple's own tables move its
  // punctuation and digits up), with Arabic's own digits and letters above.
  ExpectUnits(10004, {{0x25, '%'},
                      {0x30, '0'},
                      {0x80, 0xC4},
                      {0xA5, 0x66A},
                      {0xB0, 0x660},
                      {0xC7, 0x627},
                      {0xFA, 0x691}});
  ExpectUnits(10005, {{0x25, '%'}, {0x30, '0'}, {0xC1, 0x201E}, {0xE0, 0x5D0}, {0xFA, 0x5EA}});

  // The Romanian and Icelandic letters, where Mac Roman has others.
  ExpectUnits(10010, {{0xAE, 0x102}, {0xDE, 0x162}});
  ExpectUnits(10079, {{0xA0, 0xDD}, {0xDC, 0xD0}});
  ExpectUnits(10000, {{0xAE, 0xC6}});
  ExpectUnits(10017, {{0xA2, 0x490}, {0x80, 0x410}});

  // Thai: KO KAI, SARA E, and MAI EK with Apple's two variants of it, which
  // are the mark itself on Windows; Apple has since put the word joiner at
  // 0xDB. A consonant and its tone mark are two characters.
  ExpectUnits(10021, {{0xA1, 0xE01},
                      {0xE0, 0xE40},
                      {0xE8, 0xE48},
                      {0x83, 0xE48},
                      {0x98, 0xE48},
                      {0xDB, 0xFEFF},
                      {0xA1E8, '?'}});
  EXPECT_EQ(GetCPDefChar(10021), '?');
  // Croatian: S and c with caron; the currency sign, not Apple's later euro;
  // DEL; and Mac Roman's letters elsewhere.
  ExpectUnits(10082, {{0xA9, 0x160}, {0xE8, 0x10D}, {0xDB, 0xA4}, {0x7F, 0x7F}, {0x80, 0xC4}});
}

TEST(CodePageFamiliesTest, JohabAndEucPages) {
  // 0xD8 begins the user row: private use in byte order over the symbol rows'
  // trail bytes (0xD9 is the symbol row after it). A letter alone between fill
  // codes is a conjoining jamo: the first and last initial, vowel and final,
  // and the final after the gap at code 18. Fill codes alone, a vowel code no
  // letter has, and final code 18 are nothing. 0x5C is not the won sign of
  // KS X 1003. The filler and old letters that end row 0xDA are conjoining
  // jamo; the modern letters before them are written as syllable codes.
  EXPECT_TRUE(LeadBytesAre(GetCPMap(1361), {{0x84, 0xD3}, {0xD8, 0xDE}, {0xE0, 0xF9}}));
  ExpectUnits(
      1361,
      {{0xD831, 0xE000}, {0xD87E, 0xE04D}, {0xD891, 0xE04E}, {0xD8FE, 0xE0BB}, {0xD880, '?'},
       {0xD931, 0x3000}, {0x8841, 0x1100}, {0xD041, 0x1112}, {0x8461, 0x1161}, {0x87A1, 0x1175},
       {0x8442, 0x11A8}, {0x8453, 0x11B8}, {0x845D, 0x11C2}, {0x8441, '?'},    {0x8501, '?'},
       {0x8452, '?'},    {0x5C, '\\'},     {0x80, 0x80},     {0x8861, 0xAC00}, {0x8820, '?'},
       {0xDAD3, '?'},    {0xDAD4, 0x115F}, {0xDAD5, 0x1114}, {0xDAFE, 0x11A1}, {0xDAFF, '?'}});

  // Wansung leaves rows 0xAD-0xAF, 0xC9 and 0xFE empty: no lead bytes there.
  EXPECT_TRUE(LeadBytesAre(GetCPMap(20949), {{0xA1, 0xAC}, {0xB0, 0xC8}, {0xCA, 0xFD}}));
  ExpectUnits(20949, {{0x80, 0x80}, {0xB0A1, 0xAC00}, {0xB041, '?'}});

  // Two bytes at most: 0x8F, EUC-JP's shift to three, is a character alone,
  // and the supplement it shifts to travels as (lead, trail without high bit);
  // 0xB0A1 is the basic set's own pair.
  ExpectUnits(20932, {{0x8E, kLeadByte},
                      {0x8F, 0x8F},
                      {0xA1, kLeadByte},
                      {0xA4A2, 0x3042},
                      {0x8EB1, 0xFF71},
                      {0xB021, 0x4E02},
                      {0xB0A1, 0x4E9C},
                      {0xA410, 0x30FB}});

  // Arabic 708: the letters of ISO 8859-6.
  ExpectUnits(708, {{0xC7, 0x627}, {0xAC, 0x60C}});
}

}  // namespace
}  // namespace XmlText::Encoding
