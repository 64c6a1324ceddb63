// The archive's end record, where minizip cannot find it.
//
// minizip looks for the end record only in the last 65,535 bytes of the file,
// and never at offset 0. An archive without entries (the record alone, at 0)
// and an archive whose comment is longer than 65,513 bytes (the 22-byte record
// then starts further back) are valid, yet minizip refuses to open them.
#ifndef BASE_ARCHIVE_END_RECORD_H_
#define BASE_ARCHIVE_END_RECORD_H_

#include <cstdint>
#include <optional>
#include <string>

namespace base {

// True if the file at `path` (UTF-8) is nothing but an end record, with its
// comment, that lists no entries: what zip tools write for an empty archive.
bool IsEmptyArchive(const std::string& path);

// The offset just behind the fixed part of an end record that lies beyond
// minizip's search, found from the end of the file: the record whose comment
// length reaches the end of the file exactly. Nothing if there is none.
std::optional<std::uint64_t> FindEndRecordBeyondSearch(const std::string& path);

}  // namespace base

#endif  // BASE_ARCHIVE_END_RECORD_H_
