// Drives the path arithmetic of unpacking with a caller's target and an
// archive's entry name, and checks what the walk over the entries relies on:
//  - the normal form of the target ends in exactly one place, below which
//    every entry goes, and halves each run of separators rounding up;
//  - the name written to disk is well-formed UTF-8, keeps every ASCII byte
//    of the archive's name in order (so no dot or separator is invented or
//    swallowed), and leaves a well-formed name alone;
//  - a name that passes the ".." refusal has no ".." component, and neither
//    it nor its parent climbs above the target.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "archive/entry_path.h"
#include "fuzz_check.h"

namespace {

// What the entry walk reads into its name buffer: at most 255 bytes.
constexpr std::size_t kNameCapacity = 255;

bool IsSeparator(char c) {
  return c == '/' || c == '\\';
}

// Decodes code point by code point and checks the value's range, rather than
// the byte ranges the conversion uses: two routes to the same verdict.
bool IsWellFormedUtf8(std::string_view s) {
  static const std::uint32_t kMinimum[] = {0, 0, 0x80, 0x800, 0x10000};
  for (std::size_t i = 0; i < s.size();) {
    const auto lead = static_cast<unsigned char>(s[i]);
    const std::size_t length = lead < 0x80       ? 1
                               : lead >> 5 == 6  ? 2
                               : lead >> 4 == 14 ? 3
                               : lead >> 3 == 30 ? 4
                                                 : 0;
    if (length == 0 || i + length > s.size())
      return false;
    std::uint32_t cp = length == 1 ? lead : lead & (0x7F >> length);
    for (std::size_t k = 1; k < length; ++k) {
      const auto trail = static_cast<unsigned char>(s[i + k]);
      if (trail >> 6 != 2)
        return false;
      cp = cp << 6 | (trail & 0x3F);
    }
    if (cp < kMinimum[length] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))
      return false;
    i += length;
  }
  return true;
}

std::string AsciiBytes(std::string_view s) {
  std::string ascii;
  for (char c : s) {
    if (static_cast<unsigned char>(c) < 0x80)
      ascii += c;
  }
  return ascii;
}

// The normal form described by runs: every '/' a '\', one '\' appended, and
// each maximal run of n separators left as n/2 rounded up.
std::string NormalFormByRuns(const std::string& target) {
  const std::string path = target + '\\';
  std::string result;
  for (std::size_t i = 0; i < path.size();) {
    if (!IsSeparator(path[i])) {
      result += path[i++];
      continue;
    }
    std::size_t run = 0;
    while (i < path.size() && IsSeparator(path[i])) {
      ++run;
      ++i;
    }
    result.append((run + 1) / 2, '\\');
  }
  return result;
}

void CheckName(const std::string& name, const std::string& relative) {
  FUZZ_CHECK(relative.find('\0') == std::string::npos);
  FUZZ_CHECK(IsWellFormedUtf8(relative));
  FUZZ_CHECK(AsciiBytes(relative) == AsciiBytes(name));
  if (IsWellFormedUtf8(name))
    FUZZ_CHECK(relative == name);
}

// The depth below the root that `relative` reaches, component by component,
// as a file system resolves it; negative once it climbs above the root.
int LowestDepth(std::string_view relative) {
  int depth = 0;
  int lowest = 0;
  std::size_t begin = 0;
  while (begin <= relative.size()) {
    std::size_t end = begin;
    while (end < relative.size() && !IsSeparator(relative[end]))
      ++end;
    const std::string_view part = relative.substr(begin, end - begin);
    if (part == "..")
      --depth;
    else if (!part.empty() && part != ".")
      ++depth;
    lowest = depth < lowest ? depth : lowest;
    begin = end + 1;
  }
  return lowest;
}

void CheckConfinement(const std::string& root, const std::string& relative) {
  // The walk refuses any name with ".." in it; what passes must resolve below
  // the root.
  if (relative.find("..") != std::string::npos)
    return;
  FUZZ_CHECK(LowestDepth(relative) == 0);
  if (relative.empty())
    return;
  const std::string full = root + relative;
  const std::string_view parent = base::ParentOf(full);
  FUZZ_CHECK(parent.size() >= root.size() &&
             parent.substr(root.size()) == base::ParentOf(relative));
}

void CheckParent(std::string_view path) {
  const std::string_view parent = base::ParentOf(path);
  FUZZ_CHECK(path.substr(0, parent.size()) == parent);
  FUZZ_CHECK(parent.empty() || IsSeparator(parent.back()));
  std::string_view leaf = path.substr(parent.size());
  if (!leaf.empty() && IsSeparator(leaf.back()))
    leaf.remove_suffix(1);
  for (char c : leaf)
    FUZZ_CHECK(!IsSeparator(c));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider fdp(data, size);
  const std::string target =
      fdp.ConsumeBytesAsString(fdp.ConsumeIntegralInRange<std::size_t>(0, 512));
  std::string name = fdp.ConsumeRemainingBytesAsString();
  name = name.substr(0, std::min(name.find('\0'), kNameCapacity));

  const std::string root = base::NormalizeTarget(target);
  const std::string relative = base::ToPathName(name.c_str());
  FUZZ_CHECK(root == NormalFormByRuns(target));
  CheckName(name, relative);
  CheckParent(relative);
  CheckConfinement(root, relative);
  return 0;
}
