#include "archive/entry_path.h"

#include <algorithm>

namespace base {
namespace {

bool IsSeparator(char c) {
  return c == '/' || c == '\\';
}

// The number of bytes of the well-formed sequence at `p`, or, when it is
// ill-formed, the negated length of its longest well-formed prefix (at least 1),
// which is what one U+FFFD replaces.
int MeasureSequence(const unsigned char* p) {
  const unsigned char lead = p[0];
  if (lead < 0x80)
    return 1;
  int trail;
  unsigned char low = 0x80;
  unsigned char high = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) {
    trail = 1;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    trail = 2;
    if (lead == 0xE0)
      low = 0xA0;  // overlong
    if (lead == 0xED)
      high = 0x9F;  // surrogates
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    trail = 3;
    if (lead == 0xF0)
      low = 0x90;  // overlong
    if (lead == 0xF4)
      high = 0x8F;  // above U+10FFFF
  } else {
    return -1;
  }
  // A terminating zero is below 0x80 and ends the scan, so this never reads
  // past the end of the string.
  for (int i = 1; i <= trail; ++i) {
    if (p[i] < low || p[i] > high)
      return -i;
    low = 0x80;
    high = 0xBF;
  }
  return trail + 1;
}

}  // namespace

std::string NormalizeTarget(const std::string& target) {
  std::string path = target + '\\';
  std::replace(path.begin(), path.end(), '/', '\\');
  std::string result;
  result.reserve(path.size());
  for (std::size_t i = 0; i < path.size(); ++i) {
    result += path[i];
    if (path[i] == '\\' && i + 1 < path.size() && path[i + 1] == '\\')
      ++i;
  }
  return result;
}

std::string ToPathName(const char* name) {
  std::string result;
  if (name == nullptr)
    return result;
  const auto* p = reinterpret_cast<const unsigned char*>(name);
  while (*p != 0) {
    const int length = MeasureSequence(p);
    if (length > 0)
      result.append(reinterpret_cast<const char*>(p), static_cast<std::size_t>(length));
    else
      result += "\xEF\xBF\xBD";
    p += length > 0 ? length : -length;
  }
  return result;
}

std::string_view ParentOf(std::string_view path) {
  std::size_t end = path.size();
  if (end > 0 && IsSeparator(path[end - 1]))
    --end;
  while (end > 0 && !IsSeparator(path[end - 1]))
    --end;
  return path.substr(0, end);
}

}  // namespace base
