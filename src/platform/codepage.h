// Facts about a legacy code page and single-character conversions out of it:
// the counterparts of the Windows code-page query and of a multibyte-to-UTF-16
// conversion that stops at the first invalid input.
//
// Every function may be called from any thread. A page is identified by its
// Windows number; the pseudo pages 0 to 3 (the ANSI, OEM, Mac and thread ANSI
// pages) stand for the pages of an English-language Windows.
#ifndef BASE_PLATFORM_CODEPAGE_H_
#define BASE_PLATFORM_CODEPAGE_H_

#include <cstdint>

namespace base::platform {

// Up to six (low, high) ranges of lead bytes, ended early by a (0, 0) pair.
constexpr int kLeadByteCells = 12;

struct CodePageInfo {
  // Longest character of the page, in bytes.
  std::uint32_t maxCharSize = 0;
  std::uint8_t leadBytes[kLeadByteCells] = {};
  // The character that stands for what the page cannot convert.
  std::uint16_t unicodeDefaultChar = 0;
};

// Fills `info` for `page` and returns true, or returns false when the page is
// unknown here. `info` is left alone on failure.
[[nodiscard]] bool QueryCodePageInfo(std::uint32_t page, CodePageInfo& info);

// Converts `length` bytes of `page` and returns true only when they form
// exactly one UTF-16 code unit, stored in `out`. Illegal, unassigned or
// incomplete input, more than one unit of output and an unknown page all
// return false and leave `out` alone.
[[nodiscard]] bool ConvertToOneUnit(std::uint32_t page,
                                    const char* bytes,
                                    int length,
                                    std::uint16_t& out);

}  // namespace base::platform

#endif  // BASE_PLATFORM_CODEPAGE_H_
