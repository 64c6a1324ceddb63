#include "dynamic_symbols.h"

#include <windows.h>

#include <cstdint>
#include <vector>

#include "symbol_file.h"

namespace base::testing {
namespace {

// The export directory's place in the optional header, PE32 or PE32+.
bool ExportDirectory(const std::vector<char>& file,
                     std::size_t optionalHeader,
                     IMAGE_DATA_DIRECTORY& exports) {
  WORD magic = 0;
  if (!ReadAt(file, optionalHeader, magic))
    return false;
  if (magic == IMAGE_NT_OPTIONAL_HDR64_MAGIC) {
    IMAGE_OPTIONAL_HEADER64 header;
    if (!ReadAt(file, optionalHeader, header))
      return false;
    exports = header.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
    return true;
  }
  IMAGE_OPTIONAL_HEADER32 header;
  if (magic != IMAGE_NT_OPTIONAL_HDR32_MAGIC || !ReadAt(file, optionalHeader, header))
    return false;
  exports = header.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
  return true;
}

// Maps a relative virtual address to its offset in the file, through the
// section that holds it; 0 if none does.
class Sections {
 public:
  Sections(const std::vector<char>& file, std::size_t first, unsigned count) {
    IMAGE_SECTION_HEADER section;
    for (unsigned i = 0; i < count && ReadAt(file, first + i * sizeof(section), section); ++i)
      sections_.push_back(section);
  }

  std::size_t FileOffset(DWORD rva) const {
    for (const IMAGE_SECTION_HEADER& section : sections_) {
      if (rva >= section.VirtualAddress && rva - section.VirtualAddress < section.SizeOfRawData)
        return section.PointerToRawData + (rva - section.VirtualAddress);
    }
    return 0;
  }

 private:
  std::vector<IMAGE_SECTION_HEADER> sections_;
};

}  // namespace

std::set<std::string> ExportedSymbols(const std::string& path) {
  const std::vector<char> file = ReadWholeFile(path);
  std::set<std::string> names;
  IMAGE_DOS_HEADER dos;
  DWORD signature = 0;
  IMAGE_FILE_HEADER header;
  if (!ReadAt(file, 0, dos) || dos.e_magic != IMAGE_DOS_SIGNATURE ||
      !ReadAt(file, dos.e_lfanew, signature) || signature != IMAGE_NT_SIGNATURE ||
      !ReadAt(file, dos.e_lfanew + sizeof(signature), header))
    return names;
  const std::size_t optionalHeader = dos.e_lfanew + sizeof(signature) + sizeof(header);
  IMAGE_DATA_DIRECTORY exports;
  if (!ExportDirectory(file, optionalHeader, exports) || exports.VirtualAddress == 0)
    return names;
  const Sections sections(file, optionalHeader + header.SizeOfOptionalHeader,
                          header.NumberOfSections);
  IMAGE_EXPORT_DIRECTORY directory;
  if (!ReadAt(file, sections.FileOffset(exports.VirtualAddress), directory))
    return names;
  const std::size_t nameTable = sections.FileOffset(directory.AddressOfNames);
  for (DWORD i = 0; i < directory.NumberOfNames; ++i) {
    DWORD nameRva = 0;
    if (!ReadAt(file, nameTable + i * sizeof(nameRva), nameRva))
      break;
    const std::string name = NameAt(file, sections.FileOffset(nameRva));
    if (!name.empty())
      names.insert(Demangle(name));
  }
  return names;
}

}  // namespace base::testing
