#include "base/unzip.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <thread>

#include "platform/testing/files_testing.h"
#include "support/scratch_directory.h"
#include "zip_builder.h"

namespace base {
namespace {

namespace fs = std::filesystem;
#if defined(_WIN32)
constexpr bool kWindows = true;
#else
constexpr bool kWindows = false;
#endif
using testing::BuildZip;
using testing::ZipEntry;

std::string ReadAll(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

void WriteAll(const fs::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

// Unzip takes UTF-8 paths on every system.
std::string Utf8(const fs::path& path) {
  return path.u8string();
}

// Each test works in a fresh sandbox: the archive at its top, the target in
// "out". Whatever else appears in the sandbox escaped the target.
class UnzipTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_FALSE(sandbox_.empty()); }

  bool Run(const std::vector<ZipEntry>& entries) { return RunBytes(BuildZip(entries)); }
  bool RunBytes(const std::string& bytes) {
    WriteAll(sandbox_ / "a.zip", bytes);
    return Unzip(Utf8(sandbox_ / "a.zip"), Utf8(target_));
  }
  std::string Out(const std::string& relative) { return ReadAll(target_ / fs::u8path(relative)); }
  std::set<std::string> SandboxNames() {
    std::set<std::string> names;
    for (const auto& e : fs::directory_iterator(sandbox_))
      names.insert(e.path().filename().string());
    return names;
  }
  void ExpectNothingEscaped() {
    std::set<std::string> names = SandboxNames();
    names.erase("out");
    names.erase("a.zip");
    names.erase("outside");
    EXPECT_TRUE(names.empty()) << *names.begin();
  }

  const testing::ScratchDirectory scratch_{"unzip_test_"};
  const fs::path sandbox_ = scratch_.path();
  fs::path target_ = sandbox_ / "out";
};

TEST_F(UnzipTest, UnpacksEntriesCreatingTargetAndParents) {
  target_ = sandbox_ / "out" / "deep" / "target";
  const std::string big(200000, 'z');  // more than one copy buffer
  ASSERT_TRUE(Run({{"d/", ""},
                   {"a/b/c.txt", big, 8},
                   {"top.txt", "stored"},
                   {"d/", ""},  // an existing directory is no error
                   {"\xC3\xBC/\xE2\x82\xAC.txt", "utf8"},
                   {"x\\y.txt", "backslash separates"}}));
  EXPECT_TRUE(fs::is_directory(target_ / "d"));
  EXPECT_EQ(Out("a/b/c.txt"), big);
  EXPECT_EQ(Out("top.txt"), "stored");
  EXPECT_EQ(Out("\xC3\xBC/\xE2\x82\xAC.txt"), "utf8");
  EXPECT_EQ(Out("x/y.txt"), "backslash separates");

  // "dir", "dir/" and "dir\" are the same target; existing files are replaced.
  target_ = sandbox_ / "out";
  EXPECT_TRUE(Unzip(Utf8(sandbox_ / "a.zip"), Utf8(target_) + "\\"));
  WriteAll(sandbox_ / "out/top.txt", "older and longer");
  EXPECT_TRUE(Unzip(Utf8(sandbox_ / "a.zip"), Utf8(target_) + "/"));
  EXPECT_EQ(Out("top.txt"), "stored");
  ExpectNothingEscaped();
}

TEST_F(UnzipTest, ArchiveWithoutEntriesCreatesNothing) {
  const std::string empty = BuildZip({});
  ASSERT_EQ(empty.size(), 22u);
  EXPECT_TRUE(RunBytes(empty));
  std::string commented = empty;
  commented[20] = 3;
  EXPECT_TRUE(RunBytes(commented + "abc"));
  EXPECT_FALSE(fs::exists(target_));

  EXPECT_FALSE(RunBytes(commented + "ab"));       // comment length does not fit
  EXPECT_FALSE(RunBytes(std::string(22, '\0')));  // not a zip
  EXPECT_FALSE(RunBytes(""));
  EXPECT_FALSE(Unzip(Utf8(sandbox_ / "missing.zip"), Utf8(target_)));
  EXPECT_FALSE(fs::exists(target_));
}

TEST_F(UnzipTest, StopsAtFirstBadEntryKeepingItsPredecessors) {
  // ".." anywhere in a name fails, even where it could not climb.
  for (const char* name : {"a..b.txt", "../x.txt", "..\\x.txt", "d/../../x.txt"}) {
    EXPECT_FALSE(Run({{"first.txt", "1"}, {name, "bad"}, {"last.txt", "3"}})) << name;
    EXPECT_EQ(Out("first.txt"), "1");
    EXPECT_FALSE(fs::exists(target_ / "last.txt"));
    fs::remove_all(target_);
  }
  // A final backslash is a file name no file can have; a final slash makes a
  // directory.
  EXPECT_FALSE(Run({{"d\\", ""}}));
  EXPECT_TRUE(fs::is_empty(target_));
  fs::remove(target_);
  // Neither stored nor deflated, or encrypted: refused before anything is
  // written.
  EXPECT_FALSE(Run({{"bzip2.txt", "BZh9", 12}}));
  EXPECT_FALSE(Run({{"locked.txt", "secret", 0, 1}}));
  EXPECT_FALSE(fs::exists(target_));
  ExpectNothingEscaped();
}

TEST_F(UnzipTest, DamagedDataFailsAndLeavesWhatWasWritten) {
  const std::string text(100000, 'q');
  ZipEntry badCrc{"crc.txt", text, 8};
  badCrc.crc_mask = 1;
  EXPECT_FALSE(Run({badCrc}));
  EXPECT_EQ(Out("crc.txt"), text);

  // Data that end before the recorded size: minizip would skip the CRC check.
  ZipEntry shortData{"short.txt", text, 8};
  shortData.extra_size = 10;
  EXPECT_FALSE(Run({shortData}));

  // An archive cut short anywhere fails: in the data, or in its directory.
  const std::string whole = BuildZip({{"one.txt", text, 8}, {"two.txt", text}});
  for (std::size_t cut : {whole.size() - 30, whole.size() / 2, std::size_t{40}})
    EXPECT_FALSE(RunBytes(whole.substr(0, cut))) << cut;

  platform::testing::FailFileWrites(true);
  EXPECT_FALSE(Run({{"full.txt", "disk full"}}));
  platform::testing::FailFileWrites(false);
  ExpectNothingEscaped();
}

TEST_F(UnzipTest, Zip64SizesAndStreamedEntries) {
  const std::string text(100000, 'q');
  ZipEntry stored{"stored.txt", "29 bytes in a zip64 entry...."};
  stored.zip64 = true;
  ZipEntry deflated{"deflated.txt", text, 8};
  deflated.zip64 = true;
  // CRC and sizes only in a data descriptor behind the data; the directory's
  // sizes in a zip64 field or in the header itself.
  ZipEntry streamed{"streamed.txt", text + "s", 8};
  streamed.descriptor = true;
  streamed.zip64 = true;
  ZipEntry streamed32{"streamed32.txt", "short"};
  streamed32.descriptor = true;
  ASSERT_TRUE(Run({stored, deflated, streamed, streamed32}));
  EXPECT_EQ(Out("stored.txt"), stored.data);
  EXPECT_EQ(Out("deflated.txt"), text);
  EXPECT_EQ(Out("streamed.txt"), streamed.data);
  EXPECT_EQ(Out("streamed32.txt"), "short");

  // The zip64 field's size is the one held against the data.
  deflated.extra_size = 1;
  EXPECT_FALSE(Run({deflated}));
  streamed.crc_mask = 1;
  EXPECT_FALSE(Run({streamed}));
  ExpectNothingEscaped();
}

TEST_F(UnzipTest, EndRecordBehindTheLongestComment) {
  // minizip's own search reaches a comment of 65,513 bytes; longer ones hide
  // the end record from it.
  const ZipEntry entry{"c.txt", "commented", 8};
  for (std::size_t length : {65513, 65514, 65535}) {
    ASSERT_TRUE(RunBytes(BuildZip({entry}, std::string(length, 'c')))) << length;
    EXPECT_EQ(Out("c.txt"), "commented");
    fs::remove_all(target_);
  }
  // The comment must end where the file ends.
  const std::string longest = BuildZip({entry}, std::string(65535, 'c'));
  EXPECT_FALSE(RunBytes(longest + "x"));
  EXPECT_FALSE(RunBytes(longest.substr(0, longest.size() - 1)));
  EXPECT_TRUE(RunBytes(BuildZip({}, std::string(65535, 'c'))));
  EXPECT_FALSE(fs::exists(target_));
}

TEST_F(UnzipTest, LongAndDeepNames) {
  // Names are cut at 255 bytes without a report.
  const std::string cut = "d/" + std::string(253, 'x');
  ASSERT_TRUE(Run({{cut + std::string(45, 'y'), "300"}, {"e/" + std::string(253, 'x'), "255"}}));
  EXPECT_EQ(Out(cut), "300");
  EXPECT_EQ(Out("e/" + std::string(253, 'x')), "255");
  std::string deep;
  for (int i = 0; i < 120; ++i)
    deep += "a/";
  ASSERT_TRUE(Run({{deep + "f", "deep"}}));
  EXPECT_EQ(Out(deep + "f"), "deep");
}

TEST_F(UnzipTest, NamesThatPointElsewhereLandBelowTheTarget) {
  // Absolute names and drive letters land below the target. Windows names
  // cannot hold a colon, so there a drive letter fails the entry.
  EXPECT_TRUE(Run({{"/abs.txt", "1"}, {"\\\\server\\share.txt", "2"}}));
  EXPECT_EQ(Out("abs.txt"), "1");
  EXPECT_EQ(Out("server/share.txt"), "2");
  EXPECT_EQ(Run({{"C:/c.txt", "3"}}), !kWindows);
  if (!kWindows)
    EXPECT_EQ(Out("C:/c.txt"), "3");
  // The data of a link entry become a plain file; the local header's name
  // is never used.
  ZipEntry link{"link", "../outside/secret"};
  link.external = 0120777u << 16;
  ZipEntry renamed{"good.txt", "central"};
  renamed.local_name = "../x.txt";
  EXPECT_TRUE(Run({link, renamed}));
  EXPECT_FALSE(fs::is_symlink(target_ / "link"));
  EXPECT_EQ(Out("link"), "../outside/secret");
  EXPECT_EQ(Out("good.txt"), "central");
  ExpectNothingEscaped();
}

TEST_F(UnzipTest, LinksBelowTheTargetAreNeverWrittenThrough) {
  const fs::path outside = sandbox_ / "outside";
  fs::create_directories(outside);
  WriteAll(outside / "secret", "untouched");
  fs::create_directories(target_);
  std::error_code error;
  fs::create_directory_symlink(outside, target_ / "linkdir", error);
  if (!error)
    fs::create_symlink(outside / "secret", target_ / "linkfile", error);
  if (error)
    GTEST_SKIP() << "no symbolic links here: " << error.message();
  fs::create_hard_link(outside / "secret", target_ / "hardlink");

  // Links in the way are replaced as files, never written through.
  EXPECT_TRUE(Run({{"linkfile", "new"}, {"hardlink", "new"}}));
  EXPECT_FALSE(fs::is_symlink(target_ / "linkfile"));
  EXPECT_EQ(Out("linkfile"), "new");
  EXPECT_EQ(Out("hardlink"), "new");
  // A linked directory is not a directory.
  EXPECT_FALSE(Run({{"linkdir/secret", "overwritten"}}));
  EXPECT_FALSE(Run({{"linkdir/new/", ""}}));

  EXPECT_EQ(ReadAll(outside / "secret"), "untouched");
  EXPECT_EQ(std::distance(fs::directory_iterator(outside), {}), 1);
  ExpectNothingEscaped();
}

TEST_F(UnzipTest, CallsOnDifferentTargetsRunTogether) {
  std::vector<ZipEntry> entries;
  for (int i = 0; i < 50; ++i)
    entries.push_back({"d" + std::to_string(i % 5) + "/f" + std::to_string(i),
                       std::string(5000, 'a' + i % 26), 8});
  WriteAll(sandbox_ / "a.zip", BuildZip(entries));
  bool results[4] = {};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      results[t] = Unzip(Utf8(sandbox_ / "a.zip"), Utf8(target_ / std::to_string(t)));
    });
  }
  for (auto& thread : threads)
    thread.join();
  for (int t = 0; t < 4; ++t) {
    EXPECT_TRUE(results[t]);
    EXPECT_EQ(ReadAll(target_ / std::to_string(t) / "d4/f49"), std::string(5000, 'a' + 49 % 26));
  }
}

}  // namespace
}  // namespace base
