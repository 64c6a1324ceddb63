// One code page's bytes to UTF-16, as one of the system's conversion libraries
// (ICU or glibc's iconv) or a table generated from Wine's NLS files provides
// it.
// Posix-private.
//
// A decoder holds conversion state: one thread at a time, which the caller
// ensures with a lock of its own.
#ifndef BASE_PLATFORM_POSIX_CODEPAGE_DECODER_POSIX_H_
#define BASE_PLATFORM_POSIX_CODEPAGE_DECODER_POSIX_H_

#include <cstdint>
#include <memory>

namespace base::platform {

constexpr int kByteValues = 256;
// Where the private-use characters that Windows gives user-defined pairs begin.
constexpr std::uint16_t kFirstPrivateUse = 0xE000;

class CodePageDecoder {
 public:
  virtual ~CodePageDecoder() = default;

  // Longest character of the page, in bytes, as Windows counts it.
  virtual std::uint32_t MaxCharSize() = 0;
  // Sets `leads[b]` for every byte `b` that begins a two-byte character.
  virtual void FindLeadBytes(bool (&leads)[kByteValues]) = 0;
  // True only when `length` bytes make exactly one UTF-16 unit, stored in
  // `out`. Illegal, unassigned or incomplete input fails and leaves `out` alone.
  virtual bool ToOneUnit(const char* bytes, int length, std::uint16_t& out) = 0;
};

// Null when ICU cannot open `name`.
std::unique_ptr<CodePageDecoder> OpenIcuDecoder(const char* name);

// Null when iconv cannot convert from `name`.
std::unique_ptr<CodePageDecoder> OpenIconvDecoder(const char* name);

// Null when no table was generated from the Wine NLS file `name` (c_NNNN).
std::unique_ptr<CodePageDecoder> OpenWineTableDecoder(const char* name);

// The Windows page of EUC-JP in characters of at most two bytes, over a
// decoder of full EUC-JP (see codepage_eucjp_posix.cpp). Null when `eucJp` is.
std::unique_ptr<CodePageDecoder> OpenDoubleByteEucJpDecoder(std::unique_ptr<CodePageDecoder> eucJp);

// The Windows page of Johab, with its user row, over a decoder of glibc's
// Johab (see codepage_johab_posix.cpp). Null when `johab` is.
std::unique_ptr<CodePageDecoder> OpenWindowsJohabDecoder(std::unique_ptr<CodePageDecoder> johab);

}  // namespace base::platform

#endif  // BASE_PLATFORM_POSIX_CODEPAGE_DECODER_POSIX_H_
