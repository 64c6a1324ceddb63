// Over 4 GiB: an entry that unpacks to more than 4 GiB, then an entry, the
// directory and the end records behind the 4 GiB mark. The archive is sparse
// on disk but the unpacked file is not, so this needs over 4 GiB of free space
// and a minute: it carries the ctest label "large" and is left out of the
// default run.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "base/unzip.h"
#include "zip_builder.h"

namespace base {
namespace {

namespace fs = std::filesystem;
using testing::ZipEntry;

// Writes an archive with its runs of zeros left as holes.
class SparseFileSink {
 public:
  explicit SparseFileSink(const fs::path& path) : out_(path, std::ios::binary) {}
  void Append(const std::string& bytes) {
    out_.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    size_ += bytes.size();
  }
  void Skip(std::uint64_t n) {
    out_.seekp(static_cast<std::streamoff>(n), std::ios::cur);
    size_ += n;
  }
  std::uint64_t Size() const { return size_; }

 private:
  std::ofstream out_;
  std::uint64_t size_ = 0;
};

TEST(UnzipLargeTest, EntryAndArchiveBeyond4GiB) {
  std::string pattern = (fs::temp_directory_path() / "unzip_large_XXXXXX").string();
  ASSERT_NE(mkdtemp(pattern.data()), nullptr);
  const fs::path sandbox = pattern;
  const fs::path archive = sandbox / "large.zip";
  const fs::path target = sandbox / "out";

  constexpr std::uint64_t kBigSize = (std::uint64_t{4} << 30) + 4096;
  ZipEntry big{"big.bin", "head"};
  big.zeros = kBigSize - big.data.size();
  const ZipEntry after{"after.txt", "behind the 4 GiB mark", 8};
  {
    SparseFileSink sink(archive);
    testing::WriteZip({big, after}, "", sink);
  }
  ASSERT_GT(fs::file_size(archive), kBigSize);

  // minizip checks the CRC of each entry once its recorded size is read.
  EXPECT_TRUE(Unzip(archive.string(), target.string()));
  EXPECT_EQ(fs::file_size(target / "big.bin"), kBigSize);
  std::ifstream in(target / "after.txt", std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), after.data);
  fs::remove_all(sandbox);
}

}  // namespace
}  // namespace base
