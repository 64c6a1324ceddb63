// Over 4 GiB: an entry that unpacks to more than 4 GiB, then an entry, the
// directory and the end records behind the 4 GiB mark, also in a 32-bit
// process. The archive is written with its runs of zeros skipped, which the
// file systems of Linux (and Wine on them) leave as holes, but the unpacked
// file is not sparse, so this needs over 4 GiB of free space and a minute or
// more: it carries the ctest label "large" and is left out of the default run.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

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
  const fs::path sandbox =
      fs::temp_directory_path() / ("unzip_large_" + std::to_string(std::random_device()()));
  ASSERT_TRUE(fs::create_directory(sandbox));
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
  EXPECT_TRUE(Unzip(archive.u8string(), target.u8string()));
  EXPECT_EQ(fs::file_size(target / "big.bin"), kBigSize);
  {
    // Closed before the removal, which Windows refuses for an open file.
    std::ifstream in(target / "after.txt", std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), after.data);
  }
  fs::remove_all(sandbox);
}

}  // namespace
}  // namespace base
