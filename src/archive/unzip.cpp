// The walk over the entries of an archive. minizip reads and inflates; this
// file decides what each entry becomes on disk, and refuses what minizip would
// get wrong:
//  - an entry whose method is neither stored nor deflate (minizip hands out
//    the raw bytes of any other method as if they were the file);
//  - an encrypted entry (there is no password, so its data would be garbage);
//  - data that end before the size the directory gives (minizip checks the
//    CRC only when the whole size was read).
// Sizes, offsets and the entry count are 64-bit throughout, so zip64 entries
// and archives of any size unpack.
#include "base/unzip.h"

#include <unzip.h>

#include <cstring>
#include <memory>
#include <optional>

#include "archive/end_record.h"
#include "archive/entry_path.h"
#include "archive/zip_stream.h"
#include "platform/files.h"

namespace base {
namespace {

// The name buffer holds 255 bytes of name and a terminating zero that minizip
// never overwrites: longer names are cut at 255 bytes.
constexpr uLong kNameCapacity = 255;
constexpr std::size_t kCopyBufferSize = 65536;
constexpr uLong kStored = 0;
constexpr uLong kEncryptedFlag = 1;

struct ZipCloser {
  void operator()(void* zip) const { unzClose(zip); }
};
using ZipHandle = std::unique_ptr<void, ZipCloser>;

bool IsReadable(const unz_file_info64& info) {
  return (info.compression_method == kStored || info.compression_method == Z_DEFLATED) &&
         (info.flag & kEncryptedFlag) == 0;
}

// `end`, if not null, is where the archive's stream pretends the file ends.
unzFile OpenArchiveEndingAt(const std::string& archive, std::uint64_t* end) {
  zlib_filefunc64_def functions;
  FillZipStreamFunctions(&functions);
  functions.zopen64_file = OpenZipStream;
  functions.opaque = end;
  return unzOpen2_64(archive.c_str(), &functions);
}

// An end record that minizip's search cannot reach (behind a comment of more
// than 65,513 bytes) is handed to it by ending the stream right behind it.
unzFile OpenArchive(const std::string& archive) {
  if (unzFile zip = OpenArchiveEndingAt(archive, nullptr))
    return zip;
  std::optional<std::uint64_t> end = FindEndRecordBeyondSearch(archive);
  return end ? OpenArchiveEndingAt(archive, &*end) : nullptr;
}

// Copies the open entry into `file` and closes both. The entry fails on a read
// error, a failed write, data shorter than `expected`, or a failed closing
// check (the CRC).
bool CopyCurrentEntry(unzFile zip, platform::NativeFile file, ZPOS64_T expected) {
  unsigned char buffer[kCopyBufferSize];
  bool readError = false;
  bool writeError = false;
  std::uint64_t written = 0;
  for (;;) {
    const int n = unzReadCurrentFile(zip, buffer, sizeof buffer);
    if (n < 0) {
      readError = true;
      break;
    }
    if (n == 0)
      break;
    if (!platform::WriteFileAt(file, buffer, static_cast<std::size_t>(n), written)) {
      writeError = true;
      break;
    }
    written += static_cast<std::uint64_t>(n);
  }
  platform::CloseFile(file);
  const int closed = unzCloseCurrentFile(zip);
  return !readError && closed == UNZ_OK && !writeError && written == expected;
}

bool UnpackCurrentEntry(unzFile zip, platform::OutputDirectory& out) {
  char name[kNameCapacity + 1] = {};
  unz_file_info64 info;
  if (unzGetCurrentFileInfo64(zip, &info, name, kNameCapacity, nullptr, 0, nullptr, 0) != UNZ_OK ||
      name[0] == '\0' || !IsReadable(info)) {
    return false;
  }
  if (unzOpenCurrentFile(zip) != UNZ_OK)
    return false;
  const std::string relative = ToPathName(name);
  if (relative.find("..") != std::string::npos)
    return false;

  // Only a final '/' makes a directory; a final '\' is a file name that no
  // file can have, and fails below. The open entry of a directory is left for
  // minizip to close at the next open or at unzClose.
  if (name[std::strlen(name) - 1] == '/')
    return out.Exists(relative) || out.CreateDirectories(relative);

  const std::string_view parent = ParentOf(relative);
  if (!out.Exists(parent) && !out.CreateDirectories(parent))
    return false;
  const platform::NativeFile file = out.CreateNewFile(relative);
  if (file == platform::kInvalidFile)
    return false;
  return CopyCurrentEntry(zip, file, info.uncompressed_size);
}

}  // namespace
}  // namespace base

bool Unzip(const std::string& archive, const std::string& target) {
  const std::string root = base::NormalizeTarget(target);
  base::ZipHandle zip(base::OpenArchive(archive));
  if (!zip)
    return base::IsEmptyArchive(archive);
  unz_global_info64 global;
  if (unzGetGlobalInfo64(zip.get(), &global) != UNZ_OK)
    return false;

  base::platform::OutputDirectory out(root);
  for (ZPOS64_T done = 0; done < global.number_entry;) {
    if (!base::UnpackCurrentEntry(zip.get(), out))
      return false;
    if (++done == global.number_entry)
      break;
    if (unzGoToNextFile(zip.get()) != UNZ_OK)
      return false;
  }
  return true;
}
