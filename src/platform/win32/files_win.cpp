// Files under UTF-8 paths on Windows: the bytes become UTF-16 through
// MultiByteToWideChar(CP_UTF8), and the system's file calls do the rest.
//
// OutputDirectory turns its root into a full path of the "\\?\" form, so that
// below the root every name is taken literally: no length limit of 260, no
// device names (an entry "CON" is a file), no trailing dots or spaces
// dropped. Names with a colon, which would name a stream, are refused. It walks below the root one
// component at a time and holds a handle of each directory on the way, opened without following a
// reparse point (a symbolic link or a junction) and without sharing deletion. A reparse point below
// the root therefore ends the walk instead of redirecting it, and while the handles are held no
// other process can rename or replace the directories that were checked, so the full paths built on
// them keep meaning what was checked.
#include "platform/files.h"

#include <windows.h>
// After <windows.h>, which it needs.
#include <shlobj.h>

#include <algorithm>
#include <climits>
#include <optional>
#include <vector>

#include "platform/directory_chain.h"
#include "platform/directory_walk.h"

namespace base::platform {
namespace {

// ReadFile and WriteFile count in DWORDs; larger requests go in pieces.
constexpr std::size_t kLargestTransfer = 1u << 30;

HANDLE ToSystem(NativeFile file) {
  return reinterpret_cast<HANDLE>(file);
}

std::wstring Widen(std::string_view utf8) {
  if (utf8.empty() || utf8.size() > INT_MAX)
    return std::wstring();
  const int length = static_cast<int>(utf8.size());
  const int units = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(units), L'\0');
  if (units > 0)
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, wide.data(), units);
  return wide;
}

// A colon in a name would open a stream of the file before it, or read as a
// drive: such a name is refused rather than taken for something else.
bool IsPlainName(std::string_view name) {
  return name.find(':') == std::string_view::npos;
}

// The caller's root as a full path, without a final separator (a drive's root
// keeps its own).
std::wstring FullPath(const std::string& root) {
  const std::wstring wide = Widen(root.empty() ? std::string(".") : root);
  const DWORD size = GetFullPathNameW(wide.c_str(), 0, nullptr, nullptr);
  if (size == 0)
    return std::wstring();
  std::wstring full(size, L'\0');
  const DWORD written = GetFullPathNameW(wide.c_str(), size, full.data(), nullptr);
  full.resize(written);
  while (full.size() > 3 && full.back() == L'\\')
    full.pop_back();
  return full;
}

// "C:\dir" as "\\?\C:\dir", "\\server\share" as "\\?\UNC\server\share".
std::wstring Literal(const std::wstring& full) {
  if (full.rfind(L"\\\\?\\", 0) == 0)
    return full;
  if (full.rfind(L"\\\\", 0) == 0)
    return L"\\\\?\\UNC\\" + full.substr(2);
  return L"\\\\?\\" + full;
}

// A handle that pins a directory: its attributes may be read, nothing else,
// and nobody may rename or delete it while the handle is open. With
// `literalLink`, a reparse point is opened as itself and refused.
HANDLE OpenDirectory(const std::wstring& path, bool literalLink) {
  const DWORD flags = FILE_FLAG_BACKUP_SEMANTICS | (literalLink ? FILE_FLAG_OPEN_REPARSE_POINT : 0);
  const HANDLE directory =
      CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                  OPEN_EXISTING, flags, nullptr);
  if (directory == INVALID_HANDLE_VALUE)
    return directory;
  BY_HANDLE_FILE_INFORMATION info;
  const bool isPlainDirectory = GetFileInformationByHandle(directory, &info) &&
                                (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) &&
                                !(info.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT);
  if (!isPlainDirectory) {
    CloseHandle(directory);
    return INVALID_HANDLE_VALUE;
  }
  return directory;
}

// What PathFileExistsW answers, without its library: the attributes of the
// last name itself, so a link there counts as something wherever it points.
bool PathExists(const std::wstring& path) {
  return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

void CloseDirectory(HANDLE directory) {
  if (directory != INVALID_HANDLE_VALUE)
    CloseHandle(directory);
}

}  // namespace

NativeFile OpenFile(const std::string& path, FileAccess access, FileCreation creation) {
  const DWORD desired = access == FileAccess::kRead ? GENERIC_READ : GENERIC_READ | GENERIC_WRITE;
  const DWORD disposition = creation == FileCreation::kCreateAlways ? CREATE_ALWAYS : OPEN_EXISTING;
  const HANDLE file = CreateFileW(Widen(path).c_str(), desired, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                  nullptr, disposition, 0, nullptr);
  return reinterpret_cast<NativeFile>(file);
}

