// Code-page decoders over the byte maps generated from Perl's Encode: one
// byte, one character, so a page of them has no lead bytes and no pairs.
#include "platform/posix/codepage_table_posix.h"

#include <cstring>

namespace base::platform {
namespace {

class ByteTableDecoder final : public CodePageDecoder {
 public:
  explicit ByteTableDecoder(const NamedByteTable& table) : table_(table) {}

  std::uint32_t MaxCharSize() override { return 1; }

  void FindLeadBytes(bool (&leads)[kByteValues]) override {
    for (bool& lead : leads)
      lead = false;
  }

  bool ToOneUnit(const char* bytes, int length, std::uint16_t& out) override {
    if (length != 1)
      return false;
    const std::int32_t unit = table_.units[static_cast<unsigned char>(bytes[0])];
    if (unit < 0)
      return false;
    out = static_cast<std::uint16_t>(unit);
    return true;
  }

 private:
  const NamedByteTable& table_;
};

}  // namespace

std::unique_ptr<CodePageDecoder> OpenPerlEncodeDecoder(const char* name) {
  for (int index = 0; index < kPerlEncodeTableCount; ++index) {
    if (std::strcmp(kPerlEncodeTables[index].name, name) == 0)
      return std::make_unique<ByteTableDecoder>(kPerlEncodeTables[index]);
  }
  return nullptr;
}

}  // namespace base::platform
