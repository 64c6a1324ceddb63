// Variable-width and TLV fields of CommonPack. The write side only chooses
// among the length-headed and fixed writers. The read side has steps of its
// own: unlike the length-headed readers it reports a value of length 0 as true.
//
// A TLV field is usually one of many short ones, and its parts cost more to
// take through a writer or reader each than to move. Each TLV operation
// therefore first tries the common case in one pass: a writer with room for
// the whole field, or a reader with the whole field in its input. Only that
// case is taken there, where the separate steps could not fail; everything
// else (a new pack, a refused length, a field cut short) takes the separate
// steps, which decide the mode and leave what a failure leaves.
#include <climits>
#include <limits>
#include <new>

#include "base/commonpack.h"
#include "pack/block.h"
#include "pack/commonpack_in_place.h"

namespace {

bool HasHead(OrvCommPackDataType type) {
  return type == OrvCommPackDataByte || type == OrvCommPackDataWord || type == OrvCommPackDataDWord;
}

template <typename T>
T LoadBigEndian(const unsigned char* at) {
  T v = 0;
  for (unsigned int i = 0; i < sizeof(T); ++i)
    v = static_cast<T>((v << 8) | at[i]);
  return v;
}

// Where the value of a TLV field starts and how long it is.
struct ValueSpan {
  unsigned int offset;  // from the start of the field
  unsigned int len;
};

// The TLV field at `at` with a `Tag` and a `Head`, if it lies whole within the
// `left` bytes there and its value is shorter than 2^31 (longer ones are
// refused by the separate steps).
template <typename Tag, typename Head>
bool FindWholeField(const unsigned char* at, unsigned int left, Tag& tag, ValueSpan& value) {
  constexpr unsigned int fixed = sizeof(Tag) + sizeof(Head);
  if (left < fixed)
    return false;
  const unsigned int len = LoadBigEndian<Head>(at + sizeof(Tag));
  if (len > left - fixed || len > static_cast<unsigned int>(INT_MAX))
    return false;
  tag = LoadBigEndian<Tag>(at);
  value = ValueSpan{fixed, len};
  return true;
}

template <typename Tag>
bool FindWholeField(const unsigned char* at,
                    unsigned int left,
                    OrvCommPackDataType type,
                    Tag& tag,
                    ValueSpan& value) {
  switch (type) {
    case OrvCommPackDataByte:
      return FindWholeField<Tag, unsigned char>(at, left, tag, value);
    case OrvCommPackDataWord:
      return FindWholeField<Tag, unsigned short>(at, left, tag, value);
    case OrvCommPackDataDWord:
      return FindWholeField<Tag, unsigned int>(at, left, tag, value);
  }
  return false;
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

// The byte head first: it is the shape of most short fields.
template <typename Tag>
bool CommonPack::AddTagged(Tag tag, const Buffer& value, OrvCommPackDataType type) {
  const unsigned char* const p = value.GetNativeBuf();
  const unsigned int n = value.GetSize();
  bool written = false;
  if (type == OrvCommPackDataByte)
    written = n <= std::numeric_limits<unsigned char>::max() &&
              AddInPlace(true, p, n, tag, static_cast<unsigned char>(n));
  else if (type == OrvCommPackDataWord)
    written = n <= std::numeric_limits<unsigned short>::max() &&
              AddInPlace(true, p, n, tag, static_cast<unsigned short>(n));
  else if (type == OrvCommPackDataDWord)
    written = AddInPlace(true, p, n, tag, n);
  return written || AddTaggedStepwise(tag, value, type);
}

// Out of line, so that the one-pass case needs no stack frame.
template <typename Tag>
__attribute__((noinline)) bool CommonPack::AddTaggedStepwise(Tag tag,
                                                             const Buffer& value,
                                                             OrvCommPackDataType type) {
  return AddFixed(tag, true) && AddVBuf(value, type);
}

bool CommonPack::AddTLV(unsigned char tag, const Buffer& value, OrvCommPackDataType type) {
  return AddTagged(tag, value, type);
}

bool CommonPack::AddTLV(unsigned short tag, const Buffer& value, OrvCommPackDataType type) {
  return AddTagged(tag, value, type);
}

bool CommonPack::AddTLV(unsigned int tag, const Buffer& value, OrvCommPackDataType type) {
  return AddTagged(tag, value, type);
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

// The cursor passes the head before the value is sized: an allocation that
// fails leaves it there, as the separate steps do.
template <typename Tag>
bool CommonPack::GetTagged(Tag& tag, Buffer& value, OrvCommPackDataType type) {
  Tag found;
  ValueSpan span;
  if (!BASE_LIKELY(runMode == ModeDecode &&
                   FindWholeField(inBuf + inPos, inLen - inPos, type, found, span)))
    return GetFixed(tag, true, true) && GetVBuf(value, type, true);
  tag = found;
  inPos += span.offset;
  value.Resize(span.len);
  base::CopyBytes(value.GetNativeBuf(), inBuf + inPos, span.len);
  inPos += span.len;
  return true;
}

template <typename Tag>
bool CommonPack::GetTagged(Tag& tag,
                           unsigned char** value,
                           unsigned int& len,
                           OrvCommPackDataType type) {
  Tag found;
  ValueSpan span;
  if (!BASE_LIKELY(runMode == ModeDecode &&
                   FindWholeField(inBuf + inPos, inLen - inPos, type, found, span) &&
                   (span.len == 0 || (inAttached && value != nullptr))))
    return GetFixed(tag, true, true) && GetVBuf(value, len, type, true);
  tag = found;
  len = span.len;
  if (span.len > 0)
    *value = inBuf + inPos + span.offset;
  inPos += span.offset + span.len;
  return true;
}

bool CommonPack::GetTLV(unsigned char& tag, Buffer& value, OrvCommPackDataType type) {
  return GetTagged(tag, value, type);
}

bool CommonPack::GetTLV(unsigned short& tag, Buffer& value, OrvCommPackDataType type) {
  return GetTagged(tag, value, type);
}

bool CommonPack::GetTLV(unsigned int& tag, Buffer& value, OrvCommPackDataType type) {
  return GetTagged(tag, value, type);
}

bool CommonPack::GetTLV(unsigned char& tag,
                        unsigned char** value,
                        unsigned int& len,
                        OrvCommPackDataType type) {
  return GetTagged(tag, value, len, type);
}

bool CommonPack::GetTLV(unsigned short& tag,
                        unsigned char** value,
                        unsigned int& len,
                        OrvCommPackDataType type) {
  return GetTagged(tag, value, len, type);
}

bool CommonPack::GetTLV(unsigned int& tag,
                        unsigned char** value,
                        unsigned int& len,
                        OrvCommPackDataType type) {
  return GetTagged(tag, value, len, type);
}
