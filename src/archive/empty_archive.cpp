#include "archive/empty_archive.h"

#include <cstdint>

#include "platform/files.h"

namespace base {
namespace {

constexpr std::size_t kRecordSize = 22;

std::uint32_t Read16(const unsigned char* p) {
  return p[0] | (p[1] << 8);
}

std::uint32_t Read32(const unsigned char* p) {
  return Read16(p) | (Read16(p + 2) << 16);
}

}  // namespace

bool IsEmptyArchive(const std::string& path) {
  const platform::NativeFile file =
      platform::OpenFile(path, platform::FileAccess::kRead, platform::FileCreation::kOpenExisting);
  if (file == platform::kInvalidFile)
    return false;
  unsigned char record[kRecordSize];
  const std::int64_t size = platform::FileSize(file);
  const std::int64_t read = platform::ReadFileAt(file, record, kRecordSize, 0);
  platform::CloseFile(file);
  if (read != static_cast<std::int64_t>(kRecordSize))
    return false;
  // Signature; this disk and the disk of the directory; entries on this disk
  // and in all; size and offset of the directory; then the comment, which
  // must fill the rest of the file exactly.
  return Read32(record) == 0x06054b50 && Read32(record + 4) == 0 && Read32(record + 8) == 0 &&
         Read32(record + 12) == 0 && Read32(record + 16) == 0 &&
         size == static_cast<std::int64_t>(kRecordSize + Read16(record + 20));
}

}  // namespace base
