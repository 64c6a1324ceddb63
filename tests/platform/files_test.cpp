// What a path below an OutputDirectory means, which both backends must agree
// on: the walk itself is tested through Unzip.
#include "platform/files.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/scratch_directory.h"

namespace base::platform {
namespace {

namespace fs = std::filesystem;

// True if a new file could be made at `relative`; it is closed at once.
bool Create(OutputDirectory& out, const char* relative) {
  const NativeFile file = out.CreateNewFile(relative);
  CloseFile(file);
  return file != kInvalidFile;
}

TEST(FilesTest, DotComponentsNameTheDirectoryTheyAreIn) {
  const base::testing::ScratchDirectory scratch("files_test_");
  const fs::path& root = scratch.path();
  ASSERT_FALSE(root.empty());
  OutputDirectory out(root.u8string());
  EXPECT_TRUE(out.CreateDirectories("./d/./e/."));
  EXPECT_TRUE(fs::is_directory(root / "d" / "e"));
  EXPECT_TRUE(out.Exists("d/./e"));
  EXPECT_TRUE(out.Exists("d\\e\\."));
  EXPECT_TRUE(out.Exists("."));
  EXPECT_FALSE(out.Exists("d/./x"));

  EXPECT_TRUE(Create(out, "./top.txt"));
  EXPECT_TRUE(Create(out, "d/./e/./f.txt"));
  EXPECT_TRUE(fs::is_regular_file(root / "top.txt"));
  EXPECT_TRUE(fs::is_regular_file(root / "d" / "e" / "f.txt"));

  // A path that ends in "." or a separator names a directory: no file is
  // made in its place, whether the directory is there or not.
  for (const char* directory : {"x/.", "x/", "d/.", "d\\", ".", ""}) {
    EXPECT_FALSE(Create(out, directory)) << directory;
  }
  EXPECT_FALSE(fs::exists(root / "x"));
  EXPECT_TRUE(fs::is_directory(root / "d"));
}

}  // namespace
}  // namespace base::platform
