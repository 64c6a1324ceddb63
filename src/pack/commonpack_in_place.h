// The one-pass writer behind the length-headed and TLV writers: a head (and a
// tag) and the bytes go into the block together when it has room for all of
// them, instead of through a writer each, which would test the mode and the
// room, and move outLen, once per part.
#ifndef BASE_PACK_COMMONPACK_IN_PLACE_H_
#define BASE_PACK_COMMONPACK_IN_PLACE_H_

#include "base/commonpack.h"
#include "pack/block.h"

// The limits are those of the separate writes, tested a little more strictly:
// the whole field, not only its last part, must stay within MaxOutLen. A
// field near that limit takes the separate writes, which decide it exactly.
// A null `p` with `n` above 0 is refused by the raw writer after the head went
// out; it takes the separate writes too.
template <typename... Parts>
bool CommonPack::AddInPlace(bool netOrder, const unsigned char* p, unsigned int n, Parts... parts) {
  constexpr unsigned int fixed = (0 + ... + sizeof(Parts));
  if (!BASE_LIKELY(runMode == ModeEncode && (p != nullptr || n == 0) && n <= MaxOutLen - fixed &&
                   outLen <= MaxOutLen - fixed - n && fixed + n <= outCap - outLen))
    return false;
  unsigned char* at = outBuf + outLen;
  // outLen first: nothing of the pack is needed after the copy, which is then
  // the last thing done, and a long one leaves through memcpy without a frame.
  outLen += fixed + n;
  ((Store(at, parts, netOrder), at += sizeof(Parts)), ...);
  base::CopyBytes(at, p, n);
  return true;
}

#endif  // BASE_PACK_COMMONPACK_IN_PLACE_H_
