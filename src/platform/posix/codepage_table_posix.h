// Byte maps of the single-byte pages that no conversion library on the system
// has in Microsoft's edition, generated once from Wine's NLS files
// (scripts/wine-codepage-tables.pl, output committed as
// codepage_wine_tables_posix.cpp).
// Posix-private.
#ifndef BASE_PLATFORM_POSIX_CODEPAGE_TABLE_POSIX_H_
#define BASE_PLATFORM_POSIX_CODEPAGE_TABLE_POSIX_H_

#include <cstdint>

#include "platform/posix/codepage_decoder_posix.h"

namespace base::platform {

struct NamedByteTable {
  // The NLS file's name without its extension (c_NNNN).
  const char* name;
  // The UTF-16 unit of each byte, or -1 where the byte is no character.
  std::int32_t units[kByteValues];
};

// In the generated source.
extern const NamedByteTable kWineTables[];
extern const int kWineTableCount;

}  // namespace base::platform

#endif  // BASE_PLATFORM_POSIX_CODEPAGE_TABLE_POSIX_H_
