// Variable-width and TLV fields of CommonPack. The write side only chooses
// among the length-headed and fixed writers. The read side has steps of its
// own: unlike the length-headed readers it reports a value of length 0 as true.
#include <climits>
#include <new>

#include "base/commonpack.h"

namespace {

bool HasHead(OrvCommPackDataType type) {
  return type == OrvCommPackDataByte || type == OrvCommPackDataWord || type == OrvCommPackDataDWord;
}

}  // namespace

bool CommonPack::AddVBuf(const Buffer& b, OrvCommPackDataType type) {
  switch (type) {
    case OrvCommPackDataByte:
      return AddBufLenByte(b);
    case OrvCommPackDataWord:
      return AddBufLenWord(b, true);
    case OrvCommPackDataDWord:
      return AddBufLenDWord(b, true);
  }
  return true;  // no head, no value
}

bool CommonPack::AddTLV(unsigned char tag, const Buffer& value, OrvCommPackDataType type) {
  return AddBYTE(tag) && AddVBuf(value, type);
}

bool CommonPack::AddTLV(unsigned short tag, const Buffer& value, OrvCommPackDataType type) {
  return AddWORD(tag, true) && AddVBuf(value, type);
}

bool CommonPack::AddTLV(unsigned int tag, const Buffer& value, OrvCommPackDataType type) {
  return AddDWORD(tag, true) && AddVBuf(value, type);
}

// Reads the head of `type` into `len`; `len` is 0 after a failed read. `netOrder`
// doubles as the look-ahead switch of the 1-byte head, which has no order.
bool CommonPack::ReadHead(OrvCommPackDataType type, bool netOrder, unsigned int& len) {
  bool ok = false;
  len = 0;
  switch (type) {
    case OrvCommPackDataByte: {
      unsigned char head = 0;
      ok = GetBYTE(head, netOrder);
      len = ok ? head : 0;
      break;
    }
    case OrvCommPackDataWord: {
      unsigned short head = 0;
      ok = GetWORD(head, netOrder, true);
      len = ok ? head : 0;
      break;
    }
    case OrvCommPackDataDWord: {
      unsigned int head = 0;
      ok = GetDWORD(head, netOrder, true);
      len = ok ? head : 0;
      break;
    }
  }
  return ok;
}

bool CommonPack::GetVBuf(Buffer& dst, OrvCommPackDataType type, bool netOrder) {
  unsigned int len = 0;
  const bool ok = !HasHead(type) || ReadHead(type, netOrder, len);
  // A head of 2^31 or more cannot be a real field: refuse it the way a failed
  // allocation of that size is refused, without trying one. The head stays
  // consumed and `dst` unchanged.
  if (len > static_cast<unsigned int>(INT_MAX))
    throw std::bad_alloc();
  // The size of the head is taken before the value is known to be complete.
  dst.Resize(len);
  if (len == 0 || !ok)
    return ok;
  return GetBuf(dst.GetNativeBuf(), static_cast<int>(len), netOrder);
}

bool CommonPack::GetVBuf(unsigned char** dst,
                         unsigned int& len,
                         OrvCommPackDataType type,
                         bool netOrder) {
  // Without a head the caller's `len` is the length of the value.
  if (HasHead(type) && !ReadHead(type, netOrder, len))
    return false;
  if (len == 0)
    return true;
  // A length of 2^31 or more is refused there as negative.
  return GetBuf(dst, static_cast<int>(len), netOrder);
}

bool CommonPack::GetTLV(unsigned char& tag, Buffer& value, OrvCommPackDataType type) {
  return GetBYTE(tag, true) && GetVBuf(value, type, true);
}

bool CommonPack::GetTLV(unsigned short& tag, Buffer& value, OrvCommPackDataType type) {
  return GetWORD(tag, true, true) && GetVBuf(value, type, true);
}

bool CommonPack::GetTLV(unsigned int& tag, Buffer& value, OrvCommPackDataType type) {
  return GetDWORD(tag, true, true) && GetVBuf(value, type, true);
}

bool CommonPack::GetTLV(unsigned char& tag,
                        unsigned char** value,
                        unsigned int& len,
                        OrvCommPackDataType type) {
  return GetBYTE(tag, true) && GetVBuf(value, len, type, true);
}

bool CommonPack::GetTLV(unsigned short& tag,
                        unsigned char** value,
                        unsigned int& len,
                        OrvCommPackDataType type) {
  return GetWORD(tag, true, true) && GetVBuf(value, len, type, true);
}

bool CommonPack::GetTLV(unsigned int& tag,
                        unsigned char** value,
                        unsigned int& len,
                        OrvCommPackDataType type) {
  return GetDWORD(tag, true, true) && GetVBuf(value, len, type, true);
}
