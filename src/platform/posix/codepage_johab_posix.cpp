// Johab as the Windows page 1361 has it. glibc's table has no characters in
// row 0xD8, which Johab leaves to the user; Windows makes 0xD8 a lead byte and
// gives the row's 188 cells private-use characters from U+E000, in byte
// order, over the trail bytes of the symbol rows around it.
#include <utility>

#include "platform/posix/codepage_decoder_posix.h"

namespace base::platform {
namespace {

constexpr unsigned char kUserRow = 0xD8;
constexpr unsigned char kFirstLowTrail = 0x31;
constexpr unsigned char kLastLowTrail = 0x7E;
constexpr unsigned char kFirstHighTrail = 0x91;
constexpr unsigned char kLastHighTrail = 0xFE;
constexpr int kLowTrails = kLastLowTrail - kFirstLowTrail + 1;
constexpr std::uint16_t kFirstPrivateUse = 0xE000;

class JohabDecoder final : public CodePageDecoder {
 public:
  explicit JohabDecoder(std::unique_ptr<CodePageDecoder> johab) : johab_(std::move(johab)) {}

  std::uint32_t MaxCharSize() override { return johab_->MaxCharSize(); }

  void FindLeadBytes(bool (&leads)[kByteValues]) override {
    johab_->FindLeadBytes(leads);
    leads[kUserRow] = true;
  }

  bool ToOneUnit(const char* bytes, int length, std::uint16_t& out) override {
    if (length == 2 && static_cast<unsigned char>(bytes[0]) == kUserRow)
      return UserCell(static_cast<unsigned char>(bytes[1]), out);
    return johab_->ToOneUnit(bytes, length, out);
  }

 private:
  static bool UserCell(unsigned char trail, std::uint16_t& out) {
    int index;
    if (trail >= kFirstLowTrail && trail <= kLastLowTrail)
      index = trail - kFirstLowTrail;
    else if (trail >= kFirstHighTrail && trail <= kLastHighTrail)
      index = kLowTrails + (trail - kFirstHighTrail);
    else
      return false;
    out = static_cast<std::uint16_t>(kFirstPrivateUse + index);
    return true;
  }

  std::unique_ptr<CodePageDecoder> johab_;
};

}  // namespace

std::unique_ptr<CodePageDecoder> OpenWindowsJohabDecoder(std::unique_ptr<CodePageDecoder> johab) {
  if (!johab)
    return nullptr;
  return std::make_unique<JohabDecoder>(std::move(johab));
}

}  // namespace base::platform
