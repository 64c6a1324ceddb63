#include "encoding/code_page_tables.h"

#include <cstdlib>

namespace base {

CodePageTableSet::CodePageTableSet() {
  names.emplace(u"GBK", 936);
  names.emplace(u"GB2312", 936);
}

CodePageTableSet::~CodePageTableSet() {
  for (auto& entry : byteMaps) {
    std::free(entry.second);
    entry.second = nullptr;
  }
  byteMaps.clear();
}

// Both definitions may move into the one file that fixes the order of all the
// library's statics; nothing here depends on where they live.
CodePageTableSet CodePageTables;
std::uint16_t scratchChar = 0;

}  // namespace base
