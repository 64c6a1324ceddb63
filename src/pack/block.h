// Blocks of bytes shared by Buffer and CommonPack. A pack hands its output block
// to a Buffer (GetBufferOut), which later releases it, so both classes must
// allocate and release through the same pair of functions.
#ifndef BASE_PACK_BLOCK_H_
#define BASE_PACK_BLOCK_H_

#include <cstddef>
#include <cstring>
#include <new>

namespace base {

// A block of `n` bytes (n > 0) from the scalar allocation function; throws
// std::bad_alloc. The bytes are not initialised.
inline unsigned char* AllocateBlock(unsigned int n) {
  return static_cast<unsigned char*>(::operator new(n));
}

// Copies `n` bytes, k <= n <= 2k, as a move of the first k and of the last k.
template <unsigned int k>
inline void CopyOverlapping(unsigned char* dst, const unsigned char* src, unsigned int n) {
  unsigned char head[k], tail[k];
  std::memcpy(head, src, k);
  std::memcpy(tail, src + n - k, k);
  std::memcpy(dst, head, k);
  std::memcpy(dst + n - k, tail, k);
}

// The same, filled with zero bytes.
inline unsigned char* AllocateZeroedBlock(unsigned int n) {
  unsigned char* block = AllocateBlock(n);
  std::memset(block, 0, n);
  return block;
}

// Copies a run of field bytes. Runs of up to 64 bytes (tags, short values and
// texts) are copied with two overlapping fixed-size moves, which cost less than
// a call; the short ones, the most common, are tested first. Longer runs go
// through the C library's memcpy, never an inline expansion: where g++ can
// bound the length (behind a head limit of 255 or 65535, say) it expands
// memcpy into `rep movsq`, which copies unaligned runs several times slower.
// The volatile pointer hides the callee from the optimiser, with link-time
// optimisation too.
inline void CopyBytes(unsigned char* dst, const unsigned char* src, unsigned int n) {
  if (n <= 16) {
    if (n >= 8) {
      CopyOverlapping<8>(dst, src, n);
    } else if (n >= 4) {
      CopyOverlapping<4>(dst, src, n);
    } else {
      for (unsigned int i = 0; i < n; ++i)
        dst[i] = src[i];
    }
  } else if (n <= 32) {
    CopyOverlapping<16>(dst, src, n);
  } else if (n <= 64) {
    // The first and the last 32 bytes, each as two 16-byte moves: a 32-byte
    // temporary would cost a stack frame wherever this is inlined.
    CopyOverlapping<16>(dst, src, 32);
    CopyOverlapping<16>(dst + n - 32, src + n - 32, 32);
  } else {
    static void* (*const volatile copy)(void*, const void*, std::size_t) = std::memcpy;
    copy(dst, src, n);
  }
}

// Releases a block of AllocateBlock; null is ignored.
inline void ReleaseBlock(unsigned char* block) {
  ::operator delete(block);
}

}  // namespace base

#endif  // BASE_PACK_BLOCK_H_
