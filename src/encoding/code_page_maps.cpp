#include <cstdint>

#include "base/encoding.h"
#include "encoding/code_page_build.h"
#include "encoding/code_page_tables.h"
#include "platform/codepage.h"

namespace XmlText {
namespace Encoding {

namespace {

// The page's entry in `map`, built first if the page is new; after a build,
// successful or not, the page has an entry in both maps. One search when the
// page is known: CPConvert falls back here on every pair that is no
// character, which is every pair of a single-byte page.
template <typename Map>
typename Map::mapped_type FindOrBuild(Map& map, int codePage) {
  auto found = map.find(codePage);
  if (found == map.end()) {
    base::BuildCodePageTables(codePage);
    found = map.find(codePage);
  }
  return found->second;
}

}  // namespace

const int* GetCPMap(int codePage) {
  return FindOrBuild(base::CodePageTables.byteMaps, codePage);
}

int GetCPDefChar(int codePage) {
  return FindOrBuild(base::CodePageTables.defaultChars, codePage);
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
