// Code-page decoders over glibc's iconv, for the pages ICU has no table of.
// iconv tells neither the lead bytes nor the longest character, so both are
// found by asking it: a lead byte is one that begins at least one valid pair,
// which is what the lead bytes of the Windows tables served from here mean
// too. The search costs a few thousand conversions once per page, most of
// them in rows that hold nothing. iconv reports through errno, which the
// caller gets back as it was.
#include <iconv.h>

#include <cerrno>
#include <cstddef>

#include "platform/posix/codepage_decoder_posix.h"

namespace base::platform {
namespace {

constexpr unsigned char kFirstHighByte = 0x80;
// Trail bytes of every double-byte page here lie in this range.
constexpr unsigned char kFirstTrail = 0x21;
constexpr unsigned char kLastTrail = 0xFE;

enum class Outcome { kOneUnit, kIncomplete, kFailed };

class IconvDecoder final : public CodePageDecoder {
 public:
  explicit IconvDecoder(iconv_t descriptor) : descriptor_(descriptor) {}
  IconvDecoder(const IconvDecoder&) = delete;
  IconvDecoder& operator=(const IconvDecoder&) = delete;
  ~IconvDecoder() override { iconv_close(descriptor_); }

  std::uint32_t MaxCharSize() override {
    SearchLeadBytes();
    for (bool lead : leads_) {
      if (lead)
        return 2;
    }
    return 1;
  }

  void FindLeadBytes(bool (&leads)[kByteValues]) override {
    SearchLeadBytes();
    for (int byte = 0; byte < kByteValues; ++byte)
      leads[byte] = leads_[byte];
  }

  bool ToOneUnit(const char* bytes, int length, std::uint16_t& out) override {
    return Convert(bytes, static_cast<std::size_t>(length), out) == Outcome::kOneUnit;
  }

 private:
  void SearchLeadBytes() {
    if (leadsSearched_)
      return;
    for (int byte = kFirstHighByte; byte < kByteValues; ++byte)
      leads_[byte] = BeginsAValidPair(static_cast<unsigned char>(byte));
    leadsSearched_ = true;
  }

  // Only a byte that iconv finds incomplete on its own can lead; most rows
  // have a character at their first trail, so the search is short.
  bool BeginsAValidPair(unsigned char lead) {
    std::uint16_t unit = 0;
    const char alone = static_cast<char>(lead);
    if (Convert(&alone, 1, unit) != Outcome::kIncomplete)
      return false;
    for (int trail = kFirstTrail; trail <= kLastTrail; ++trail) {
      const char pair[2] = {alone, static_cast<char>(trail)};
      if (ToOneUnit(pair, 2, unit))
        return true;
    }
    return false;
  }

  Outcome Convert(const char* bytes, std::size_t length, std::uint16_t& out) {
    const int callerErrno = errno;
    const Outcome outcome = ConvertOnce(bytes, length, out);
    errno = callerErrno;
    return outcome;
  }

  Outcome ConvertOnce(const char* bytes, std::size_t length, std::uint16_t& out) {
    // Room for one UTF-16 unit only: a second unit, or a surrogate pair, makes
    // iconv stop short, which fails below.
    unsigned char unit[2];
    char* input = const_cast<char*>(bytes);
    std::size_t inputLeft = length;
    char* output = reinterpret_cast<char*>(unit);
    std::size_t outputLeft = sizeof unit;
    iconv(descriptor_, nullptr, nullptr, nullptr, nullptr);
    const std::size_t result = iconv(descriptor_, &input, &inputLeft, &output, &outputLeft);
    if (result == static_cast<std::size_t>(-1))
      return errno == EINVAL ? Outcome::kIncomplete : Outcome::kFailed;
    if (inputLeft != 0 || outputLeft != 0)
      return Outcome::kFailed;
    out = static_cast<std::uint16_t>(unit[0] | unit[1] << 8);
    return Outcome::kOneUnit;
  }

  iconv_t descriptor_;
  bool leadsSearched_ = false;
  bool leads_[kByteValues] = {};
};

}  // namespace

std::unique_ptr<CodePageDecoder> OpenIconvDecoder(const char* name) {
  iconv_t descriptor = iconv_open("UTF-16LE", name);
  if (descriptor == reinterpret_cast<iconv_t>(-1))
    return nullptr;
  return std::make_unique<IconvDecoder>(descriptor);
}

}  // namespace base::platform
