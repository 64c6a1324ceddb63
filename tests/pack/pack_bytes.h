// Byte vectors for the packer's tests: what a pack has written, and a Buffer
// made from given bytes; the capacity of a pack's output.
#ifndef BASE_TESTS_PACK_PACK_BYTES_H_
#define BASE_TESTS_PACK_PACK_BYTES_H_

#include <cstring>
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

// outCap as a module built apart sees it: right behind the vtable pointer and
// outLen. The field order is pinned, so this is part of the contract too.
inline unsigned int OutCap(const CommonPack& pack) {
  unsigned int cap = 0;
  std::memcpy(&cap, reinterpret_cast<const char*>(&pack) + sizeof(void*) + 4, sizeof(cap));
  return cap;
}

#endif  // BASE_TESTS_PACK_PACK_BYTES_H_
