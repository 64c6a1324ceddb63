// Drives a fuzz target's entry point over every file of the seed directories
// named on the command line, without libFuzzer, so that the unit-test suites
// replay the seeds. A target reports a broken invariant by aborting, which
// fails the test; a directory without a single seed fails it too, so a
// misplaced corpus cannot pass as an empty one.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

std::vector<std::uint8_t> ReadAll(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), {});
}

// The seeds of `directory` in name order, so that a failure is reproducible.
std::vector<fs::path> Seeds(const fs::path& directory) {
  std::vector<fs::path> seeds;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(directory, error)) {
    if (entry.is_regular_file())
      seeds.push_back(entry.path());
  }
  std::sort(seeds.begin(), seeds.end());
  return seeds;
}

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const std::vector<fs::path> seeds = Seeds(argv[i]);
    if (seeds.empty()) {
      std::fprintf(stderr, "no seeds in %s\n", argv[i]);
      return 1;
    }
    for (const fs::path& seed : seeds) {
      // Printed first: an abort inside the target leaves this as the last line.
      std::fprintf(stderr, "%s\r", seed.filename().string().c_str());
      const std::vector<std::uint8_t> bytes = ReadAll(seed);
      LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    std::printf("%zu seeds of %s replayed\n", seeds.size(), argv[i]);
  }
  return argc > 1 ? 0 : 1;
}
