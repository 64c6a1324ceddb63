// Recognition of a zip archive without entries, which minizip cannot open.
#ifndef BASE_ARCHIVE_EMPTY_ARCHIVE_H_
#define BASE_ARCHIVE_EMPTY_ARCHIVE_H_

#include <string>

namespace base {

// True if the file at `path` (UTF-8) is nothing but an end-of-central-directory
// record, with its comment, that lists no entries: what zip tools write for an
// empty archive. minizip does not look for the record at offset 0 and refuses
// such a file.
bool IsEmptyArchive(const std::string& path);

}  // namespace base

#endif  // BASE_ARCHIVE_EMPTY_ARCHIVE_H_
