// The pack itself: mode latch, the two areas, growth, hand-over, the cursor.
// The field operations stand on this in commonpack_fields.cpp and
// commonpack_tlv.cpp.
#include "base/commonpack.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

#include "pack/block.h"

// Fixed-width fields go on the wire in the host's memory order, reversed for
// network order: `netOrder` false means little-endian only on such a host.
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "the wire format assumes a little-endian host"
#endif

namespace {

struct BlockDeleter {
  void operator()(unsigned char* block) const { base::ReleaseBlock(block); }
};
using OwnedBlock = std::unique_ptr<unsigned char, BlockDeleter>;

// A block of `size` bytes holding the first `used` bytes of `block`.
OwnedBlock Duplicate(const unsigned char* block, unsigned int size, unsigned int used) {
  if (block == nullptr)
    return nullptr;
  OwnedBlock copy(base::AllocateBlock(size));
  std::memcpy(copy.get(), block, used);
  return copy;
}

}  // namespace

CommonPack::CommonPack()
    : outLen(0),
      outCap(0),
      outBuf(nullptr),
      inBuf(nullptr),
      inPos(0),
      inLen(0),
      growLen(DefaultGrowLen),
      inAttached(false),
      runMode(ModeNone) {
  // Modules built apart construct packs by value: the layout must not move.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
  constexpr std::size_t vptr = sizeof(void*);
  static_assert(offsetof(CommonPack, outLen) == vptr, "CommonPack field order");
  static_assert(offsetof(CommonPack, outCap) == vptr + 4, "CommonPack field order");
  static_assert(offsetof(CommonPack, outBuf) == vptr + 8, "CommonPack field order");
  static_assert(offsetof(CommonPack, inBuf) == vptr + 8 + sizeof(void*), "CommonPack field order");
  static_assert(offsetof(CommonPack, inPos) == vptr + 8 + 2 * sizeof(void*),
                "CommonPack field order");
  static_assert(offsetof(CommonPack, inLen) == offsetof(CommonPack, inPos) + 4,
                "CommonPack field order");
  static_assert(offsetof(CommonPack, growLen) == offsetof(CommonPack, inPos) + 8,
                "CommonPack field order");
  static_assert(offsetof(CommonPack, inAttached) == offsetof(CommonPack, inPos) + 12,
                "CommonPack field order");
  static_assert(offsetof(CommonPack, runMode) == offsetof(CommonPack, inPos) + 16,
                "CommonPack field order");
  static_assert(sizeof(RunMode) == 4 && sizeof(OrvCommPackDataType) == 4, "enums are 32-bit");
#pragma GCC diagnostic pop
}

// Blocks are duplicated before anything of this pack is given up, so a failed
// allocation leaves the target as it was.
CommonPack::CommonPack(const CommonPack& other) : CommonPack() {
  *this = other;
}

CommonPack& CommonPack::operator=(const CommonPack& other) {
  if (this == &other)
    return *this;
  OwnedBlock out = Duplicate(other.outBuf, other.outCap, other.outLen);
  OwnedBlock in = other.inAttached ? nullptr : Duplicate(other.inBuf, other.inLen, other.inLen);
  ReleaseBlocks();
  outLen = other.outLen;
  outCap = other.outCap;
  outBuf = out.release();
  inBuf = other.inAttached ? other.inBuf : in.release();
  inPos = other.inPos;
  inLen = other.inLen;
  growLen = other.growLen;
  inAttached = other.inAttached;
  runMode = other.runMode;
  return *this;
}

CommonPack::~CommonPack() {
  ReleaseBlocks();
}

CommonPack::RunMode CommonPack::GetRunMode() const {
  return runMode;
}

void CommonPack::SetGrowLen(unsigned int n) {
  growLen = n == 0 ? 1 : n;
}

void CommonPack::Reset() {
  ReleaseBlocks();
  outLen = 0;
  outCap = 0;
  outBuf = nullptr;
  inBuf = nullptr;
  inPos = 0;
  inLen = 0;
  inAttached = false;
  runMode = ModeNone;
  growLen = DefaultGrowLen;
}

void CommonPack::ReleaseBlocks() {
  if (!inAttached)
    base::ReleaseBlock(inBuf);
  base::ReleaseBlock(outBuf);
}

