// minizip reads headers a byte at a time through these functions, and walks
// the central directory and the local headers in turn, seeking back and forth
// between them. Each stream therefore keeps two small read windows, one that
// follows each of those cursors; reads as large as a window go to the file
// directly, so entry data are not copied twice.
#include "archive/zip_stream.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "platform/files.h"

namespace base {
namespace {

constexpr std::size_t kWindowSize = 8192;
constexpr std::uint64_t kWholeFile = UINT64_MAX;

struct Window {
  std::uint64_t start;
  std::size_t length;
  unsigned char bytes[kWindowSize];
};

// Allocated with malloc by the open callback and freed by the close function.
// The first two fields are those of the Win32 record.
struct ZipStream {
  platform::NativeFile file;
  std::uint32_t error;
  std::uint64_t position;
  std::uint64_t end;  // where a seek to the end lands; kWholeFile for the file's size
  // Where a read last found the end of the data. minizip reads a long field a
  // byte at a time, past the end of a cut file too: without this, each of those
  // bytes would cost a system call.
  std::uint64_t dataEnd;
  Window windows[2];
  int recent;  // the window that served the last read
};

ZipStream* AsStream(voidpf stream) {
  return static_cast<ZipStream*>(stream);
}

Window* WindowAt(ZipStream* s, std::uint64_t position) {
  for (int i = 0; i < 2; ++i) {
    Window& w = s->windows[i];
    if (position >= w.start && position - w.start < w.length) {
      s->recent = i;
      return &w;
    }
  }
  return nullptr;
}

// Reads up to `size` bytes at `position`: the count, 0 at the end of the
// data, -1 on error (which is recorded).
std::int64_t ReadAt(ZipStream* s, void* out, std::size_t size, std::uint64_t position) {
  if (position >= s->dataEnd)
    return 0;
  const std::int64_t n = platform::ReadFileAt(s->file, out, size, position);
  if (n < 0)
    s->error = 1;
  if (n == 0)
    s->dataEnd = position;
  return n;
}

// Loads the window that was not used last at `position`. Null at the end of
// the file or on error.
Window* Refill(ZipStream* s, std::uint64_t position) {
  s->recent ^= 1;
  Window& w = s->windows[s->recent];
  const std::int64_t n = ReadAt(s, w.bytes, kWindowSize, position);
  w.start = position;
  w.length = n > 0 ? static_cast<std::size_t>(n) : 0;
  return n > 0 ? &w : nullptr;
}

uLong ZCALLBACK ReadStream(voidpf, voidpf stream, void* buffer, uLong size) {
  ZipStream* s = AsStream(stream);
  auto* out = static_cast<unsigned char*>(buffer);
  uLong done = 0;
  while (done < size) {
    const uLong wanted = size - done;
    Window* w = WindowAt(s, s->position);
    if (w == nullptr && wanted >= kWindowSize) {
      const std::int64_t n = ReadAt(s, out + done, wanted, s->position);
      if (n <= 0)
        break;
      done += static_cast<uLong>(n);
      s->position += static_cast<std::uint64_t>(n);
      continue;
    }
    if (w == nullptr && (w = Refill(s, s->position)) == nullptr)
      break;
    const std::size_t offset = static_cast<std::size_t>(s->position - w->start);
    const std::size_t count = std::min<std::size_t>(wanted, w->length - offset);
    std::memcpy(out + done, w->bytes + offset, count);
    done += count;
    s->position += count;
  }
  return done;
}

uLong ZCALLBACK WriteStream(voidpf, voidpf stream, const void* data, uLong size) {
  ZipStream* s = AsStream(stream);
  s->windows[0].length = s->windows[1].length = 0;
  s->dataEnd = kWholeFile;
  if (!platform::WriteFileAt(s->file, data, size, s->position)) {
    s->error = 1;
    return 0;
  }
  s->position += size;
  return size;
}

ZPOS64_T ZCALLBACK TellStream(voidpf, voidpf stream) {
  return AsStream(stream)->position;
}

long ZCALLBACK SeekStream(voidpf, voidpf stream, ZPOS64_T offset, int origin) {
  ZipStream* s = AsStream(stream);
  std::uint64_t base;
  switch (origin) {
    case ZLIB_FILEFUNC_SEEK_SET:
      base = 0;
      break;
    case ZLIB_FILEFUNC_SEEK_CUR:
      base = s->position;
      break;
    case ZLIB_FILEFUNC_SEEK_END: {
      if (s->end != kWholeFile) {
        base = s->end;
        break;
      }
      const std::int64_t size = platform::FileSize(s->file);
      if (size < 0)
        return -1;
      base = static_cast<std::uint64_t>(size);
      break;
    }
    default:
      return -1;
  }
  s->position = base + offset;
  return 0;
}

int ZCALLBACK CloseStream(voidpf, voidpf stream) {
  ZipStream* s = AsStream(stream);
  platform::CloseFile(s->file);
  std::free(s);
  return 0;
}

int ZCALLBACK StreamError(voidpf, voidpf stream) {
  return static_cast<int>(AsStream(stream)->error);
}

}  // namespace

void FillZipStreamFunctions(zlib_filefunc64_def* table) {
  table->zopen64_file = nullptr;
  table->zread_file = ReadStream;
  table->zwrite_file = WriteStream;
  table->ztell64_file = TellStream;
  table->zseek64_file = SeekStream;
  table->zclose_file = CloseStream;
  table->zerror_file = StreamError;
  table->opaque = nullptr;
}

voidpf ZCALLBACK OpenZipStream(voidpf opaque, const void* path, int mode) {
  platform::FileAccess access;
  platform::FileCreation creation;
  if ((mode & ZLIB_FILEFUNC_MODE_READWRITEFILTER) == ZLIB_FILEFUNC_MODE_READ) {
    access = platform::FileAccess::kRead;
    creation = platform::FileCreation::kOpenExisting;
  } else if (mode & ZLIB_FILEFUNC_MODE_EXISTING) {
    access = platform::FileAccess::kReadWrite;
    creation = platform::FileCreation::kOpenExisting;
  } else if (mode & ZLIB_FILEFUNC_MODE_CREATE) {
    access = platform::FileAccess::kReadWrite;
    creation = platform::FileCreation::kCreateAlways;
  } else {
    return nullptr;
  }
  if (path == nullptr)
    return nullptr;
  // Paths are UTF-8 bytes end to end here, so the path needs no conversion.
  const platform::NativeFile file =
      platform::OpenFile(static_cast<const char*>(path), access, creation);
  if (file == platform::kInvalidFile)
    return nullptr;
  void* memory = std::malloc(sizeof(ZipStream));
  if (memory == nullptr) {
    platform::CloseFile(file);
    return nullptr;
  }
  auto* s = new (memory) ZipStream;
  s->file = file;
  s->error = 0;
  s->position = 0;
  s->end = opaque != nullptr ? *static_cast<const std::uint64_t*>(opaque) : kWholeFile;
  s->dataEnd = kWholeFile;
  s->windows[0].start = s->windows[1].start = 0;
  s->windows[0].length = s->windows[1].length = 0;
  s->recent = 0;
  return s;
}

}  // namespace base
