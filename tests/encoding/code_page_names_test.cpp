#include <gtest/gtest.h>

#include <vector>

#include "base/encoding.h"

namespace XmlText::Encoding {
namespace {

constexpr int kUnknown = 3;

int Named(std::wstring name, int length) {
  return GetCPNamed(name.data(), length);
}

TEST(CodePageNamesTest, FoldsCaseAndTakesTheLengthAsGiven) {
  EXPECT_EQ(Named(L"gbk", 3), 936);
  EXPECT_EQ(Named(L"GBK", -1), 936);
  EXPECT_EQ(Named(L"gB2312", -1), 936);
  EXPECT_EQ(Named(L"GB2312xyz", 6), 936);
  EXPECT_EQ(Named(L"GBK", -7), 936);  // any negative length searches

  // A counted terminator is part of the name.
  EXPECT_EQ(Named(L"GBK", 4), kUnknown);
  EXPECT_EQ(Named(L"GBK", 2), kUnknown);
  EXPECT_EQ(Named(L"UTF-8", -1), kUnknown);
  EXPECT_EQ(Named(L"GBK", 0), kUnknown);
  EXPECT_EQ(GetCPNamed(nullptr, 3), kUnknown);
}

TEST(CodePageNamesTest, FoldsSixteenBitUnitsOnly) {
  // Each character counts by its low 16 bits: these are "GBK".
  EXPECT_EQ(Named({wchar_t(0x10047), wchar_t(0x20042), wchar_t(0x1004B)}, 3), 936);
  // A unit above 255 is not folded, even when its low byte is a letter.
  EXPECT_EQ(Named({wchar_t(0x0167), L'B', L'K'}, 3), kUnknown);
}

TEST(CodePageNamesTest, SearchStopsAtThirtyTwoCharacters) {
  // No terminator in reach: the search must not read past 32 characters.
  std::vector<wchar_t> unterminated(32, L'A');
  EXPECT_EQ(GetCPNamed(unterminated.data(), -1), kUnknown);
}

}  // namespace
}  // namespace XmlText::Encoding
