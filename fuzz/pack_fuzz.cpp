// Drives every public member of CommonPack and Buffer: as a reader of hostile
// input, as a writer whose message is read back, and Buffer alone against a
// model of its block.
#include "pack_fuzz.h"

#include <cstring>

namespace pack_fuzz {

std::uint64_t ReadNumber(const Bytes& in, std::size_t pos, int width, bool bigEndian) {
  std::uint64_t v = 0;
  for (int i = 0; i < width; ++i) {
    const std::uint64_t byte = in[pos + i];
    v |= bigEndian ? byte << (8 * (width - 1 - i)) : byte << (8 * i);
  }
  return v;
}

int HeadWidth(OrvCommPackDataType type) {
  switch (type) {
    case OrvCommPackDataByte:
      return 1;
    case OrvCommPackDataWord:
      return 2;
    case OrvCommPackDataDWord:
      return 4;
  }
  return 0;
}

bool SameBytes(const Buffer& b, const unsigned char* p, std::size_t n) {
  return b.GetSize() == n && (n == 0 || std::memcmp(b.GetNativeBuf(), p, n) == 0);
}

}  // namespace pack_fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider fdp(data, size);
  switch (fdp.ConsumeIntegralInRange(0, 2)) {
    case 0:
      pack_fuzz::FuzzWriter(fdp);
      break;
    case 1:
      pack_fuzz::FuzzReader(fdp);
      break;
    default:
      pack_fuzz::FuzzBuffer(fdp);
      break;
  }
  return 0;
}
