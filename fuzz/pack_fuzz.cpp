// Drives CommonPack two ways. As a reader: random input, then a random sequence
// of reads, each checked against a small model of the wire format (result,
// value, cursor). As a writer: a random message written field by field, handed
// over to a Buffer, read back on a second pack and compared field by field.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "base/buffer.h"
#include "base/commonpack.h"

namespace {

#define FUZZ_CHECK(condition) \
  do {                        \
    if (!(condition))         \
      std::abort();           \
  } while (0)

using Bytes = std::vector<unsigned char>;

// Buffer-form reads allocate what a head claims; keep the fuzzer's memory sane.
constexpr std::uint64_t kMaxClaim = 1 << 16;

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

// Exposes the protected variable-width reads with the flag the library never
// passes itself.
class OpenPack : public CommonPack {
 public:
  using CommonPack::GetVBuf;
};

class Reader {
 public:
  Reader(FuzzedDataProvider& fdp, const Bytes& in, bool attach)
      : fdp_(fdp), in_(in), attach_(attach) {
    pack_.SetBufferIn(const_cast<unsigned char*>(in_.data()), in_.size(), attach_);
  }

  void Run() {
    while (fdp_.remaining_bytes() > 0) {
      pos_ = in_.size() - Left();
      ReadOne();
      FUZZ_CHECK(Left() <= in_.size() - pos_);  // never back, never beyond
    }
  }

 private:
  std::size_t Left() const { return static_cast<std::size_t>(pack_.GetBufferByteLeft()); }
  void ExpectCursor(std::size_t pos) const { FUZZ_CHECK(in_.size() - Left() == pos); }

  // A failed read leaves `v` as it was, or byte-reversed in network order.
  template <typename T>
  void Fixed(bool (CommonPack::*get)(T&, bool, bool)) {
    const bool order = fdp_.ConsumeBool(), advance = fdp_.ConsumeBool();
    const bool fits = in_.size() - pos_ >= sizeof(T);
    const T entry = static_cast<T>(0x0102030405060708ull);
    T v = entry;
    FUZZ_CHECK((pack_.*get)(v, order, advance) == fits);
    if (fits) {
      FUZZ_CHECK(v == static_cast<T>(ReadNumber(in_, pos_, sizeof(T), order)));
      ExpectCursor(pos_ + (advance ? sizeof(T) : 0));
    } else {
      Bytes entryBytes(sizeof(T));
      std::memcpy(entryBytes.data(), &entry, sizeof(T));
      FUZZ_CHECK(v == static_cast<T>(ReadNumber(entryBytes, 0, sizeof(T), order)));
      ExpectCursor(pos_);
    }
  }

  void Raw() {
    const int n = fdp_.ConsumeIntegralInRange<int>(-2, static_cast<int>(Left()) + 2);
    const bool fits = n >= 0 && static_cast<std::size_t>(n) <= Left();
    const unsigned char* want = fits && n > 0 ? &in_[pos_] : nullptr;
    bool ok = false;
    switch (fdp_.ConsumeIntegralInRange(0, 2)) {
      case 0: {
        Buffer dst;
        ok = pack_.GetBuf(dst, n, true);
        FUZZ_CHECK(ok == fits && (!ok || SameBytes(dst, want, n)));
        break;
      }
      case 1: {
        Bytes dst(n > 0 ? n : 1);
        ok = pack_.GetBuf(dst.data(), n, true);
        FUZZ_CHECK(ok == fits && (!ok || n == 0 || std::memcmp(dst.data(), want, n) == 0));
        break;
      }
      default: {
        unsigned char* p = nullptr;
        ok = pack_.GetBuf(&p, n, true);
        FUZZ_CHECK(ok == (fits && attach_) && (!ok || n == 0 || p == want));
        break;
      }
    }
    ExpectCursor(pos_ + (ok ? n : 0));
  }

  // Length-headed reads with a 1- or 2-byte head.
  void Headed() {
    const int width = fdp_.ConsumeBool() ? 1 : 2;
    Buffer dst;
    const bool ok = width == 1 ? pack_.GetBufByteLenHead(dst) : pack_.GetBufWordLenHead(dst);
    if (in_.size() - pos_ < static_cast<std::size_t>(width)) {
      FUZZ_CHECK(!ok && dst.IsEmpty());
      ExpectCursor(pos_);
      return;
    }
    const std::size_t len = ReadNumber(in_, pos_, width, true);
    const std::size_t body = pos_ + width;
    const bool complete = len > 0 && len <= in_.size() - body;
    FUZZ_CHECK(ok == complete && dst.GetSize() == len);
    FUZZ_CHECK(!ok || SameBytes(dst, &in_[body], len));
    ExpectCursor(body + (ok ? len : 0));
  }

