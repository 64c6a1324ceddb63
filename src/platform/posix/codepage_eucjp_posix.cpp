// EUC-JP as the Windows page 20932 has it: characters of at most two bytes.
// Full EUC-JP reaches the JIS X 0212 supplement with three bytes (0x8F, lead,
// trail); the Windows page has no room for them, so it carries the supplement
// as (lead, trail) with the trail's high bit clear, a form EUC-JP never uses,
// and 0x8F alone is a character. The rows that EUC-JP leaves to the user,
// 0xF5 to 0xFE, hold private-use characters in order, the basic set's first
// and the supplement's after them.
#include <utility>

#include "platform/posix/codepage_decoder_posix.h"

namespace base::platform {
namespace {

constexpr unsigned char kSingleShift2 = 0x8E;  // half-width katakana follow
constexpr char kSingleShift3 = static_cast<char>(0x8F);
constexpr unsigned char kFirstEucByte = 0xA1;
constexpr unsigned char kLastEucByte = 0xFE;
constexpr unsigned char kHighBit = 0x80;
constexpr unsigned char kFirstSupplementTrail = 0x21;
constexpr unsigned char kFirstUserRow = 0xF5;
constexpr int kCellsPerRow = kLastEucByte - kFirstEucByte + 1;
constexpr int kUserCells = (kLastEucByte - kFirstUserRow + 1) * kCellsPerRow;

bool IsEucByte(unsigned char byte) {
  return byte >= kFirstEucByte && byte <= kLastEucByte;
}

class DoubleByteEucJpDecoder final : public CodePageDecoder {
 public:
  explicit DoubleByteEucJpDecoder(std::unique_ptr<CodePageDecoder> eucJp)
      : eucJp_(std::move(eucJp)) {}

  std::uint32_t MaxCharSize() override { return 2; }

  // Every byte EUC-JP uses as the first of two, whether its row holds
  // characters or not.
  void FindLeadBytes(bool (&leads)[kByteValues]) override {
    for (int byte = 0; byte < kByteValues; ++byte)
      leads[byte] = byte == kSingleShift2 || IsEucByte(static_cast<unsigned char>(byte));
  }

  bool ToOneUnit(const char* bytes, int length, std::uint16_t& out) override {
    if (length > 2)
      return false;  // at least two characters here, never one
    if (length == 1 && bytes[0] == kSingleShift3) {
      out = static_cast<unsigned char>(kSingleShift3);
      return true;
    }
    if (eucJp_->ToOneUnit(bytes, length, out))
      return true;
    return length == 2 && PairOutsideEucJp(static_cast<unsigned char>(bytes[0]),
                                           static_cast<unsigned char>(bytes[1]), out);
  }

 private:
  bool PairOutsideEucJp(unsigned char lead, unsigned char trail, std::uint16_t& out) {
    if (!IsEucByte(lead))
      return false;
    const bool supplement = trail >= kFirstSupplementTrail && trail < kHighBit;
    const auto cell = static_cast<unsigned char>(supplement ? trail | kHighBit : trail);
    if (!IsEucByte(cell))
      return false;
    if (lead >= kFirstUserRow) {
      const int index = (lead - kFirstUserRow) * kCellsPerRow + (cell - kFirstEucByte);
      out = static_cast<std::uint16_t>(kFirstPrivateUse + (supplement ? kUserCells : 0) + index);
      return true;
    }
    if (!supplement)
      return false;
    const char shifted[3] = {kSingleShift3, static_cast<char>(lead), static_cast<char>(cell)};
    return eucJp_->ToOneUnit(shifted, sizeof shifted, out);
  }

  std::unique_ptr<CodePageDecoder> eucJp_;
};

}  // namespace

std::unique_ptr<CodePageDecoder> OpenDoubleByteEucJpDecoder(
    std::unique_ptr<CodePageDecoder> eucJp) {
  if (!eucJp)
    return nullptr;
  return std::make_unique<DoubleByteEucJpDecoder>(std::move(eucJp));
}

}  // namespace base::platform
