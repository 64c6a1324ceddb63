// Where the posix backend takes each Windows code page from, and the few
// single bytes where that source and the Windows table disagree.
// Posix-private.
#ifndef BASE_PLATFORM_POSIX_CODEPAGE_SOURCES_POSIX_H_
#define BASE_PLATFORM_POSIX_CODEPAGE_SOURCES_POSIX_H_

#include <cstdint>
#include <string>

namespace base::platform {

enum class ConversionLibrary { kNone, kIcu, kIconv };

struct CodePageSource {
  ConversionLibrary library = ConversionLibrary::kNone;
  // The converter's name in that library.
  std::string name;
  // EUC-JP cut to characters of two bytes (see OpenDoubleByteEucJpDecoder).
  bool doubleByteEucJp = false;
};

// The source of `page`, a resolved page number (no pseudo page). kNone for a
// page that Windows serves to no multibyte caller; any other page is tried
// under ICU's Windows name and is unknown when ICU has no such converter.
CodePageSource FindCodePageSource(std::uint32_t page);

// The character Windows substitutes for what `page` cannot convert.
std::uint16_t UnicodeDefaultChar(std::uint32_t page);

// The Windows character of `byte` alone in `page` where the source maps it
// elsewhere or not at all. A byte found here is never a lead byte.
bool FindByteOverride(std::uint32_t page, unsigned char byte, std::uint16_t& out);

}  // namespace base::platform

#endif  // BASE_PLATFORM_POSIX_CODEPAGE_SOURCES_POSIX_H_
