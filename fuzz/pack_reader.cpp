// The reader side: hostile input, and every read, jump and hand-over of a
// reader checked against a small model of the wire format (result, value,
// cursor). Copies, resets and new input are part of the script, so that a
// cursor or an owned input that does not survive them shows up in the next
// read.
#include <climits>
#include <cstring>
#include <new>
#include <string>

#include "fuzz_check.h"
#include "pack_fuzz.h"

namespace pack_fuzz {
namespace {

// Buffer-form reads allocate what a head claims; keep the fuzzer's memory sane.
constexpr std::uint64_t kMaxClaim = 1 << 16;

// What the string-form readers append to; it must survive a failed read.
const std::string kStringPrefix = "~";

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
    SetInput();
  }

  void Run() {
    while (fdp_.remaining_bytes() > 0) {
      pos_ = in_.size() - Left();
      ReadOne();
      FUZZ_CHECK(Left() <= in_.size() - pos_);  // never back (but by Restart), never beyond
    }
  }

 private:
  std::size_t Left() const { return static_cast<std::size_t>(pack_.GetBufferByteLeft()); }
  void ExpectCursor(std::size_t pos) const { FUZZ_CHECK(in_.size() - Left() == pos); }
  void SetInput() {
    pack_.SetBufferIn(const_cast<unsigned char*>(in_.data()), in_.size(), attach_);
  }

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

