// Byte maps of single-byte pages that no conversion library on the system
// has, generated at build time from Perl's Encode (cmake/codepage_tables.pl).
// Posix-private.
#ifndef BASE_PLATFORM_POSIX_CODEPAGE_TABLE_POSIX_H_
#define BASE_PLATFORM_POSIX_CODEPAGE_TABLE_POSIX_H_

#include <cstdint>

#include "platform/posix/codepage_decoder_posix.h"

namespace base::platform {

struct NamedByteTable {
  // The encoding's name in Encode.
  const char* name;
  // The UTF-16 unit of each byte, or -1 where the byte is no character.
  std::int32_t units[kByteValues];
};

// In the generated source.
extern const NamedByteTable kPerlEncodeTables[];
extern const int kPerlEncodeTableCount;

}  // namespace base::platform

#endif  // BASE_PLATFORM_POSIX_CODEPAGE_TABLE_POSIX_H_
