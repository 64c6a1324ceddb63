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

}  // namespace base