  void Tlv() {
    static const int kTagWidths[] = {1, 2, 4};
    const int tagWidth = kTagWidths[fdp_.ConsumeIntegralInRange(0, 2)];
    const auto type = static_cast<OrvCommPackDataType>(fdp_.ConsumeIntegralInRange(0, 4));
    const bool zeroCopy = fdp_.ConsumeBool();
    const int head = HeadWidth(type);
    const std::size_t left = Left();

    // The model: where the tag, head and value end, and what should come out.
    const bool tagIn = left >= static_cast<std::size_t>(tagWidth);
    const bool headIn = tagIn && left - tagWidth >= static_cast<std::size_t>(head);
    const std::uint64_t len = headIn && head > 0 ? ReadNumber(in_, pos_ + tagWidth, head, true) : 0;
    const std::size_t body = pos_ + tagWidth + head;
    if (!zeroCopy && len > kMaxClaim)
      return;  // would allocate what the head claims; covered by the unit tests

    std::uint32_t tag = 0;
    bool ok = false;
    Buffer value;
    unsigned char* p = nullptr;
    unsigned int zlen = 0;
    if (zeroCopy)
      ok = TlvZeroCopy(tagWidth, &p, zlen, type, tag);
    else
      ok = TlvBuffer(tagWidth, value, type, tag);

    if (!tagIn) {
      FUZZ_CHECK(!ok);
      ExpectCursor(pos_);
      return;
    }
    FUZZ_CHECK(tag == ReadNumber(in_, pos_, tagWidth, true));
    if (!headIn) {
      FUZZ_CHECK(!ok && value.IsEmpty() && zlen == 0);
      ExpectCursor(pos_ + tagWidth);
      return;
    }
    const bool valueIn = len <= in_.size() - body;
    const bool expectOk = len == 0 || (valueIn && (!zeroCopy || attach_));
    FUZZ_CHECK(ok == expectOk);
    if (zeroCopy) {
      FUZZ_CHECK(zlen == len);
      FUZZ_CHECK(!(ok && len > 0) || p == &in_[body]);
    } else {
      FUZZ_CHECK(value.GetSize() == len);
      FUZZ_CHECK(!ok || SameBytes(value, len ? &in_[body] : nullptr, len));
    }
    ExpectCursor(body + (ok ? len : 0));
  }

  bool TlvBuffer(int width, Buffer& value, OrvCommPackDataType type, std::uint32_t& tag) {
    bool ok = false;
    if (width == 1) {
      unsigned char t = 0;
      ok = pack_.GetTLV(t, value, type);
      tag = t;
    } else if (width == 2) {
      unsigned short t = 0;
      ok = pack_.GetTLV(t, value, type);
      tag = t;
    } else {
      unsigned int t = 0;
      ok = pack_.GetTLV(t, value, type);
      tag = t;
    }
    return ok;
  }

  bool TlvZeroCopy(int width,
                   unsigned char** p,
                   unsigned int& len,
                   OrvCommPackDataType type,
                   std::uint32_t& tag) {
    bool ok = false;
    if (width == 1) {
      unsigned char t = 0;
      ok = pack_.GetTLV(t, p, len, type);
      tag = t;
    } else if (width == 2) {
      unsigned short t = 0;
      ok = pack_.GetTLV(t, p, len, type);
      tag = t;
    } else {
      unsigned int t = 0;
      ok = pack_.GetTLV(t, p, len, type);
      tag = t;
    }
    return ok;
  }

  // The look-ahead flag of the protected form: results are only checked for
  // staying inside the input.
  void VBufLookAhead() {
    const auto type = static_cast<OrvCommPackDataType>(fdp_.ConsumeIntegralInRange(1, 3));
    unsigned char* p = nullptr;
    unsigned int len = 0;
    if (pack_.GetVBuf(&p, len, type, false) && len > 0 && attach_)
      FUZZ_CHECK(p >= in_.data() && p + len <= in_.data() + in_.size());
  }

  void ReadOne() {
    switch (fdp_.ConsumeIntegralInRange(0, 10)) {
      case 0: {
        unsigned char v = 0;
        const bool advance = fdp_.ConsumeBool();
        FUZZ_CHECK(pack_.GetBYTE(v, advance) == (pos_ < in_.size()));
        FUZZ_CHECK(pos_ == in_.size() || v == in_[pos_]);
        break;
      }
      case 1:
        return Fixed<unsigned short>(&CommonPack::GetWORD);
      case 2:
        return Fixed<unsigned int>(&CommonPack::GetDWORD);
      case 3:
        return Fixed<unsigned long long>(&CommonPack::GetUINT64);
      case 4:
        return Raw();
      case 5:
        return Headed();
      case 6:
      case 7:
        return Tlv();
      case 8: {
        const int n = fdp_.ConsumeIntegralInRange<int>(-1, static_cast<int>(Left()) + 1);
        const bool fits = n >= 0 && static_cast<std::size_t>(n) <= Left();
        FUZZ_CHECK(pack_.JumpBuf(n) == fits);
        ExpectCursor(pos_ + (fits ? n : 0));
        break;
      }
      case 9: {
        const unsigned char c = fdp_.ConsumeIntegral<unsigned char>();
        const void* hit =
            pos_ < in_.size() ? std::memchr(&in_[pos_], c, in_.size() - pos_) : nullptr;
        const int want =
            hit ? static_cast<int>(static_cast<const unsigned char*>(hit) - &in_[pos_]) : -1;
        FUZZ_CHECK(pack_.CheckBufEndChar(c) == want);
        break;
      }
      default:
        return VBufLookAhead();
    }
  }

