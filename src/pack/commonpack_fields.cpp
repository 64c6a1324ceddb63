// Fixed-width, raw and length-headed fields of CommonPack.
//
// The order of the tests in each operation is part of the contract, not an
// accident: it decides the mode a failing call leaves on a new pack and what a
// failed read leaves in its destination. Keep it when changing the code.
#include <cstdint>
#include <cstring>
#include <limits>

#include "base/commonpack.h"
#include "pack/block.h"
#include "pack/commonpack_in_place.h"

namespace {

// Texts longer than 32 bits can count are clamped: every writer refuses them
// then, as it refuses any length beyond its limits.
unsigned int TextLength(const char* s) {
  const std::size_t n = std::strlen(s);
  return n > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<unsigned int>(n);
}

const unsigned char* TextBytes(const char* s) {
  return reinterpret_cast<const unsigned char*>(s);
}

}  // namespace

// --- Writers ---

bool CommonPack::SetWORD(unsigned short v, unsigned int offset, bool netOrder) {
  if (outLen < 2 || offset > outLen - 2)
    return false;
  Store(outBuf + offset, v, netOrder);
  return true;
}

bool CommonPack::AddBuf(const unsigned char* p, unsigned int n) {
  if (!CheckRunMode(ModeEncode))
    return false;
  if (n == 0)
    return true;
  if (p == nullptr || !HasRoom(n))
    return false;
  base::CopyBytes(outBuf + outLen, p, n);
  outLen += n;
  return true;
}

bool CommonPack::AddBuf(const Buffer& b) {
  return AddBuf(b.GetNativeBuf(), b.GetSize());
}

bool CommonPack::AddPack(const CommonPack& other) {
  return AddBuf(other.outBuf, other.outLen);
}

bool CommonPack::AddStr(const char* s) {
  return s != nullptr && AddBuf(TextBytes(s), TextLength(s));
}

bool CommonPack::AddStrEndChar(const char* s, unsigned char end) {
  return AddStr(s) && AddBYTE(end);
}

// The limit of the head is tested before the mode latch: a refused length
// leaves a new pack undecided. Once the head is out there is no way back.
template <typename Head>
bool CommonPack::AddLenHeaded(const unsigned char* p, unsigned int n, bool netOrder) {
  if (n > std::numeric_limits<Head>::max())
    return false;
  return AddInPlace(netOrder, p, n, static_cast<Head>(n)) ||
         AddLenHeadedStepwise<Head>(p, n, netOrder);
}

// Out of line: the separate steps keep the bytes and their count across a call,
// and inline they made every length-headed field, the one-pass ones too, save
// three registers and open a frame: 6 to 10 instructions of each such field.
template <typename Head>
__attribute__((noinline)) bool CommonPack::AddLenHeadedStepwise(const unsigned char* p,
                                                                unsigned int n,
                                                                bool netOrder) {
  return AddFixed(static_cast<Head>(n), netOrder) && AddBuf(p, n);
}

bool CommonPack::AddBufLenByte(const Buffer& b) {
  return AddLenHeaded<unsigned char>(b.GetNativeBuf(), b.GetSize(), false);
}

bool CommonPack::AddBufLenWord(const Buffer& b, bool netOrder) {
  return AddLenHeaded<unsigned short>(b.GetNativeBuf(), b.GetSize(), netOrder);
}

bool CommonPack::AddBufLenDWord(const Buffer& b, bool netOrder) {
  return AddLenHeaded<unsigned int>(b.GetNativeBuf(), b.GetSize(), netOrder);
}

bool CommonPack::AddStrLenByte(const char* s) {
  return s != nullptr && AddLenHeaded<unsigned char>(TextBytes(s), TextLength(s), false);
}

bool CommonPack::AddStrLenWord(const char* s, bool netOrder) {
  return s != nullptr && AddLenHeaded<unsigned short>(TextBytes(s), TextLength(s), netOrder);
}

bool CommonPack::AddStrLenDWord(const char* s, bool netOrder) {
  return s != nullptr && AddLenHeaded<unsigned int>(TextBytes(s), TextLength(s), netOrder);
}

// --- Readers ---

bool CommonPack::GetBuf(Buffer& dst, int n, bool advance) {
  if (!CheckRunMode(ModeDecode) || n < 0 || !CheckOutOverflow(static_cast<unsigned int>(n)))
    return false;
  if (n == 0)
    dst.Empty();
  else
    dst.CopyFrom(inBuf + inPos, static_cast<unsigned int>(n));
  if (advance)
    inPos += static_cast<unsigned int>(n);
  return true;
}

bool CommonPack::GetBuf(unsigned char* dst, int n, bool advance) {
  if (!CheckRunMode(ModeDecode) || dst == nullptr || n < 0 ||
      !CheckOutOverflow(static_cast<unsigned int>(n)))
    return false;
  if (n > 0)
    base::CopyBytes(dst, inBuf + inPos, static_cast<unsigned int>(n));
  if (advance)
    inPos += static_cast<unsigned int>(n);
  return true;
}

// `dst` takes the head's length before the bytes are known to be there, and a
// head of 0 reports false although the field is well formed.
bool CommonPack::GetHeaded(Buffer& dst, int headBytes) {
  unsigned int len = 0;
  if (CheckRunMode(ModeDecode) && CheckOutOverflow(static_cast<unsigned int>(headBytes))) {
    if (headBytes == 1) {
      unsigned char head = 0;
      GetBYTE(head, true);
      len = head;
    } else {
      unsigned short head = 0;
      GetWORD(head, true, true);
      len = head;
    }
  }
  dst.Resize(len);
  if (runMode != ModeDecode || len == 0 || !CheckOutOverflow(len))
    return false;
  base::CopyBytes(dst.GetNativeBuf(), inBuf + inPos, len);
  inPos += len;
  return true;
}

bool CommonPack::GetBufByteLenHead(Buffer& dst) {
  return GetHeaded(dst, 1);
}

bool CommonPack::GetBufWordLenHead(Buffer& dst) {
  return GetHeaded(dst, 2);
}

bool CommonPack::GetStrByteLenHead(std::string& s) {
  Buffer bytes;
  if (!GetBufByteLenHead(bytes))
    return false;
  s.append(reinterpret_cast<const char*>(bytes.GetNativeBuf()), bytes.GetSize());
  return true;
}

bool CommonPack::GetStrWordLenHead(std::string& s) {
  Buffer bytes;
  if (!GetBufWordLenHead(bytes))
    return false;
  s.append(reinterpret_cast<const char*>(bytes.GetNativeBuf()), bytes.GetSize());
  return true;
}

int CommonPack::CheckBufEndChar(unsigned char c) {
  if (inBuf == nullptr || inPos >= inLen)
    return -1;
  const void* hit = std::memchr(inBuf + inPos, c, inLen - inPos);
  return hit == nullptr
             ? -1
             : static_cast<int>(static_cast<const unsigned char*>(hit) - (inBuf + inPos));
}
