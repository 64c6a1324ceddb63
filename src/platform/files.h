// Files and directories under UTF-8 paths: the counterparts of the Windows file
// calls that zip extraction needs (opening a file, positioned reads and writes,
// "does this path exist", "create this directory and its missing parents").
//
// Paths are UTF-8 byte strings. '/' is the separator, and '\' is accepted as a
// separator too, so that paths written on Windows behave the same here.
//
// Threading: every function may be called from any thread. An OutputDirectory
// belongs to one thread at a time.
#ifndef BASE_PLATFORM_FILES_H_
#define BASE_PLATFORM_FILES_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace base::platform {

class DirectoryWalk;

// An open file. kInvalidFile is never a valid one.
using NativeFile = std::intptr_t;
inline constexpr NativeFile kInvalidFile = -1;

enum class FileAccess { kRead, kReadWrite };
enum class FileCreation {
  kOpenExisting,  // fails if the file is not there
  kCreateAlways,  // creates the file, or truncates an existing one
};

// Opens `path`. Returns kInvalidFile on failure. There is no share mode: other
// openers are never locked out.
[[nodiscard]] NativeFile OpenFile(const std::string& path,
                                  FileAccess access,
                                  FileCreation creation);

// Reads up to `size` bytes at `offset`. Returns the count read, 0 at the end of
// the file, -1 on error.
[[nodiscard]] std::int64_t ReadFileAt(NativeFile file,
                                      void* buffer,
                                      std::size_t size,
                                      std::uint64_t offset);

// Writes all `size` bytes at `offset`; false if any of them could not be
// written.
[[nodiscard]] bool WriteFileAt(NativeFile file,
                               const void* data,
                               std::size_t size,
                               std::uint64_t offset);

// The system's own write, which each backend provides: writes some of `size`
// bytes at `offset` (at least one unless it fails) and returns the count, or
// -1. WriteFileAt calls it until every byte is written.
[[nodiscard]] std::int64_t WriteSystemFileAt(NativeFile file,
                                             const void* data,
                                             std::size_t size,
                                             std::uint64_t offset);

// The size of the file in bytes, or -1 on error.
[[nodiscard]] std::int64_t FileSize(NativeFile file);

// Accepts kInvalidFile.
void CloseFile(NativeFile file);

// A directory tree that is written below one root and never outside it.
//
// The root path is the caller's and is taken as it is, symbolic links
// included; it need not exist until something is created in it. Below the
// root, paths are relative: leading separators count for nothing, so "/etc"
// is "<root>/etc", and so do "." components, so "a/./b" is "a/b". No symbolic
// link is ever followed: a path that runs through one, or ends at one, is not
// a directory and is never written through. Relative paths must not contain
// ".." components; callers refuse those before they get here.
//
// Directories opened on the way are kept open for the next call, so that
// entries of the same folder cost one system call each, not one per path
// component.
class OutputDirectory {
 public:
  explicit OutputDirectory(const std::string& root);
  ~OutputDirectory();
  OutputDirectory(const OutputDirectory&) = delete;
  OutputDirectory& operator=(const OutputDirectory&) = delete;

  // Whether something (file, directory or link) is at `relative`. "" is the
  // root itself.
  bool Exists(std::string_view relative);

  // Creates the directory `relative` with all its missing parents, the root
  // included. True if it exists as a directory afterwards.
  bool CreateDirectories(std::string_view relative);

  // Creates `relative` as a new empty file for writing, in a parent directory
  // that must exist. An existing file or link of that name is removed first
  // and never written to, so that a hard or symbolic link cannot carry the
  // write elsewhere. A path that ends in a separator or in a "." component
  // names a directory, not a file, and fails.
  // Returns kInvalidFile on failure; the caller closes the result. (Not
  // called CreateFile: <windows.h> makes that name a macro.)
  NativeFile CreateNewFile(std::string_view relative);

 private:
  std::unique_ptr<DirectoryWalk> walk_;  // the backend's
};

}  // namespace base::platform

#endif  // BASE_PLATFORM_FILES_H_
