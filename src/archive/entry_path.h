// The path arithmetic of unpacking, on UTF-8 bytes: the target's normal form,
// the name under which an entry is written, and the parent of a path.
#ifndef BASE_ARCHIVE_ENTRY_PATH_H_
#define BASE_ARCHIVE_ENTRY_PATH_H_

#include <string>
#include <string_view>

namespace base {

// `target` with one backslash appended, every '/' turned into '\', and every
// pair of backslashes made one in a single forward walk: a run of n
// backslashes ends as n/2 rounded up. "dir", "dir/" and "dir\" all give "dir\".
std::string NormalizeTarget(const std::string& target);

// An entry name as it is written to disk: the UTF-8 bytes of `name`, with each
// ill-formed sequence replaced by U+FFFD, as a conversion to UTF-16 and back
// would give. A null `name` gives "".
std::string ToPathName(const char* name);

// The parent of `path`, up to and including its last separator ('/' or '\'),
// not counting a separator in the last place. "" when there is none.
std::string_view ParentOf(std::string_view path);

}  // namespace base

#endif  // BASE_ARCHIVE_ENTRY_PATH_H_
