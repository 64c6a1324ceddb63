#include "dynamic_symbols.h"

#include <elf.h>

#include <cstring>
#include <vector>

#include "symbol_file.h"

namespace base::testing {

std::set<std::string> ExportedSymbols(const std::string& path) {
  const std::vector<char> file = ReadWholeFile(path);
  std::set<std::string> names;
  Elf64_Ehdr header;
  if (!ReadAt(file, 0, header) || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
      header.e_ident[EI_CLASS] != ELFCLASS64)
    return names;
  for (unsigned i = 0; i < header.e_shnum; ++i) {
    Elf64_Shdr section, strings;
    if (!ReadAt(file, header.e_shoff + i * sizeof(Elf64_Shdr), section) ||
        section.sh_type != SHT_DYNSYM ||
        !ReadAt(file, header.e_shoff + section.sh_link * sizeof(Elf64_Shdr), strings))
      continue;
    for (std::size_t at = 0; at + sizeof(Elf64_Sym) <= section.sh_size; at += sizeof(Elf64_Sym)) {
      Elf64_Sym symbol;
      if (!ReadAt(file, section.sh_offset + at, symbol))
        break;
      const unsigned binding = ELF64_ST_BIND(symbol.st_info);
      if (symbol.st_shndx == SHN_UNDEF || ELF64_ST_VISIBILITY(symbol.st_other) != STV_DEFAULT ||
          (binding != STB_GLOBAL && binding != STB_WEAK) || symbol.st_name >= strings.sh_size ||
          strings.sh_offset + symbol.st_name >= file.size())
        continue;
      const std::string name = NameAt(file, strings.sh_offset + symbol.st_name);
      if (!name.empty())
        names.insert(Demangle(name));
    }
  }
  return names;
}

}  // namespace base::testing
