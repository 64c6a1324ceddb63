// Reads the names a shared library exports, demangled: on ELF the defined,
// global or weak, default-visibility entries of its dynamic symbol table; on
// Windows the names of the DLL's export table.
#ifndef BASE_TESTS_LIBRARY_DYNAMIC_SYMBOLS_H_
#define BASE_TESTS_LIBRARY_DYNAMIC_SYMBOLS_H_

#include <set>
#include <string>

namespace base::testing {

// Empty if `path` is not a readable 64-bit ELF object, or PE image.
std::set<std::string> ExportedSymbols(const std::string& path);

}  // namespace base::testing

#endif  // BASE_TESTS_LIBRARY_DYNAMIC_SYMBOLS_H_
