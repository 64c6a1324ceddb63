#include <cstdint>

#include "base/encoding.h"
#include "encoding/code_page_build.h"
#include "encoding/code_page_tables.h"
#include "platform/codepage.h"

namespace XmlText {
namespace Encoding {

// After a build, successful or not, the page has an entry in both maps.

const int* GetCPMap(int codePage) {
  auto& maps = base::CodePageTables.byteMaps;
  if (maps.count(codePage) == 0)
    base::BuildCodePageTables(codePage);
  return maps.find(codePage)->second;
}

int GetCPDefChar(int codePage) {
  auto& defaults = base::CodePageTables.defaultChars;
  if (defaults.count(codePage) == 0)
    base::BuildCodePageTables(codePage);
  return defaults.find(codePage)->second;
}

int CPConvert(int codePage, const char* bytes) {
  constexpr int kPairLength = 2;
  if (base::platform::ConvertToOneUnit(static_cast<std::uint32_t>(codePage), bytes, kPairLength,
                                       base::scratchChar))
    return base::scratchChar;
  return GetCPDefChar(codePage);
}

}  // namespace Encoding
}  // namespace XmlText
