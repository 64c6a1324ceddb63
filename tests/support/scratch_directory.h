// A fresh directory of its own below the system's temporary directory, for a
// test that writes files; it goes, with everything in it, with the object.
#ifndef BASE_TESTS_SUPPORT_SCRATCH_DIRECTORY_H_
#define BASE_TESTS_SUPPORT_SCRATCH_DIRECTORY_H_

#include <filesystem>
#include <random>
#include <string>
#include <system_error>

namespace base::testing {

class ScratchDirectory {
 public:
  explicit ScratchDirectory(const std::string& prefix) {
    std::random_device random;
    for (int tries = 0; tries < 100 && path_.empty(); ++tries) {
      const std::filesystem::path candidate =
          std::filesystem::temp_directory_path() / (prefix + std::to_string(random()));
      if (std::filesystem::create_directory(candidate))
        path_ = candidate;
    }
  }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;
  // Windows' own path limit may keep the deepest names; they are left.
  ~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  // Empty if no directory could be made.
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace base::testing

#endif  // BASE_TESTS_SUPPORT_SCRATCH_DIRECTORY_H_
