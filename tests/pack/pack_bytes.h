// Byte vectors for the packer's tests: what a pack has written, and a Buffer
// made from given bytes.
#ifndef BASE_TESTS_PACK_PACK_BYTES_H_
#define BASE_TESTS_PACK_PACK_BYTES_H_

#include <vector>

#include "base/buffer.h"
#include "base/commonpack.h"

using Bytes = std::vector<unsigned char>;

inline Bytes Output(const CommonPack& pack) {
  Buffer out;
  pack.CopyBufferOut(out);
  return Bytes(out.GetNativeBuf(), out.GetNativeBuf() + out.GetSize());
}

inline Buffer Make(const Bytes& bytes) {
  Buffer b;
  b.CopyFrom(bytes.data(), static_cast<unsigned int>(bytes.size()));
  return b;
}

#endif  // BASE_TESTS_PACK_PACK_BYTES_H_
