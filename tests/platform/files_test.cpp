// What a path below an OutputDirectory means, which both backends must agree
// on: the walk itself is tested through Unzip.
#include "platform/files.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <string>

namespace base::platform {
namespace {

namespace fs = std::filesystem;

class FilesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::random_device random;
    for (int tries = 0; tries < 100 && root_.empty(); ++tries) {
      const fs::path candidate =
          fs::temp_directory_path() / ("files_test_" + std::to_string(random()));
      if (fs::create_directory(candidate))
        root_ = candidate;
    }
    ASSERT_FALSE(root_.empty());
  }
  void TearDown() override {
    std::error_code ignored;
    fs::remove_all(root_, ignored);
  }

  // True if a new file could be made at `relative`; it is closed at once.
  bool Create(OutputDirectory& out, const char* relative) {
    const NativeFile file = out.CreateNewFile(relative);
    CloseFile(file);
    return file != kInvalidFile;
  }

  fs::path root_;
};

TEST_F(FilesTest, DotComponentsNameTheDirectoryTheyAreIn) {
  OutputDirectory out(root_.u8string());
  EXPECT_TRUE(out.CreateDirectories("./d/./e/."));
  EXPECT_TRUE(fs::is_directory(root_ / "d" / "e"));
  EXPECT_TRUE(out.Exists("d/./e"));
  EXPECT_TRUE(out.Exists("d\\e\\."));
  EXPECT_TRUE(out.Exists("."));
  EXPECT_FALSE(out.Exists("d/./x"));

  EXPECT_TRUE(Create(out, "./top.txt"));
  EXPECT_TRUE(Create(out, "d/./e/./f.txt"));
  EXPECT_TRUE(fs::is_regular_file(root_ / "top.txt"));
  EXPECT_TRUE(fs::is_regular_file(root_ / "d" / "e" / "f.txt"));

  // A path that ends in "." or a separator names a directory: no file is
  // made in its place, whether the directory is there or not.
  for (const char* directory : {"x/.", "x/", "d/.", "d\\", ".", ""}) {
    EXPECT_FALSE(Create(out, directory)) << directory;
  }
  EXPECT_FALSE(fs::exists(root_ / "x"));
  EXPECT_TRUE(fs::is_directory(root_ / "d"));
}

}  // namespace
}  // namespace base::platform