std::int64_t ReadFileAt(NativeFile file, void* buffer, std::size_t size, std::uint64_t offset) {
  if (offset > static_cast<std::uint64_t>(INT64_MAX))
    return -1;
  OVERLAPPED at = {};
  at.Offset = static_cast<DWORD>(offset);
  at.OffsetHigh = static_cast<DWORD>(offset >> 32);
  DWORD read = 0;
  if (ReadFile(ToSystem(file), buffer, static_cast<DWORD>(std::min(size, kLargestTransfer)), &read,
               &at))
    return read;
  return GetLastError() == ERROR_HANDLE_EOF ? 0 : -1;
}

std::int64_t WriteSystemFileAt(NativeFile file,
                               const void* data,
                               std::size_t size,
                               std::uint64_t offset) {
  OVERLAPPED at = {};
  at.Offset = static_cast<DWORD>(offset);
  at.OffsetHigh = static_cast<DWORD>(offset >> 32);
  DWORD written = 0;
  if (!WriteFile(ToSystem(file), data, static_cast<DWORD>(std::min(size, kLargestTransfer)),
                 &written, &at))
    return -1;
  return written;
}

std::int64_t FileSize(NativeFile file) {
  LARGE_INTEGER size;
  return GetFileSizeEx(ToSystem(file), &size) ? size.QuadPart : -1;
}

void CloseFile(NativeFile file) {
  if (file != kInvalidFile)
    CloseHandle(ToSystem(file));
}

namespace {

// A directory below the root, pinned by its handle, and its full path.
struct OpenedDirectory {
  std::wstring path;
  HANDLE handle;
};

void CloseOpened(const OpenedDirectory& directory) {
  CloseDirectory(directory.handle);
}

class WindowsDirectoryWalk final : public DirectoryWalk {
 public:
  explicit WindowsDirectoryWalk(const std::string& root) : root_(root) {}
  ~WindowsDirectoryWalk() override { CloseDirectory(rootHandle_); }

  // The root is made with its missing parents the way the shell makes
  // directories.
  bool OpenRoot(bool create) override {
    if (rootHandle_ != INVALID_HANDLE_VALUE)
      return true;
    const std::wstring full = FullPath(root_);
    if (full.empty())
      return false;
    if (create && !PathExists(full))
      SHCreateDirectoryExW(nullptr, full.c_str(), nullptr);
    rootPath_ = Literal(full);
    rootHandle_ = OpenDirectory(rootPath_, false);
    return rootHandle_ != INVALID_HANDLE_VALUE;
  }

  bool Descend(const std::vector<std::string_view>& parts,
               std::size_t count,
               bool create) override {
    return chain_.Walk(parts, count, [&](std::size_t depth, std::string_view name) {
      std::optional<OpenedDirectory> opened;
      if (!IsPlainName(name))
        return opened;
      std::wstring path = PathAt(depth) + L'\\' + Widen(name);
      HANDLE directory = OpenDirectory(path, true);
      if (directory == INVALID_HANDLE_VALUE && create && !PathExists(path)) {
        if (CreateDirectoryW(path.c_str(), nullptr) || GetLastError() == ERROR_ALREADY_EXISTS)
          directory = OpenDirectory(path, true);
      }
      if (directory != INVALID_HANDLE_VALUE)
        opened = OpenedDirectory{std::move(path), directory};
      return opened;
    });
  }

  bool LeafExists(const std::vector<std::string_view>& parts) override {
    return PathExists(LeafPath(parts));
  }

  NativeFile CreateLeaf(const std::vector<std::string_view>& parts) override {
    if (!IsPlainName(parts.back()))
      return kInvalidFile;
    const std::wstring path = LeafPath(parts);
    auto create = [&] {
      return CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                         CREATE_NEW, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    };
    HANDLE file = create();
    // Replace, never reuse: deleting drops a link or a hard-linked name without
    // touching what it points to. A directory of that name stays and fails.
    if (file == INVALID_HANDLE_VALUE && GetLastError() == ERROR_FILE_EXISTS &&
        DeleteFileW(path.c_str()))
      file = create();
    return reinterpret_cast<NativeFile>(file);
  }

 private:
  const std::wstring& PathAt(std::size_t depth) const {
    return depth == 0 ? rootPath_ : chain_.At(depth).path;
  }

  std::wstring LeafPath(const std::vector<std::string_view>& parts) const {
    return PathAt(parts.size() - 1) + L'\\' + Widen(parts.back());
  }

  const std::string root_;
  std::wstring rootPath_;  // "\\?\" form; empty until the root is opened
  HANDLE rootHandle_ = INVALID_HANDLE_VALUE;
  DirectoryChain<OpenedDirectory, CloseOpened> chain_;
};

}  // namespace

std::unique_ptr<DirectoryWalk> MakeDirectoryWalk(const std::string& root) {
  return std::make_unique<WindowsDirectoryWalk>(root);
}

}  // namespace base::platform
