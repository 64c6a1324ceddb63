// The state behind XmlText::Encoding: one static object made at load and
// destroyed at unload, and the output cell of CPConvert. No lock: the callers
// of the namespace serialise.
#ifndef BASE_ENCODING_CODE_PAGE_TABLES_H_
#define BASE_ENCODING_CODE_PAGE_TABLES_H_

#include <cstdint>
#include <map>
#include <string>

namespace base {

class CodePageTableSet {
 public:
  // Three empty maps, then the two registered names.
  CodePageTableSet();
  CodePageTableSet(const CodePageTableSet&) = delete;
  CodePageTableSet& operator=(const CodePageTableSet&) = delete;
  // Frees every byte map, then the maps go in reverse order of declaration.
  ~CodePageTableSet();

  // The declaration order is the order of construction and, reversed, of
  // destruction; keep it.

  // Default character per page looked at; -1 while the page has none.
  std::map<int, int> defaultChars;
  // Byte map per page looked at, 256 entries from malloc, or null.
  std::map<int, int*> byteMaps;
  // Encoding names in upper case, as 16-bit units, to their page.
  std::map<std::u16string, int> names;
};

// Constructed with the library's other statics, after the two exit lists and
// before the map of running tasks.
extern CodePageTableSet CodePageTables;

// Receives the output of every CPConvert.
extern std::uint16_t scratchChar;

}  // namespace base

#endif  // BASE_ENCODING_CODE_PAGE_TABLES_H_
