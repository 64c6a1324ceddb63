// Files under UTF-8 paths on posix. Paths are bytes already; the only
// translation is '\' to '/'.
//
// OutputDirectory walks every path below its root one component at a time with
// openat(O_NOFOLLOW), holding an O_PATH descriptor of each directory on the way.
// A symbolic link, wherever it sits below the root, therefore ends the walk
// instead of redirecting it, and another process that swaps a directory for a
// link between two calls gains nothing: the descriptors already held keep
// naming the directories that were checked.
#include "platform/files.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include "platform/directory_chain.h"
#include "platform/directory_walk.h"

namespace base::platform {
namespace {

std::string ToPosixPath(std::string_view path) {
  std::string result(path);
  std::replace(result.begin(), result.end(), '\\', '/');
  return result;
}

int OpenDirectoryAt(int parent, const std::string& name) {
  return openat(parent, name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

void CloseDescriptor(int fd) {
  if (fd >= 0)
    close(fd);
}

// mkdir -p for the caller's own root: links in it are followed, and failures of
// single steps are left to the open that follows.
void MakeRootDirectories(const std::string& root) {
  for (std::size_t i = 1; i < root.size(); ++i) {
    if (root[i] == '/' && root[i - 1] != '/')
      mkdir(root.substr(0, i).c_str(), 0777);
  }
  mkdir(root.c_str(), 0777);
}

}  // namespace

NativeFile OpenFile(const std::string& path, FileAccess access, FileCreation creation) {
  int flags = O_CLOEXEC | (access == FileAccess::kRead ? O_RDONLY : O_RDWR);
  if (creation == FileCreation::kCreateAlways)
    flags |= O_CREAT | O_TRUNC;
  const int fd = open(ToPosixPath(path).c_str(), flags, 0666);
  return fd < 0 ? kInvalidFile : fd;
}

std::int64_t ReadFileAt(NativeFile file, void* buffer, std::size_t size, std::uint64_t offset) {
  if (offset > static_cast<std::uint64_t>(INT64_MAX))
    return -1;
  ssize_t n;
  do {
    n = pread(static_cast<int>(file), buffer, size, static_cast<off_t>(offset));
  } while (n < 0 && errno == EINTR);
  return n;
}

std::int64_t WriteSystemFileAt(NativeFile file,
                               const void* data,
                               std::size_t size,
                               std::uint64_t offset) {
  ssize_t n;
  do {
    n = pwrite(static_cast<int>(file), data, size, static_cast<off_t>(offset));
  } while (n < 0 && errno == EINTR);
  return n;
}

std::int64_t FileSize(NativeFile file) {
  struct stat info;
  if (fstat(static_cast<int>(file), &info) != 0)
    return -1;
  return info.st_size;
}

void CloseFile(NativeFile file) {
  if (file != kInvalidFile)
    close(static_cast<int>(file));
}

namespace {

class PosixDirectoryWalk final : public DirectoryWalk {
 public:
  explicit PosixDirectoryWalk(const std::string& root) : root_(ToPosixPath(root)) {}
  ~PosixDirectoryWalk() override { CloseDescriptor(rootFd_); }

  bool OpenRoot(bool create) override {
    if (rootFd_ >= 0)
      return true;
    rootFd_ = open(root_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (rootFd_ < 0 && create) {
      MakeRootDirectories(root_);
      rootFd_ = open(root_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    }
    return rootFd_ >= 0;
  }

  // On failure errno tells why the last directory could not be opened.
  bool Descend(const std::vector<std::string_view>& parts,
               std::size_t count,
               bool create) override {
    return chain_.Walk(parts, count, [&](std::size_t depth, std::string_view part) {
      const int parent = At(depth);
      const std::string name(part);
      int fd = OpenDirectoryAt(parent, name);
      if (fd < 0 && errno == ENOENT && create) {
        if (mkdirat(parent, name.c_str(), 0777) == 0 || errno == EEXIST)
          fd = OpenDirectoryAt(parent, name);
      }
      return fd < 0 ? std::nullopt : std::optional<int>(fd);
    });
  }

  // The last component is opened as a directory, which the next call is likely
  // to want; failing that, anything but "not there" means something is there.
  bool LeafExists(const std::vector<std::string_view>& parts) override {
    return Descend(parts, parts.size(), false) || errno != ENOENT;
  }

  NativeFile CreateLeaf(const std::vector<std::string_view>& parts) override {
    const int parent = At(parts.size() - 1);
    const std::string leaf(parts.back());
    constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    int fd = openat(parent, leaf.c_str(), kFlags, 0666);
    // Replace, never reuse: unlinking drops a link or a hard-linked name without
    // touching what it points to. A directory of that name stays and fails.
    if (fd < 0 && errno == EEXIST && unlinkat(parent, leaf.c_str(), 0) == 0)
      fd = openat(parent, leaf.c_str(), kFlags, 0666);
    return fd < 0 ? kInvalidFile : fd;
  }

 private:
  int At(std::size_t depth) const { return depth == 0 ? rootFd_ : chain_.At(depth); }

  const std::string root_;
  int rootFd_ = -1;
  // An O_PATH descriptor of each directory below the root on the last walk.
  DirectoryChain<int, CloseDescriptor> chain_;
};

}  // namespace

std::unique_ptr<DirectoryWalk> MakeDirectoryWalk(const std::string& root) {
  return std::make_unique<PosixDirectoryWalk>(root);
}

}  // namespace base::platform
