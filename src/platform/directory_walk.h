// The walk below an OutputDirectory's root, which each backend provides: how
// it opens the root, descends one component at a time through what it holds
// open, and looks at or creates the last component. What a path means (its
// separators, the components that count) is decided once, in
// files.cpp: no component given here is empty or ".".
#ifndef BASE_PLATFORM_DIRECTORY_WALK_H_
#define BASE_PLATFORM_DIRECTORY_WALK_H_

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files.h"

namespace base::platform {

class DirectoryWalk {
 public:
  virtual ~DirectoryWalk() = default;

  // Opens the root, if not open yet; with `create`, makes it and its missing
  // parents first. Links in the root itself are followed: it is the caller's.
  virtual bool OpenRoot(bool create) = 0;

  // Whether the directory of the first `count` of `parts` could be reached
  // without following a link. With `create`, makes missing directories on the
  // way. The root is open.
  virtual bool Descend(const std::vector<std::string_view>& parts,
                       std::size_t count,
                       bool create) = 0;

  // Whether anything (file, directory or link) is at `parts`, whose parent
  // the last Descend reached.
  virtual bool LeafExists(const std::vector<std::string_view>& parts) = 0;

  // A new empty file at `parts`, whose parent the last Descend reached, that
  // replaces a file or link of that name and never writes through it; or
  // kInvalidFile.
  virtual NativeFile CreateLeaf(const std::vector<std::string_view>& parts) = 0;
};

// The backend's walk below `root`, which is not opened yet.
std::unique_ptr<DirectoryWalk> MakeDirectoryWalk(const std::string& root);

}  // namespace base::platform

#endif  // BASE_PLATFORM_DIRECTORY_WALK_H_
