#include "archive/end_record.h"

#include "platform/files.h"

namespace base {
namespace {

constexpr std::uint32_t kSignature = 0x06054b50;
constexpr std::size_t kRecordSize = 22;
constexpr std::uint32_t kLongestComment = 0xFFFF;
// minizip finds a record that starts at most this far before the end.
constexpr std::uint64_t kSearchReach = 0xFFFF;

std::uint32_t Read16(const unsigned char* p) {
  return p[0] | (p[1] << 8);
}

std::uint32_t Read32(const unsigned char* p) {
  return Read16(p) | (Read16(p + 2) << 16);
}

// The file's size, and reads of whole records at offsets; closes the file.
class RecordReader {
 public:
  explicit RecordReader(const std::string& path)
      : file_(platform::OpenFile(path,
                                 platform::FileAccess::kRead,
                                 platform::FileCreation::kOpenExisting)),
        size_(file_ == platform::kInvalidFile ? -1 : platform::FileSize(file_)) {}
  ~RecordReader() { platform::CloseFile(file_); }
  RecordReader(const RecordReader&) = delete;
  RecordReader& operator=(const RecordReader&) = delete;

  // -1 if the file could not be opened or measured.
  std::int64_t size() const { return size_; }

  bool Read(std::uint64_t offset, unsigned char (&record)[kRecordSize]) const {
    return platform::ReadFileAt(file_, record, kRecordSize, offset) ==
           static_cast<std::int64_t>(kRecordSize);
  }

 private:
  platform::NativeFile file_;
  std::int64_t size_;
};

// Signature, and a comment that fills the rest of a file of `size` bytes
// exactly from `offset`.
bool IsRecordAt(const unsigned char* record, std::uint64_t offset, std::uint64_t size) {
  return Read32(record) == kSignature && offset + kRecordSize + Read16(record + 20) == size;
}

}  // namespace

bool IsEmptyArchive(const std::string& path) {
  const RecordReader reader(path);
  unsigned char record[kRecordSize];
  if (reader.size() < 0 || !reader.Read(0, record))
    return false;
  // This disk and the disk of the directory; entries on this disk and in all;
  // size and offset of the directory.
  return IsRecordAt(record, 0, static_cast<std::uint64_t>(reader.size())) &&
         Read32(record + 4) == 0 && Read32(record + 8) == 0 && Read32(record + 12) == 0 &&
         Read32(record + 16) == 0;
}

std::optional<std::uint64_t> FindEndRecordBeyondSearch(const std::string& path) {
  const RecordReader reader(path);
  if (reader.size() < 0)
    return std::nullopt;
  const auto size = static_cast<std::uint64_t>(reader.size());
  // From the end backwards, as minizip's own search goes: the shortest comment
  // that hides the record first. Offset 0 is an empty archive's.
  for (std::uint64_t comment = kSearchReach - kRecordSize + 1; comment <= kLongestComment;
       ++comment) {
    if (size <= kRecordSize + comment)
      break;
    const std::uint64_t offset = size - kRecordSize - comment;
    unsigned char record[kRecordSize];
    if (reader.Read(offset, record) && IsRecordAt(record, offset, size))
      return offset + kRecordSize;
  }
  return std::nullopt;
}

}  // namespace base
