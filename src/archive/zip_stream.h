// The file functions through which minizip reads an archive: counterparts of
// its Win32 ones, on the platform's files and under UTF-8 paths.
#ifndef BASE_ARCHIVE_ZIP_STREAM_H_
#define BASE_ARCHIVE_ZIP_STREAM_H_

#include <ioapi.h>

namespace base {

// Fills every function of `table` except the open function, which is the
// caller's to set (normally OpenZipStream). Offsets are 64-bit, so archives
// over 4 GiB are read whole.
void FillZipStreamFunctions(zlib_filefunc64_def* table);

// minizip's open callback. `path` is a UTF-8 string. The two low bits of
// `mode` equal to ZLIB_FILEFUNC_MODE_READ open an existing file for reading;
// otherwise ZLIB_FILEFUNC_MODE_EXISTING opens an existing file for reading and
// writing, and ZLIB_FILEFUNC_MODE_CREATE creates or truncates one. Any other
// mode, a null path or a file that cannot be opened gives null.
//
// `opaque` (the table's) is null, or points to a std::uint64_t at which the
// stream pretends the file ends: a seek to the end lands there, so minizip's
// search for the end record starts there. Reads are not cut off.
voidpf ZCALLBACK OpenZipStream(voidpf opaque, const void* path, int mode);

}  // namespace base

#endif  // BASE_ARCHIVE_ZIP_STREAM_H_