  // Length-headed reads with a 1- or 2-byte head, into a Buffer or appended
  // to a string.
  void Headed() {
    const int width = fdp_.ConsumeBool() ? 1 : 2;
    const bool intoString = fdp_.ConsumeBool();
    Buffer dst;
    std::string s = kStringPrefix;
    bool ok = false;
    if (intoString)
      ok = width == 1 ? pack_.GetStrByteLenHead(s) : pack_.GetStrWordLenHead(s);
    else
      ok = width == 1 ? pack_.GetBufByteLenHead(dst) : pack_.GetBufWordLenHead(dst);
    const bool headIn = in_.size() - pos_ >= static_cast<std::size_t>(width);
    const std::size_t len = headIn ? ReadNumber(in_, pos_, width, true) : 0;
    const std::size_t body = pos_ + width;
    const bool complete = headIn && len > 0 && len <= in_.size() - body;
    FUZZ_CHECK(ok == complete);
    ExpectCursor(headIn ? body + (ok ? len : 0) : pos_);
    if (intoString) {
      const char* value = ok ? reinterpret_cast<const char*>(&in_[body]) : "";
      FUZZ_CHECK(s == kStringPrefix + std::string(value, ok ? len : 0));
    } else {
      FUZZ_CHECK(dst.GetSize() == len);
      FUZZ_CHECK(!ok || SameBytes(dst, &in_[body], len));
    }
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
    if (!zeroCopy && len > kMaxClaim) {
      if (len > INT_MAX)
        HugeClaim(tagWidth, type, body);
      return;  // would allocate what the head claims; covered by the unit tests
    }

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

  // A claim of 2^31 bytes or more is refused like a failed allocation of its
  // size, without trying one: tag and head are used up, the value untouched.
  void HugeClaim(int tagWidth, OrvCommPackDataType type, std::size_t body) {
    Buffer value;
    std::uint32_t tag = 0;
    bool refused = false;
    try {
      TlvBuffer(tagWidth, value, type, tag);
    } catch (const std::bad_alloc&) {
      refused = true;
    }
    FUZZ_CHECK(refused && value.IsEmpty());
    ExpectCursor(body);
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

  void Jump() {
    const int kind = fdp_.ConsumeIntegralInRange(0, 3);
    static const int kWidths[] = {1, 2, 4};
    const int n = kind < 3 ? kWidths[kind]
                           : fdp_.ConsumeIntegralInRange<int>(-1, static_cast<int>(Left()) + 1);
    const bool fits = n >= 0 && static_cast<std::size_t>(n) <= Left();
    bool ok = false;
    switch (kind) {
      case 0:
        ok = pack_.JumpByte();
        break;
      case 1:
        ok = pack_.JumpWord();
        break;
      case 2:
        ok = pack_.JumpDWord();
        break;
      default:
        ok = pack_.JumpBuf(n);
        break;
    }
    FUZZ_CHECK(ok == fits);
    ExpectCursor(pos_ + (fits ? n : 0));
  }

  void EndChar() {
    const unsigned char c = fdp_.ConsumeIntegral<unsigned char>();
    const void* hit = pos_ < in_.size() ? std::memchr(&in_[pos_], c, in_.size() - pos_) : nullptr;
    const int want =
        hit ? static_cast<int>(static_cast<const unsigned char*>(hit) - &in_[pos_]) : -1;
    FUZZ_CHECK(pack_.CheckBufEndChar(c) == want);
  }

  // A reader refuses writes, and copies into nowhere, without moving.
  void RefusedWhileReading() {
    const unsigned char byte = 0x5A;
    unsigned int len = 0;
    FUZZ_CHECK(!pack_.AddBYTE(byte) && !pack_.AddBuf(&byte, 1));
    FUZZ_CHECK(!pack_.CopyBufferOut(nullptr, len) && !pack_.CopyDecodeBufferOut(nullptr, len));
    ExpectCursor(pos_);
  }

  // The whole input, whatever the cursor says.
  void CopyWholeInput() {
    Bytes all(in_.size() + 1);
    unsigned int len = 12345;
    const bool ok = pack_.CopyDecodeBufferOut(all.data(), len);
    FUZZ_CHECK(ok == !in_.empty() && len == in_.size());
    FUZZ_CHECK(in_.empty() || std::memcmp(all.data(), in_.data(), in_.size()) == 0);
    ExpectCursor(pos_);
  }

  // The reader goes on as a copy of itself, made into a pack that owned an
  // output block of its own: the copy keeps the cursor and needs nothing of
  // the original, which is gone before the next read.
  void ContinueOnCopy() {
    {
      const OpenPack copy(pack_);
      pack_.Reset();
      FUZZ_CHECK(pack_.GetRunMode() == CommonPack::ModeNone && Left() == 0);
      FUZZ_CHECK(pack_.AddBYTE(0x5A));
      pack_ = copy;
    }
    CommonPack& plain = pack_;
    const CommonPack& self = pack_;
    plain = self;  // an assignment to itself changes nothing
    FUZZ_CHECK(pack_.GetRunMode() == CommonPack::ModeDecode && pack_.GetBufferOutLen() == 0);
    ExpectCursor(pos_);
  }

  // New input (the same bytes) puts the cursor back at the start, with or
  // without a Reset first; a writer in between ignores it.
  void Restart() {
    if (fdp_.ConsumeBool()) {
      pack_.Reset();
      FUZZ_CHECK(pack_.AddBYTE(0));
      SetInput();
      FUZZ_CHECK(pack_.GetRunMode() == CommonPack::ModeEncode && Left() == 0);
      pack_.Reset();
    }
    SetInput();
    pos_ = 0;
    ExpectCursor(pos_);
  }

  void ReadOne() {
    switch (fdp_.ConsumeIntegralInRange(0, 15)) {
      case 0: {
        unsigned char v = 0;
        const bool advance = fdp_.ConsumeBool();
        FUZZ_CHECK(pack_.GetBYTE(v, advance) == (pos_ < in_.size()));
        FUZZ_CHECK(pos_ == in_.size() || v == in_[pos_]);
        ExpectCursor(pos_ + (advance && pos_ < in_.size() ? 1 : 0));
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
      case 8:
      case 9:
        return Jump();
      case 10:
        return EndChar();
      case 11:
        return CopyWholeInput();
      case 12:
        return ContinueOnCopy();
      case 13:
        return Restart();
      case 14:
        return RefusedWhileReading();
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

}  // namespace

void FuzzReader(FuzzedDataProvider& fdp) {
  const bool attach = fdp.ConsumeBool();
  const Bytes in =
      fdp.ConsumeBytes<unsigned char>(fdp.ConsumeIntegralInRange<std::size_t>(0, 4096));
  Reader(fdp, in, attach).Run();
}

}  // namespace pack_fuzz
