// The writer side: a random message written field by field with every writer,
// then patched, copied, handed over to a Buffer, and read back on a second
// pack field by field.
#include <algorithm>
#include <cstring>
#include <string>

#include "fuzz_check.h"
#include "pack_fuzz.h"

namespace pack_fuzz {
namespace {

// What the string-form readers append to.
const std::string kStringPrefix = "~";

enum Kind {
  kByte,
  kWord,
  kDWord,
  kQWord,
  kRaw,
  kRawPointer,
  kPack,
  kText,
  kTextEnd,
  kLenByte,
  kLenWord,
  kLenDWord,
  kTextLenByte,
  kTextLenWord,
  kTextLenDWord,
  kTlv,
  kKinds
};

// One field of the message, as written; `kind` picks the writer. Text kinds
// hold their text in `bytes`, which then has no zero byte.
struct Field {
  int kind;
  std::uint64_t number;
  bool order;
  int tagWidth;
  OrvCommPackDataType type;
  Bytes bytes;
  bool nullText;
};

bool IsText(int kind) {
  return kind == kText || kind == kTextEnd || (kind >= kTextLenByte && kind <= kTextLenDWord);
}

// A pack given to AddPack that is a reader has no output to add.
bool AddsNothing(const Field& f) {
  return f.kind == kPack && f.order;
}

// Refused fields write nothing: a null text, or more than a 1-byte head counts.
bool IsRefused(const Field& f) {
  return f.nullText || ((f.kind == kLenByte || f.kind == kTextLenByte) && f.bytes.size() > 255);
}

std::size_t WireSize(const Field& f) {
  static const std::size_t kHead[] = {1, 2, 4, 8, 0, 0, 0, 0, 1, 1, 2, 4, 1, 2, 4};
  if (f.kind == kTlv)
    return f.tagWidth + HeadWidth(f.type) + (HeadWidth(f.type) ? f.bytes.size() : 0);
  return kHead[f.kind] + (f.kind >= kRaw && !AddsNothing(f) ? f.bytes.size() : 0);
}

Field RandomField(FuzzedDataProvider& fdp) {
  Field f{};
  f.kind = fdp.ConsumeIntegralInRange(0, kKinds - 1);
  f.number = fdp.ConsumeIntegral<std::uint64_t>();
  f.order = fdp.ConsumeBool();
  static const int kTagWidths[] = {1, 2, 4};
  f.tagWidth = kTagWidths[fdp.ConsumeIntegralInRange(0, 2)];
  f.type = static_cast<OrvCommPackDataType>(fdp.ConsumeIntegralInRange(0, 4));
  // Up to 300 bytes: past the limit of a 1-byte head, which must be refused.
  const std::size_t max = f.kind == kTlv && f.type == OrvCommPackDataByte ? 255 : 300;
  f.bytes = fdp.ConsumeBytes<unsigned char>(fdp.ConsumeIntegralInRange<std::size_t>(0, max));
  if (IsText(f.kind)) {
    f.nullText = fdp.ConsumeIntegralInRange(0, 15) == 0;
    f.bytes.erase(std::find(f.bytes.begin(), f.bytes.end(), 0), f.bytes.end());
  }
  return f;
}

bool AddPackOf(CommonPack& pack, const Field& f, Buffer& b) {
  CommonPack other;
  if (AddsNothing(f))
    other.SetBufferIn(b, false);
  else if (!f.bytes.empty())
    FUZZ_CHECK(other.AddBuf(b));
  const unsigned int otherLen = other.GetBufferOutLen();
  const bool ok = pack.AddPack(other);
  FUZZ_CHECK(other.GetBufferOutLen() == otherLen);
  return ok;
}

bool Write(CommonPack& pack, const Field& f) {
  Buffer b;
  b.CopyFrom(f.bytes.data(), f.bytes.size());
  const std::string textBytes(f.bytes.begin(), f.bytes.end());
  const char* text = f.nullText ? nullptr : textBytes.c_str();
  const auto end = static_cast<unsigned char>(f.number);
  switch (f.kind) {
    case kByte:
      return pack.AddBYTE(static_cast<unsigned char>(f.number));
    case kWord:
      return pack.AddWORD(static_cast<unsigned short>(f.number), f.order);
    case kDWord:
      return pack.AddDWORD(static_cast<unsigned int>(f.number), f.order);
    case kQWord:
      return pack.AddUINT64(f.number, f.order);
    case kRaw:
      return pack.AddBuf(b);
    case kRawPointer:
      return pack.AddBuf(f.bytes.data(), f.bytes.size());
    case kPack:
      return AddPackOf(pack, f, b);
    case kText:
      return pack.AddStr(text);
    case kTextEnd:
      return pack.AddStrEndChar(text, end);
    case kLenByte:
      return pack.AddBufLenByte(b);
    case kLenWord:
      return pack.AddBufLenWord(b, f.order);
    case kLenDWord:
      return pack.AddBufLenDWord(b, f.order);
    case kTextLenByte:
      return pack.AddStrLenByte(text);
    case kTextLenWord:
      return pack.AddStrLenWord(text, f.order);
    case kTextLenDWord:
      return pack.AddStrLenDWord(text, f.order);
  }
  if (f.tagWidth == 1)
    return pack.AddTLV(static_cast<unsigned char>(f.number), b, f.type);
  if (f.tagWidth == 2)
    return pack.AddTLV(static_cast<unsigned short>(f.number), b, f.type);
  return pack.AddTLV(static_cast<unsigned int>(f.number), b, f.type);
}

template <typename T>
void ExpectFixed(CommonPack& pack, bool (CommonPack::*get)(T&, bool, bool), const Field& f) {
  T v = 0;
  FUZZ_CHECK((pack.*get)(v, f.order, true) && v == static_cast<T>(f.number));
}

// `n` raw bytes, in place when the input is attached.
void ExpectRaw(CommonPack& pack, const Bytes& want, std::size_t n, bool attach) {
  if (attach) {
    unsigned char* p = nullptr;
    FUZZ_CHECK(pack.GetBuf(&p, static_cast<int>(n)) &&
               (n == 0 || std::memcmp(p, want.data(), n) == 0));
  } else {
    Buffer got;
    FUZZ_CHECK(pack.GetBuf(got, static_cast<int>(n)) && SameBytes(got, want.data(), n));
  }
}

// A head of 0 reads back as false, with the cursor behind it.
void ExpectHeaded(CommonPack& pack, const Field& f, int width) {
  const std::size_t n = f.bytes.size();
  if (IsText(f.kind)) {
    std::string s = kStringPrefix;
    const bool ok = width == 1 ? pack.GetStrByteLenHead(s) : pack.GetStrWordLenHead(s);
    FUZZ_CHECK(ok == (n > 0) && s == kStringPrefix + std::string(f.bytes.begin(), f.bytes.end()));
  } else {
    Buffer got;
    const bool ok = width == 1 ? pack.GetBufByteLenHead(got) : pack.GetBufWordLenHead(got);
    FUZZ_CHECK(ok == (n > 0) && SameBytes(got, f.bytes.data(), n));
  }
}

// The text, found again by its end byte (or an earlier copy of it inside).
void ExpectEndedText(CommonPack& pack, const Field& f, bool attach) {
  const auto end = static_cast<unsigned char>(f.number);
  const Bytes& text = f.bytes;
  std::size_t at = 0;
  while (at < text.size() && text[at] != end)
    ++at;
  FUZZ_CHECK(pack.CheckBufEndChar(end) == static_cast<int>(at));
  ExpectRaw(pack, text, text.size(), attach);
  unsigned char v = 0;
  FUZZ_CHECK(f.order ? pack.GetBYTE(v) && v == end : pack.JumpByte());
}

void ExpectTlv(CommonPack& pack, const Field& f, bool attach) {
  const std::size_t valueSize = HeadWidth(f.type) ? f.bytes.size() : 0;
  std::uint64_t tag = 0;
  bool ok = false;
  Buffer got;
  unsigned char* p = nullptr;
  unsigned int len = 0;
  if (f.tagWidth == 1) {
    unsigned char t = 0;
    ok = attach ? pack.GetTLV(t, &p, len, f.type) : pack.GetTLV(t, got, f.type);
    tag = t;
  } else if (f.tagWidth == 2) {
    unsigned short t = 0;
    ok = attach ? pack.GetTLV(t, &p, len, f.type) : pack.GetTLV(t, got, f.type);
    tag = t;
  } else {
    unsigned int t = 0;
    ok = attach ? pack.GetTLV(t, &p, len, f.type) : pack.GetTLV(t, got, f.type);
    tag = t;
  }
  const std::uint64_t mask = (f.tagWidth == 4) ? 0xFFFFFFFFu : (1u << (8 * f.tagWidth)) - 1;
  FUZZ_CHECK(ok && tag == (f.number & mask));
  if (attach)
    FUZZ_CHECK(len == valueSize && (len == 0 || std::memcmp(p, f.bytes.data(), len) == 0));
  else
    FUZZ_CHECK(SameBytes(got, f.bytes.data(), valueSize));
}

void ExpectRead(CommonPack& pack, const Field& f, bool attach) {
  const std::size_t n = f.bytes.size();
  switch (f.kind) {
    case kByte: {
      unsigned char v = 0;
      FUZZ_CHECK(pack.GetBYTE(v) && v == static_cast<unsigned char>(f.number));
      return;
    }
    case kWord:
      return ExpectFixed<unsigned short>(pack, &CommonPack::GetWORD, f);
    case kDWord:
      return ExpectFixed<unsigned int>(pack, &CommonPack::GetDWORD, f);
    case kQWord:
      return ExpectFixed<unsigned long long>(pack, &CommonPack::GetUINT64, f);
    case kRaw:
    case kRawPointer:
    case kPack:
    case kText:
      return ExpectRaw(pack, f.bytes, AddsNothing(f) ? 0 : n, attach);
    case kTextEnd:
      return ExpectEndedText(pack, f, attach);
    case kLenByte:
    case kTextLenByte:
      return ExpectHeaded(pack, f, 1);
    case kLenWord:
    case kTextLenWord:
      if (f.order)
        return ExpectHeaded(pack, f, 2);
      {
        unsigned short len = 0;
        FUZZ_CHECK(pack.GetWORD(len, false) && len == n);
      }
      return ExpectRaw(pack, f.bytes, n, attach);
    case kLenDWord:
    case kTextLenDWord: {
      unsigned int len = 0;
      FUZZ_CHECK(pack.GetDWORD(len, f.order) && len == n);
      return ExpectRaw(pack, f.bytes, n, attach);
    }
  }
  ExpectTlv(pack, f, attach);
}

// Patches a word of the message on a copy made by assignment and checks the
// copy's bytes against the original output with the same patch applied.
void CheckPatchedCopy(FuzzedDataProvider& fdp, const CommonPack& copy, const Buffer& out) {
  const std::size_t len = out.GetSize();
  CommonPack patched;
  FUZZ_CHECK(patched.AddWORD(0xBEEF, true));  // a block for the assignment to replace
  patched = copy;
  const auto offset = fdp.ConsumeIntegralInRange<unsigned int>(0, len + 1);
  const auto word = fdp.ConsumeIntegral<unsigned short>();
  const bool order = fdp.ConsumeBool();
  const bool fits = len >= 2 && offset <= len - 2;
  FUZZ_CHECK(patched.SetWORD(word, offset, order) == fits);

  Bytes want(out.GetNativeBuf(), out.GetNativeBuf() + len);
  if (fits) {
    want[offset + (order ? 0 : 1)] = static_cast<unsigned char>(word >> 8);
    want[offset + (order ? 1 : 0)] = static_cast<unsigned char>(word);
  }
  Bytes image(len + 1);
  unsigned int copied = 12345;
  FUZZ_CHECK(patched.CopyBufferOut(image.data(), copied) == (len > 0) && copied == len);
  FUZZ_CHECK(len == 0 || std::memcmp(image.data(), want.data(), len) == 0);
}

}  // namespace

void FuzzWriter(FuzzedDataProvider& fdp) {
  CommonPack writer;
  writer.SetGrowLen(fdp.ConsumeIntegralInRange<unsigned int>(0, 2048));
  const bool attach = fdp.ConsumeBool();
  std::vector<Field> written;
  std::size_t expectedLen = 0;
  while (fdp.remaining_bytes() > 0 && written.size() < 64) {
    if (fdp.ConsumeIntegralInRange(0, 31) == 0) {
      writer.Reset();
      FUZZ_CHECK(writer.GetRunMode() == CommonPack::ModeNone && writer.GetBufferOutLen() == 0);
      written.clear();
      expectedLen = 0;
      continue;
    }
    const Field f = RandomField(fdp);
    FUZZ_CHECK(Write(writer, f) == !IsRefused(f));
    if (!IsRefused(f)) {
      expectedLen += WireSize(f);
      written.push_back(f);
    }
    FUZZ_CHECK(writer.GetBufferOutLen() == expectedLen);
  }

  const CommonPack copy(writer);
  Buffer out, copied;
  FUZZ_CHECK(writer.GetBufferOut(out) == (expectedLen > 0));
  FUZZ_CHECK(out.GetSize() == expectedLen);
  FUZZ_CHECK(writer.GetRunMode() == CommonPack::ModeEncode && writer.GetBufferOutLen() == 0);
  // The copy owns a block of its own with the same bytes; an undecided pack
  // has no output to copy.
  FUZZ_CHECK(copy.CopyBufferOut(copied) == (copy.GetRunMode() == CommonPack::ModeEncode));
  FUZZ_CHECK(SameBytes(copied, out.GetNativeBuf(), out.GetSize()));
  CheckPatchedCopy(fdp, copy, out);

  // The block leaves the Buffer and is taken over by another: both ends must
  // agree on the allocator.
  unsigned char* block = out.Detach();
  FUZZ_CHECK(out.IsEmpty() && out.GetSize() == 0 && (block != nullptr) == (expectedLen > 0));
  Buffer message;
  FUZZ_CHECK(message.Attach(block, expectedLen) == (block != nullptr));

  CommonPack reader;
  reader.SetBufferIn(message, attach);
  for (const Field& f : written)
    ExpectRead(reader, f, attach);
  FUZZ_CHECK(reader.GetBufferByteLeft() == 0);
}

}  // namespace pack_fuzz