  FuzzedDataProvider& fdp_;
  const Bytes& in_;
  const bool attach_;
  OpenPack pack_;
  std::size_t pos_ = 0;
};

// One field of the writer's message, as written; `kind` picks the writer.
struct Field {
  int kind;
  std::uint64_t number;
  bool order;
  int tagWidth;
  OrvCommPackDataType type;
  Bytes bytes;
};

enum Kind { kByte, kWord, kDWord, kQWord, kRaw, kLenByte, kLenWord, kLenDWord, kTlv, kKinds };

std::size_t WireSize(const Field& f) {
  static const std::size_t kFixed[] = {1, 2, 4, 8, 0, 1, 2, 4};
  if (f.kind == kTlv)
    return f.tagWidth + HeadWidth(f.type) + (HeadWidth(f.type) ? f.bytes.size() : 0);
  return kFixed[f.kind] + (f.kind >= kRaw ? f.bytes.size() : 0);
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
  return f;
}

bool Write(CommonPack& pack, const Field& f) {
  Buffer b;
  b.CopyFrom(f.bytes.data(), f.bytes.size());
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
    case kLenByte:
      return pack.AddBufLenByte(b);
    case kLenWord:
      return pack.AddBufLenWord(b, f.order);
    case kLenDWord:
      return pack.AddBufLenDWord(b, f.order);
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

void ExpectRead(CommonPack& pack, const Field& f, bool attach) {
  const std::size_t n = f.bytes.size();
  const unsigned char* want = f.bytes.data();
  Buffer got;
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
      FUZZ_CHECK(pack.GetBuf(got, static_cast<int>(n)) && SameBytes(got, want, n));
      return;
    case kLenByte:
      // A head of 0 reads back as false, with the cursor behind it.
      FUZZ_CHECK(pack.GetBufByteLenHead(got) == (n > 0) && SameBytes(got, want, n));
      return;
    case kLenWord:
      if (f.order) {
        FUZZ_CHECK(pack.GetBufWordLenHead(got) == (n > 0) && SameBytes(got, want, n));
      } else {
        unsigned short len = 0;
        FUZZ_CHECK(pack.GetWORD(len, false) && len == n);
        FUZZ_CHECK(pack.GetBuf(got, len) && SameBytes(got, want, n));
      }
      return;
    case kLenDWord: {
      unsigned int len = 0;
      FUZZ_CHECK(pack.GetDWORD(len, f.order) && len == n);
      FUZZ_CHECK(pack.GetBuf(got, static_cast<int>(len)) && SameBytes(got, want, n));
      return;
    }
  }
  // TLV: the tag always; the value only when the type has a head.
  const std::size_t valueSize = HeadWidth(f.type) ? n : 0;
  std::uint64_t tag = 0;
  bool ok = false;
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
    FUZZ_CHECK(len == valueSize && (len == 0 || std::memcmp(p, want, len) == 0));
  else
    FUZZ_CHECK(SameBytes(got, want, valueSize));
}

void FuzzWriter(FuzzedDataProvider& fdp) {
  CommonPack writer;
  writer.SetGrowLen(fdp.ConsumeIntegralInRange<unsigned int>(0, 2048));
  const bool attach = fdp.ConsumeBool();
  std::vector<Field> written;
  std::size_t expectedLen = 0;
  while (fdp.remaining_bytes() > 0 && written.size() < 64) {
    const Field f = RandomField(fdp);
    const unsigned int before = writer.GetBufferOutLen();
    if (Write(writer, f)) {
      expectedLen += WireSize(f);
      written.push_back(f);
    } else {
      // Only a 1-byte head over its limit is refused, and it writes nothing.
      FUZZ_CHECK(f.kind == kLenByte && f.bytes.size() > 255);
      FUZZ_CHECK(writer.GetBufferOutLen() == before);
    }
    FUZZ_CHECK(writer.GetBufferOutLen() == expectedLen);
  }

  const CommonPack copy(writer);
  Buffer out, copied;
  FUZZ_CHECK(writer.GetBufferOut(out) == (expectedLen > 0));
  FUZZ_CHECK(out.GetSize() == expectedLen);
  // The copy owns a block of its own with the same bytes; an undecided pack
  // has no output to copy.
  FUZZ_CHECK(copy.CopyBufferOut(copied) == (copy.GetRunMode() == CommonPack::ModeEncode));
  FUZZ_CHECK(copied.Compare(out.GetNativeBuf(), out.GetSize()) == 0);

  CommonPack reader;
  reader.SetBufferIn(out, attach);
  for (const Field& f : written)
    ExpectRead(reader, f, attach);
  FUZZ_CHECK(reader.GetBufferByteLeft() == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider fdp(data, size);
  if (fdp.ConsumeBool()) {
    FuzzWriter(fdp);
  } else {
    const bool attach = fdp.ConsumeBool();
    const Bytes in =
        fdp.ConsumeBytes<unsigned char>(fdp.ConsumeIntegralInRange<std::size_t>(0, 4096));
    Reader(fdp, in, attach).Run();
  }
  return 0;
}
