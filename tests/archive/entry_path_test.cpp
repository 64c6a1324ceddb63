#include "archive/entry_path.h"

#include <gtest/gtest.h>

namespace base {
namespace {

TEST(EntryPathTest, NormalizeTargetEndsInOneBackslashAndHalvesRuns) {
  EXPECT_EQ(NormalizeTarget("dir"), "dir\\");
  EXPECT_EQ(NormalizeTarget("dir/"), "dir\\");
  EXPECT_EQ(NormalizeTarget("dir\\"), "dir\\");
  EXPECT_EQ(NormalizeTarget("//srv/share"), "\\srv\\share\\");
  // The walk never steps back: three become two, four become two.
  EXPECT_EQ(NormalizeTarget("a\\\\\\b"), "a\\\\b\\");
  EXPECT_EQ(NormalizeTarget("a////b"), "a\\\\b\\");
  EXPECT_EQ(NormalizeTarget(""), "\\");
}

TEST(EntryPathTest, ParentIgnoresAFinalSeparator) {
  EXPECT_EQ(ParentOf("a/b\\c.txt"), "a/b\\");
  EXPECT_EQ(ParentOf("a/b/"), "a/");
  EXPECT_EQ(ParentOf("d\\"), "");
  EXPECT_EQ(ParentOf("c.txt"), "");
  EXPECT_EQ(ParentOf(""), "");
}

TEST(EntryPathTest, IllFormedUtf8BecomesReplacementCharacters) {
  EXPECT_EQ(ToPathName(nullptr), "");
  EXPECT_EQ(ToPathName("d\xC3\xBC/\xF0\x9F\x98\x80.txt"), "d\xC3\xBC/\xF0\x9F\x98\x80.txt");
  const std::string fffd = "\xEF\xBF\xBD";
  // A stray continuation byte, a lead byte cut short by the end, an overlong
  // '.', a surrogate and a code point above U+10FFFF.
  EXPECT_EQ(ToPathName("a\x80z"), "a" + fffd + "z");
  EXPECT_EQ(ToPathName("a\xE2\x82"), "a" + fffd);
  EXPECT_EQ(ToPathName("\xC0\xAE\xC0\xAE/x"), fffd + fffd + fffd + fffd + "/x");
  EXPECT_EQ(ToPathName("\xED\xA0\x80"), fffd + fffd + fffd);
  EXPECT_EQ(ToPathName("\xF4\x90\x80\x80"), fffd + fffd + fffd + fffd);
}

}  // namespace
}  // namespace base