// --- Output ---

unsigned int CommonPack::GetBufferOutLen() const {
  return outLen;
}

bool CommonPack::GetBufferOut(Buffer& out) {
  if (!CheckRunMode(ModeEncode) || outBuf == nullptr)
    return false;
  // The Buffer sees outLen bytes; the slack behind them goes with the block.
  out.Attach(outBuf, outLen);
  outBuf = nullptr;
  outCap = 0;
  outLen = 0;
  return true;
}

bool CommonPack::CopyBufferOut(unsigned char* dst, unsigned int& len) const {
  if (dst == nullptr)
    return false;
  if (runMode != ModeEncode || outBuf == nullptr) {
    len = 0;
    return false;
  }
  std::memcpy(dst, outBuf, outLen);
  len = outLen;
  return true;
}

bool CommonPack::CopyBufferOut(Buffer& out) const {
  if (runMode != ModeEncode)
    return false;
  out.Empty();
  out.CopyFrom(outBuf, outLen);
  return true;
}

bool CommonPack::CheckBuffer(unsigned int n) {
  if (n > MaxOutLen || outLen > MaxOutLen)
    return false;
  const unsigned int free = outCap - outLen;
  if (free >= n)
    return true;
  const unsigned int missing = n - free;
  // Wide arithmetic: a large growLen or capacity must not wrap to a block that
  // is too small. Beyond 32 bits the growth is refused like a failed allocation.
  // A `missing` below one step, the case of every first write, takes one step
  // without the division.
  std::uint64_t wanted = 2 * static_cast<std::uint64_t>(outCap);
  if (outCap < missing) {
    const std::uint64_t steps = missing < growLen ? 1 : missing / growLen + 1;
    wanted = steps * growLen + outCap;
  }
  if (wanted > UINT32_MAX)
    throw std::bad_alloc();
  return GrowBuffer(static_cast<unsigned int>(wanted));
}

bool CommonPack::GrowBuffer(unsigned int n) {
  if (n <= outCap)
    return true;
  unsigned char* const block = base::AllocateBlock(n);
  // Only what was written is moved, and the slack behind it is not cleared: no
  // operation ever reads it (SetWORD stays below outLen, and GetBufferOut hands
  // outLen bytes to a Buffer as its size and capacity), while a zero fill would
  // cost a pass over every new block, a tenth of writing a typical message.
  if (outBuf != nullptr) {
    std::memcpy(block, outBuf, outLen);
    base::ReleaseBlock(outBuf);
  }
  outBuf = block;
  outCap = n;
  return true;
}

// --- Input ---

void CommonPack::SetBufferIn(unsigned char* p, unsigned int n, bool attach) {
  if (!CheckRunMode(ModeDecode))
    return;
  if (!inAttached)
    base::ReleaseBlock(inBuf);
  inBuf = nullptr;
  inPos = 0;
  inLen = 0;
  inAttached = attach;
  if (p == nullptr || n == 0)
    return;
  if (attach) {
    inBuf = p;
  } else {
    inBuf = base::AllocateBlock(n);
    std::memcpy(inBuf, p, n);
  }
  inLen = n;
}

void CommonPack::SetBufferIn(Buffer& in, bool attach) {
  SetBufferIn(in.GetNativeBuf(), in.GetSize(), attach);
}

bool CommonPack::CopyDecodeBufferOut(unsigned char* dst, unsigned int& len) const {
  if (dst == nullptr)
    return false;
  if (runMode != ModeDecode || inBuf == nullptr) {
    len = 0;
    return false;
  }
  std::memcpy(dst, inBuf, inLen);
  len = inLen;
  return true;
}

int CommonPack::GetBufferByteLeft() const {
  return runMode == ModeDecode ? static_cast<int>(inLen - inPos) : 0;
}

bool CommonPack::JumpByte() {
  return JumpBuf(1);
}

bool CommonPack::JumpWord() {
  return JumpBuf(2);
}

bool CommonPack::JumpDWord() {
  return JumpBuf(4);
}

bool CommonPack::JumpBuf(int n) {
  if (!CheckRunMode(ModeDecode) || n < 0 || !CheckOutOverflow(static_cast<unsigned int>(n)))
    return false;
  inPos += static_cast<unsigned int>(n);
  return true;
}
