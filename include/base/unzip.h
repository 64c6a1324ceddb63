// Unpacking of zip archives into a directory.
//
// Unzip writes every entry of `archive` below `target`, in the order of the
// archive's central directory, and stops at the first entry that fails. Paths
// are UTF-8; '/' and '\' both separate. Entries unpacked before a failure stay
// on disk, and so does the partly written file of the entry that failed.
//
// Entry names that contain ".." anywhere are refused. Nothing is created or
// overwritten outside `target`, and nothing is written through a symbolic
// link below it. There is no limit on the size or the number of the files
// written: check archives of unknown origin for size before unpacking them.
//
// Threading: may be called from any thread; calls on different targets may run
// at the same time. Two calls into the same target overwrite each other's
// files. The call blocks until it is done and uses more than 64 KiB of the
// caller's stack.
#ifndef BASE_UNZIP_H_
#define BASE_UNZIP_H_

#include <string>

#include "base/export.h"

// True when every entry of `archive` was unpacked into `target`. `target` need
// not exist; it is made, with its missing parents, when the first entry needs
// it, and an archive without entries creates nothing. The trap: an empty
// `target` is not the current directory but the root of the file system,
// since the target is normalised to end in a separator; pass "." for the
// current directory.
BASE_EXPORT bool Unzip(const std::string& archive, const std::string& target);

#endif  // BASE_UNZIP_H_
