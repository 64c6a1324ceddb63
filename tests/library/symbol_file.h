// Reading a binary file's tables, shared by the ELF and PE readers.
#ifndef BASE_TESTS_LIBRARY_SYMBOL_FILE_H_
#define BASE_TESTS_LIBRARY_SYMBOL_FILE_H_

#include <cxxabi.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace base::testing {

inline std::vector<char> ReadWholeFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<char>((std::istreambuf_iterator<char>(in)), {});
}

// False, with `out` untouched, if the file ends before `offset` + sizeof(T).
template <typename T>
bool ReadAt(const std::vector<char>& file, std::size_t offset, T& out) {
  if (offset > file.size() || file.size() - offset < sizeof(T))
    return false;
  std::memcpy(&out, file.data() + offset, sizeof(T));
  return true;
}

// The null-terminated name at `offset`, cut at the end of the file.
inline std::string NameAt(const std::vector<char>& file, std::size_t offset) {
  if (offset >= file.size())
    return std::string();
  return std::string(file.data() + offset, strnlen(file.data() + offset, file.size() - offset));
}

inline std::string Demangle(const std::string& name) {
  int status = 0;
  char* plain = abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status);
  std::string result = status == 0 && plain ? plain : name;
  std::free(plain);
  return result;
}

}  // namespace base::testing

#endif  // BASE_TESTS_LIBRARY_SYMBOL_FILE_H_
