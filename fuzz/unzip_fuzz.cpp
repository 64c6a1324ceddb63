// Unpacks each input as an archive into a scratch directory, and stops the run
// if anything appears beside that directory or a link appears inside it.
//
// Speed is the file system's: the scratch tree lives in memory (/dev/shm when
// there is one), is made once per process and is emptied, not remade, between
// inputs.
#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>

#include "base/unzip.h"

namespace {

namespace fs = std::filesystem;

fs::path ScratchParent() {
  std::error_code error;
  if (fs::is_directory("/dev/shm", error))
    return "/dev/shm";
  return fs::temp_directory_path();
}

// <scratch>/unzip_fuzz_XXXXXX/{in.zip, box/out}: only in.zip and box may ever
// be in the top directory, and only out in box. Removed when the run ends
// normally; a crash leaves it for inspection.
class Workspace {
 public:
  Workspace() {
    std::string pattern = (ScratchParent() / "unzip_fuzz_XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr)
      abort();
    top_ = pattern;
    fs::create_directory(Box());
  }
  ~Workspace() {
    std::error_code error;
    fs::remove_all(top_, error);
  }

  fs::path Archive() const { return top_ / "in.zip"; }
  fs::path Box() const { return top_ / "box"; }
  fs::path Target() const { return Box() / "out"; }

  void CheckConfined() const {
    for (const auto& entry : fs::directory_iterator(top_)) {
      if (entry.path() != Archive() && entry.path() != Box())
        abort();
    }
    for (const auto& entry : fs::directory_iterator(Box())) {
      if (entry.path() != Target())
        abort();
    }
    if (!fs::exists(Target()))
      return;
    for (const auto& entry : fs::recursive_directory_iterator(Target())) {
      if (entry.is_symlink())
        abort();
    }
  }

  // Leaves box empty for the next input.
  void Clear() const { fs::remove_all(Target()); }

 private:
  fs::path top_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Workspace workspace;
  std::ofstream(workspace.Archive(), std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  Unzip(workspace.Archive().string(), workspace.Target().string());
  workspace.CheckConfined();
  workspace.Clear();
  return 0;
}
