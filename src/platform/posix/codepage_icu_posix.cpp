// Code-page decoders over ICU converters. ICU's converters are table-driven
// and report their own lead bytes (its "starters") and longest character.
#include <unicode/ucnv.h>

#include "platform/posix/codepage_decoder_posix.h"

namespace base::platform {
namespace {

class IcuDecoder final : public CodePageDecoder {
 public:
  explicit IcuDecoder(UConverter* converter) : converter_(converter) {}
  IcuDecoder(const IcuDecoder&) = delete;
  IcuDecoder& operator=(const IcuDecoder&) = delete;
  ~IcuDecoder() override { ucnv_close(converter_); }

  std::uint32_t MaxCharSize() override {
    return static_cast<std::uint32_t>(ucnv_getMaxCharSize(converter_));
  }

  void FindLeadBytes(bool (&leads)[kByteValues]) override {
    // Converters that are not table-driven (UTF-8, ASCII) report no starters.
    UBool starters[kByteValues];
    UErrorCode status = U_ZERO_ERROR;
    ucnv_getStarters(converter_, starters, &status);
    for (int byte = 0; byte < kByteValues; ++byte)
      leads[byte] = U_SUCCESS(status) && starters[byte];
  }

  bool ToOneUnit(const char* bytes, int length, std::uint16_t& out) override {
    // ucnv_toUChars resets the converter first and flushes at the end, so a
    // lead byte left without its trail fails instead of waiting for more input.
    UChar unit = 0;
    UErrorCode status = U_ZERO_ERROR;
    const int32_t units = ucnv_toUChars(converter_, &unit, 1, bytes, length, &status);
    if (U_FAILURE(status) || units != 1)
      return false;
    out = unit;
    return true;
  }

 private:
  UConverter* converter_;
};

}  // namespace

std::unique_ptr<CodePageDecoder> OpenIcuDecoder(const char* name) {
  UErrorCode status = U_ZERO_ERROR;
  UConverter* converter = ucnv_open(name, &status);
  if (U_FAILURE(status))
    return nullptr;
  auto decoder = std::make_unique<IcuDecoder>(converter);
  // Stop at the first illegal or unassigned input instead of substituting, as
  // the Windows conversion does when asked to fail on invalid characters.
  ucnv_setToUCallBack(converter, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  if (U_FAILURE(status))
    return nullptr;
  return decoder;
}

}  // namespace base::platform
