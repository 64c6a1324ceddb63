// Where the posix backend takes each Windows code page from, and the few
// single bytes and private-use runs where that source and the Windows table
// disagree.
// Posix-private.
#ifndef BASE_PLATFORM_POSIX_CODEPAGE_SOURCES_POSIX_H_
#define BASE_PLATFORM_POSIX_CODEPAGE_SOURCES_POSIX_H_

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace base::platform {

enum class ConversionLibrary { kNone, kIcu, kIconv, kWineTable };

struct CodePageSource {
  ConversionLibrary library = ConversionLibrary::kNone;
  // The converter's name in that library; for kWineTable the name of the NLS
  // file the table was generated from.
  std::string name;
  // How the library's table is adapted to the Windows page.
  enum class Adaptation {
    kNone,
    kDoubleByteEucJp,  // see OpenDoubleByteEucJpDecoder
    kWindowsJohab,     // see OpenWindowsJohabDecoder
  };
  Adaptation adaptation = Adaptation::kNone;
};

// The source of `page`, a resolved page number (no pseudo page). kNone for a
// page that Windows serves to no multibyte caller; any other page is tried
// under ICU's Windows name and is unknown when ICU has no such converter.
CodePageSource FindCodePageSource(std::uint32_t page);

// The character Windows substitutes for what `page` cannot convert.
std::uint16_t UnicodeDefaultChar(std::uint32_t page);

// The Windows characters of the single bytes of one page that its source
// maps elsewhere or not at all. A byte found here is never a lead byte.
class ByteOverrides {
 public:
  explicit ByteOverrides(std::uint32_t page);

  // True, with the Windows character in `out`, when `byte` is overridden.
  bool Find(unsigned char byte, std::uint16_t& out) const;

 private:
  // At most a handful per page, so a scan beats a lookup table.
  std::vector<std::pair<unsigned char, std::uint16_t>> units_;
};

// The Windows answers for the few pairs of one page that its source maps
// elsewhere, or maps where Windows has no character.
class PairOverrides {
 public:
  explicit PairOverrides(std::uint32_t page);

  // True when `pair` (lead << 8 | trail) is overridden; then `defined` tells
  // whether Windows gives it a character, and `out` holds it if so.
  bool Find(std::uint16_t pair, bool& defined, std::uint16_t& out) const;

 private:
  struct Entry {
    std::uint16_t pair;
    bool defined;
    std::uint16_t unit;
  };
  std::vector<Entry> entries_;
};

// The private-use characters of one page's pairs that its source numbers
// differently from Windows: runs that Windows keeps in another order.
class PrivateUseMoves {
 public:
  explicit PrivateUseMoves(std::uint32_t page);

  // Replaces the source's character `unit` by the Windows one where it lies in
  // a moved run; leaves it alone otherwise.
  void Apply(std::uint16_t& unit) const;

 private:
  struct Run {
    std::uint16_t first;
    std::uint16_t last;
    std::uint16_t windowsFirst;
  };
  std::vector<Run> runs_;
};

}  // namespace base::platform

#endif  // BASE_PLATFORM_POSIX_CODEPAGE_SOURCES_POSIX_H_
