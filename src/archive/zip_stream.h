// The file functions through which minizip reads an archive: counterparts of
// its Win32 ones, on the platform's files and under UTF-8 paths.
#ifndef BASE_ARCHIVE_ZIP_STREAM_H_
#define BASE_ARCHIVE_ZIP_STREAM_H_

#include <ioapi.h>

namespace base {

// Fills every function of `table` except the open function, which is the
// caller's to set (normally OpenZipStream).
void FillZipStreamFunctions(zlib_filefunc_def* table);

// minizip's open callback. `path` is UTF-8. The two low bits of `mode` equal to
// ZLIB_FILEFUNC_MODE_READ open an existing file for reading; otherwise
// ZLIB_FILEFUNC_MODE_EXISTING opens an existing file for reading and writing,
// and ZLIB_FILEFUNC_MODE_CREATE creates or truncates one. Any other mode, a
// null path or a file that cannot be opened gives null.
voidpf ZCALLBACK OpenZipStream(voidpf opaque, const char* path, int mode);

}  // namespace base

#endif  // BASE_ARCHIVE_ZIP_STREAM_H_
