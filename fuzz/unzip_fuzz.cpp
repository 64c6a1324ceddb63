// Unpacks each input as an archive into a fresh directory, and stops the run
// if anything appears beside that directory or a link appears inside it.
#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>

#include "base/unzip.h"

namespace {

namespace fs = std::filesystem;

// <tmp>/unzip_fuzz_XXXXXX/{in.zip, box/out}: only in.zip and box may ever be
// in the top directory, and only out in box.
const fs::path& Workspace() {
  static const fs::path path = [] {
    std::string pattern = (fs::temp_directory_path() / "unzip_fuzz_XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr)
      abort();
    return fs::path(pattern);
  }();
  return path;
}

void CheckConfined(const fs::path& workspace) {
  for (const auto& entry : fs::directory_iterator(workspace)) {
    const std::string name = entry.path().filename().string();
    if (name != "in.zip" && name != "box")
      abort();
  }
  for (const auto& entry : fs::directory_iterator(workspace / "box")) {
    if (entry.path().filename() != "out")
      abort();
  }
  if (!fs::exists(workspace / "box" / "out"))
    return;
  for (const auto& entry : fs::recursive_directory_iterator(workspace / "box" / "out")) {
    if (entry.is_symlink())
      abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fs::path& workspace = Workspace();
  const fs::path archive = workspace / "in.zip";
  std::ofstream(archive, std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  fs::create_directory(workspace / "box");
  Unzip(archive.string(), (workspace / "box" / "out").string());
  CheckConfined(workspace);
  fs::remove_all(workspace / "box");
  return 0;
}
