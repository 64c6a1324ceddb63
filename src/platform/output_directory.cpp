// What a path below an OutputDirectory means, the same on every backend: '/'
// and '\' separate, empty and "." components count for nothing, and a path
// that ends in a separator or in "." names a directory, never a file. The
// backends walk the components (directory_walk.h).
#include <string_view>
#include <vector>

#include "platform/directory_walk.h"
#include "platform/files.h"

namespace base::platform {
namespace {

bool IsSeparator(char c) {
  return c == '/' || c == '\\';
}

// "." would resolve through the system on posix but stay literal in a "\\?\"
// path on Windows; it names the directory it is in, so it is dropped here.
bool Counts(std::string_view part) {
  return !part.empty() && part != ".";
}

std::vector<std::string_view> SplitPath(std::string_view path) {
  std::vector<std::string_view> parts;
  std::size_t begin = 0;
  while (begin < path.size()) {
    std::size_t end = begin;
    while (end < path.size() && !IsSeparator(path[end]))
      ++end;
    const std::string_view part = path.substr(begin, end - begin);
    if (Counts(part))
      parts.push_back(part);
    begin = end + 1;
  }
  return parts;
}

// Whether the last component of `path` is missing or "."; "d/" and "d/."
// name the directory d.
bool NamesDirectory(std::string_view path) {
  std::size_t last = path.size();
  while (last > 0 && !IsSeparator(path[last - 1]))
    --last;
  return !Counts(path.substr(last));
}

}  // namespace

OutputDirectory::OutputDirectory(const std::string& root) : walk_(MakeDirectoryWalk(root)) {}

OutputDirectory::~OutputDirectory() = default;

bool OutputDirectory::Exists(std::string_view relative) {
  const std::vector<std::string_view> parts = SplitPath(relative);
  if (!walk_->OpenRoot(false))
    return false;
  if (parts.empty())
    return true;
  return walk_->Descend(parts, parts.size() - 1, false) && walk_->LeafExists(parts);
}

bool OutputDirectory::CreateDirectories(std::string_view relative) {
  const std::vector<std::string_view> parts = SplitPath(relative);
  return walk_->OpenRoot(true) && walk_->Descend(parts, parts.size(), true);
}

NativeFile OutputDirectory::CreateNewFile(std::string_view relative) {
  if (NamesDirectory(relative))
    return kInvalidFile;
  const std::vector<std::string_view> parts = SplitPath(relative);
  if (!walk_->OpenRoot(false) || !walk_->Descend(parts, parts.size() - 1, false))
    return kInvalidFile;
  return walk_->CreateLeaf(parts);
}

}  // namespace base::platform
