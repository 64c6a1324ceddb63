// What every backend's files share: writes that go on until every byte is
// written, the test seam that fails them, and what a path below an
// OutputDirectory means: '/' and '\' separate, empty and "." components count
// for nothing, and a path that ends in a separator or in "." names a
// directory, never a file. The backends write and walk (directory_walk.h).
#include "platform/files.h"

#include <atomic>
#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/directory_walk.h"
#include "platform/testing/files_testing.h"

namespace base::platform {
namespace {

std::atomic<bool> g_failWrites{false};

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

bool WriteFileAt(NativeFile file, const void* data, std::size_t size, std::uint64_t offset) {
  if (g_failWrites.load(std::memory_order_relaxed))
    return false;
  const char* bytes = static_cast<const char*>(data);
  while (size > 0) {
    if (offset > static_cast<std::uint64_t>(INT64_MAX))
      return false;
    const std::int64_t written = WriteSystemFileAt(file, bytes, size, offset);
    if (written <= 0)
      return false;
    bytes += written;
    size -= static_cast<std::size_t>(written);
    offset += static_cast<std::uint64_t>(written);
  }
  return true;
}

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

namespace testing {

void FailFileWrites(bool fail) {
  g_failWrites.store(fail, std::memory_order_relaxed);
}

}  // namespace testing
}  // namespace base::platform
