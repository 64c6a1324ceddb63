#include "encoding/code_page_build.h"

#include <cstdint>
#include <cstdlib>

#include "base/encoding.h"
#include "encoding/code_page_tables.h"
#include "platform/codepage.h"

namespace base {
namespace {

constexpr int kMapEntries = 256;

// Marks the lead-byte ranges. The list ends at the first pair with a zero
// byte; a pair whose low byte is above its high byte marks nothing, and the
// walk goes on past it.
void MarkLeadBytes(const std::uint8_t (&cells)[platform::kLeadByteCells], int* map) {
  for (int cell = 0; cell < platform::kLeadByteCells; cell += 2) {
    const int low = cells[cell];
    const int high = cells[cell + 1];
    if (low == 0 || high == 0)
      break;
    for (int byte = low; byte <= high; ++byte)
      map[byte] = XmlText::Encoding::kLeadByte;
  }
}

// Gives every byte that is not a lead byte its character when it converts on
// its own to exactly one UTF-16 unit. At most 256 platform calls, once per page.
void ConvertSingleBytes(std::uint32_t page, int* map) {
  for (int byte = 0; byte < kMapEntries; ++byte) {
    if (map[byte] != XmlText::Encoding::kInvalidByte)
      continue;
    const char input = static_cast<char>(byte);
    std::uint16_t unit = 0;
    if (platform::ConvertToOneUnit(page, &input, 1, unit))
      map[byte] = unit;
  }
}

}  // namespace

bool BuildCodePageTables(int page) {
  CodePageTableSet& tables = CodePageTables;
  if (tables.byteMaps.count(page) != 0)
    return true;
  tables.defaultChars[page] = -1;
  tables.byteMaps[page] = nullptr;

  // Negative pages become numbers no platform knows.
  const auto platformPage = static_cast<std::uint32_t>(page);
  platform::CodePageInfo info;
  if (!platform::QueryCodePageInfo(platformPage, info) || info.maxCharSize > 2)
    return false;
  auto* map = static_cast<int*>(std::malloc(kMapEntries * sizeof(int)));
  if (!map)
    return false;
  tables.byteMaps[page] = map;
  tables.defaultChars[page] = info.unicodeDefaultChar;

  for (int byte = 0; byte < kMapEntries; ++byte)
    map[byte] = XmlText::Encoding::kInvalidByte;
  if (info.maxCharSize > 1)
    MarkLeadBytes(info.leadBytes, map);
  ConvertSingleBytes(platformPage, map);
  return true;
}

}  // namespace base
