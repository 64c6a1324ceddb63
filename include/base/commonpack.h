// CommonPack: the binary message packer. One object is either a writer, which
// appends fields to an output block that grows as needed, or a reader, which
// takes fields from an input through a cursor that only moves forward. The
// first operation that writes or reads decides which (the mode latch); only
// Reset undoes that. A message is the plain concatenation of its fields: no
// header, padding, type mark or checksum. Readers must ask for the fields in
// the order they were written.
//
// Byte order is chosen per call: `netOrder` true puts the most significant byte
// first, false the least significant first. Tags and length heads of the TLV
// fields are always big-endian.
//
// Readers never read beyond the input, whatever it claims. A failed read may
// still have consumed a length head and may leave its destination changed; the
// comment of each reader says how. The Buffer-form readers allocate what a head
// claims before the bytes are known to be there: a hostile 4-byte head can ask
// for up to 2 GiB. Heads of 2^31 or more are refused with std::bad_alloc.
// Check GetBufferByteLeft, or use the zero-copy forms, before trusting a head.
//
// Ownership: the output block moves to a Buffer through GetBufferOut without a
// copy. Input set with `attach` true is read in place and never released by the
// pack; it must stay valid and unchanged while the pack reads it, and only such
// a reader gives out pointers into it (the zero-copy forms). Copying a pack
// copies the blocks it owns; an attached input stays shared, with a cursor of
// each copy's own.
//
// Threading: no locks. A CommonPack belongs to one thread at a time.
//
// Field order is part of the binary contract with modules built apart:
// outLen, outCap, outBuf, inBuf, inPos, inLen, growLen, inAttached, runMode.
#ifndef BASE_COMMONPACK_H_
#define BASE_COMMONPACK_H_

#include <cstring>
#include <string>

#include "base/buffer.h"
#include "base/export.h"
#include "base/likely.h"

// Width of the length head of a variable-width or TLV field; big-endian on the
// wire. Any other value means "no head": none is written and none is read.
// The fixed underlying type makes every such value a valid one to pass.
enum OrvCommPackDataType : int {
  OrvCommPackDataByte = 1,
  OrvCommPackDataWord = 2,
  OrvCommPackDataDWord = 3,
};

class BASE_EXPORT CommonPack {
 public:
  enum RunMode {
    ModeNone = 0,
    ModeEncode = 1,
    ModeDecode = 2,
  };

  // Growth step of the output of a new or reset pack.
  static constexpr unsigned int DefaultGrowLen = 512;

  CommonPack();
  CommonPack(const CommonPack& other);
  CommonPack& operator=(const CommonPack& other);
  virtual ~CommonPack();

  RunMode GetRunMode() const;
  // Growth step of the output; 0 counts as 1. Governs later growth only and
  // does not survive Reset.
  void SetGrowLen(unsigned int n);
  // Releases what the pack owns and makes it a new pack again.
  void Reset();

  // --- Output (writers) ---

  unsigned int GetBufferOutLen() const;
  // Moves the output block into `out` (whose old contents are released) without
  // copying. The pack stays a writer, empty, and may go on writing. False when
  // nothing has been written or the pack is a reader.
  bool GetBufferOut(Buffer& out);
  // Copies the output to `dst`, which must have room for GetBufferOutLen()
  // bytes; `len` receives the count (0 on failure, untouched for a null `dst`).
  bool CopyBufferOut(unsigned char* dst, unsigned int& len) const;
  // Replaces `out` with a copy of the output; true for any writer, also an
  // empty one. `out` is untouched when the pack is not a writer.
  bool CopyBufferOut(Buffer& out) const;

  // Fixed-width fields.
  bool AddBYTE(unsigned char v) { return AddFixed(v, false); }
  bool AddWORD(unsigned short v, bool netOrder) { return AddFixed(v, netOrder); }
  bool AddDWORD(unsigned int v, bool netOrder) { return AddFixed(v, netOrder); }
  bool AddUINT64(unsigned long long v, bool netOrder) { return AddFixed(v, netOrder); }
  // Overwrites 2 bytes already written at `offset` (up to GetBufferOutLen() - 2).
  // Does not look at the mode.
  bool SetWORD(unsigned short v, unsigned int offset, bool netOrder);

  // Raw bytes, no head. Adding 0 bytes succeeds and does not look at `p`. Bytes
  // inside this pack's own output are not supported: growth may release them.
  bool AddBuf(const unsigned char* p, unsigned int n);
  bool AddBuf(const Buffer& b);
  // The output of `other`, whatever its mode; nothing when it has none.
  bool AddPack(const CommonPack& other);
  // Text is the bytes up to the first zero byte, which never goes on the wire.
  // A null text is refused.
  bool AddStr(const char* s);
  // The text, then the byte `end`; no end byte when the text is refused.
  bool AddStrEndChar(const char* s, unsigned char end);

  // Length-headed bytes: a head with the byte count, then the bytes. A length
  // beyond the head (255, 65535) is refused before anything is written. If the
  // bytes are refused after the head went out, the head stays in the output.
  bool AddBufLenByte(const Buffer& b);
  bool AddBufLenWord(const Buffer& b, bool netOrder);
  bool AddBufLenDWord(const Buffer& b, bool netOrder);
  bool AddStrLenByte(const char* s);
  bool AddStrLenWord(const char* s, bool netOrder);
  bool AddStrLenDWord(const char* s, bool netOrder);

  // TLV fields: a big-endian tag of 1, 2 or 4 bytes, then a variable-width
  // field. A value refused by its head leaves the tag in the output.
  bool AddTLV(unsigned char tag, const Buffer& value, OrvCommPackDataType type);
  bool AddTLV(unsigned short tag, const Buffer& value, OrvCommPackDataType type);
  bool AddTLV(unsigned int tag, const Buffer& value, OrvCommPackDataType type);

  // --- Input (readers) ---

  // Makes the pack a reader of `n` bytes at `p`, cursor at 0, giving up any
  // earlier input. `attach` false copies the bytes; `attach` true reads them in
  // place. Ignored by a writer.
  void SetBufferIn(unsigned char* p, unsigned int n, bool attach);
  // The same with the block of `in`, which with `attach` true must outlive the
  // reading unchanged.
  void SetBufferIn(Buffer& in, bool attach);
  // Copies the whole input, whatever the cursor says, to `dst`, which must have
  // room for it; `len` receives the count (0 on failure, untouched for null).
  bool CopyDecodeBufferOut(unsigned char* dst, unsigned int& len) const;
  // Bytes from the cursor to the end; 0 unless the pack is a reader. The
  // trap: an attached input of 2 GiB or more gives a negative count, so a
  // `while (GetBufferByteLeft() > 0)` loop over such an input ends at once.
  int GetBufferByteLeft() const;

  // Move the cursor forward; false, with the cursor unchanged, when too few
  // bytes are left. The cursor never moves back.
  bool JumpByte();
  bool JumpWord();
  bool JumpDWord();
  bool JumpBuf(int n);

  // Fixed-width fields; `advance` false looks ahead. On failure a `netOrder`
  // true reader leaves `v` byte-reversed from what it held on entry, and
  // `netOrder` false leaves it unchanged.
  bool GetBYTE(unsigned char& v, bool advance = true) { return GetFixed(v, false, advance); }
  bool GetWORD(unsigned short& v, bool netOrder, bool advance = true) {
    return GetFixed(v, netOrder, advance);
  }
  bool GetDWORD(unsigned int& v, bool netOrder, bool advance = true) {
    return GetFixed(v, netOrder, advance);
  }
  bool GetUINT64(unsigned long long& v, bool netOrder, bool advance = true) {
    return GetFixed(v, netOrder, advance);
  }

  // Raw bytes of a length the caller knows. On failure (negative or too large
  // `n`, null destination) the destination and the cursor are unchanged.
  // `dst` afterwards holds exactly the `n` bytes; `n` 0 empties it. It must not
  // be the Buffer attached as input.
  bool GetBuf(Buffer& dst, int n, bool advance = true);
  bool GetBuf(unsigned char* dst, int n, bool advance = true);
  // Zero-copy: `*dst` receives the address of the bytes in the caller's input.
  // Only for input set with `attach` true; false otherwise. Inline, like the
  // fixed-width fields: it is how large fields leave a message, and a call
  // costs more than the read.
  bool GetBuf(unsigned char** dst, int n, bool advance = true) {
    if (!CheckRunMode(ModeDecode) || !inAttached || dst == nullptr || n < 0 ||
        !CheckOutOverflow(static_cast<unsigned int>(n)))
      return false;
    // A reader of nothing has no block to point into; the null stands for it.
    *dst = inBuf == nullptr ? nullptr : inBuf + inPos;
    if (advance)
      inPos += static_cast<unsigned int>(n);
    return true;
  }

  // Length-headed bytes; the 2-byte head is always big-endian. A head of 0
  // reports false with `dst` empty, although the field is well formed. On
  // failure: an incomplete head leaves the cursor where it was and `dst` empty;
  // a complete head is consumed, and when the bytes are short `dst` keeps the
  // size of the head with bytes that are not message data.
  bool GetBufByteLenHead(Buffer& dst);
  bool GetBufWordLenHead(Buffer& dst);
  // The same, appending to `s` on success (not cleared first); on failure `s`
  // is unchanged.
  bool GetStrByteLenHead(std::string& s);
  bool GetStrWordLenHead(std::string& s);
  // Distance from the cursor to the first byte `c` of the input, or -1. Moves
  // nothing and does not look at the mode.
  int CheckBufEndChar(unsigned char c);

  // TLV fields, as written by AddTLV with the same tag width and type. A value
  // of length 0 reports true. On failure inside the tag nothing is consumed and
  // a 2- or 4-byte `tag` is left byte-reversed; after the tag, what was read is
  // consumed: inside the head `value` is emptied, inside the value it keeps the
  // size of the head with bytes that are not message data. Type values other
  // than the three read no head: the Buffer form reports an empty value.
  bool GetTLV(unsigned char& tag, Buffer& value, OrvCommPackDataType type);
  bool GetTLV(unsigned short& tag, Buffer& value, OrvCommPackDataType type);
  bool GetTLV(unsigned int& tag, Buffer& value, OrvCommPackDataType type);
  // Zero-copy forms for input set with `attach` true: `*value` receives the
  // address of the value in the caller's memory and `len` its length (the
  // head's number even when the value is missing). `*value` is not touched
  // for a value of length 0. With no head (a type other than the three), `len`
  // on entry is taken as the length.
  bool GetTLV(unsigned char& tag,
              unsigned char** value,
              unsigned int& len,
              OrvCommPackDataType type);
  bool GetTLV(unsigned short& tag,
              unsigned char** value,
              unsigned int& len,
              OrvCommPackDataType type);
  bool GetTLV(unsigned int& tag,
              unsigned char** value,
              unsigned int& len,
              OrvCommPackDataType type);

 protected:
  // The mode latch: the first call decides the mode, later calls compare.
  // Inline: every field operation runs it.
  // The decided mode is tested first: it is the case of every field but the
  // first.
  bool CheckRunMode(RunMode mode) {
    if (BASE_LIKELY(runMode == mode))
      return true;
    if (runMode != ModeNone)
      return false;
    runMode = mode;
    return true;
  }
  // Room for `n` more output bytes: doubles when that is enough, otherwise
  // grows by whole steps of growLen. False beyond 0x3FFFFFFF bytes.
  bool CheckBuffer(unsigned int n);
  // Makes the output block at least `n` bytes, keeping what was written.
  bool GrowBuffer(unsigned int n);
  // True when `n` more input bytes can be read. Not inPos + n <= inLen: that
  // sum can wrap.
  bool CheckOutOverflow(unsigned int n) const { return n <= inLen - inPos; }

  // Variable-width fields: a big-endian head of the type's width, then the
  // bytes. `netOrder` false reads a 2- or 4-byte head little-endian and makes a
  // 1-byte head and the value a look-ahead; the library itself passes true.
  bool AddVBuf(const Buffer& b, OrvCommPackDataType type);
  bool GetVBuf(Buffer& dst, OrvCommPackDataType type, bool netOrder = true);
  bool GetVBuf(unsigned char** dst,
               unsigned int& len,
               OrvCommPackDataType type,
               bool netOrder = true);

 private:
  // No single addition and no output beyond this: the output then always
  // stays countable by a non-negative 32-bit int.
  static constexpr unsigned int MaxOutLen = 0x3FFFFFFF;

  // The fixed-width fields are defined here, not in the library, so that the
  // compiler can inline them into the caller: they are most of the fields of a
  // message, and a call per field costs more than the field itself. Everything
  // but the common case (a decided mode, room in the block) goes out of line.

  // Compiles to one bswap/rol.
  template <typename T>
  static T ReverseBytes(T v) {
    T reversed = 0;
    for (unsigned int i = 0; i < sizeof(T); ++i, v = static_cast<T>(v >> 8))
      reversed = static_cast<T>((reversed << 8) | (v & 0xFF));
    return reversed;
  }

  // CheckBuffer with its common case, room in the block, decided inline.
  bool HasRoom(unsigned int n) {
    return BASE_LIKELY(n <= MaxOutLen && outLen <= MaxOutLen && n <= outCap - outLen) ||
           CheckBuffer(n);
  }

  // Stores `v` at `at`, most significant byte first if `netOrder` is true.
  template <typename T>
  static void Store(unsigned char* at, T v, bool netOrder) {
    if (netOrder)
      v = ReverseBytes(v);
    std::memcpy(at, &v, sizeof(T));
  }

  template <typename T>
  bool AddFixed(T v, bool netOrder) {
    if (!CheckRunMode(ModeEncode) || !HasRoom(sizeof(T)))
      return false;
    Store(outBuf + outLen, v, netOrder);
    outLen += sizeof(T);
    return true;
  }

  // The reversal of a network-order read runs after a failure too, so that
  // `v` is then its entry value byte-reversed. Callers may rely on exactly
  // that state: do not move the reversal inside the success branch.
  template <typename T>
  bool GetFixed(T& v, bool netOrder, bool advance) {
    bool ok = false;
    if (BASE_LIKELY(CheckRunMode(ModeDecode) && CheckOutOverflow(sizeof(T)))) {
      std::memcpy(&v, inBuf + inPos, sizeof(T));
      if (advance)
        inPos += sizeof(T);
      ok = true;
    }
    if (netOrder)
      v = ReverseBytes(v);
    return ok;
  }

  // A head of type `Head` counting `n` bytes, then the bytes.
  template <typename Head>
  bool AddLenHeaded(const unsigned char* p, unsigned int n, bool netOrder);
  template <typename Head>
  bool AddLenHeadedStepwise(const unsigned char* p, unsigned int n, bool netOrder);
  // The common case of a field made of fixed-width `parts` and then `n` bytes
  // at `p`: a writer with room in its block for all of it. Writes the field in
  // one pass and returns true. Otherwise writes nothing and returns false, and
  // the caller takes the way of the separate writes, which grow the block and
  // fail where they fail.
  template <typename... Parts>
  bool AddInPlace(bool netOrder, const unsigned char* p, unsigned int n, Parts... parts);
  // The TLV operations of every tag width: the one-pass common case, and the
  // separate steps that everything else takes.
  template <typename Tag>
  bool AddTagged(Tag tag, const Buffer& value, OrvCommPackDataType type);
  template <typename Tag>
  bool AddTaggedStepwise(Tag tag, const Buffer& value, OrvCommPackDataType type);
  template <typename Tag>
  bool GetTagged(Tag& tag, Buffer& value, OrvCommPackDataType type);
  template <typename Tag>
  bool GetTagged(Tag& tag, unsigned char** value, unsigned int& len, OrvCommPackDataType type);
  bool GetHeaded(Buffer& dst, int headBytes);
  bool ReadHead(OrvCommPackDataType type, bool netOrder, unsigned int& len);
  void ReleaseBlocks();

  unsigned int outLen;
  unsigned int outCap;
  unsigned char* outBuf;
  unsigned char* inBuf;
  unsigned int inPos;
  unsigned int inLen;
  unsigned int growLen;
  bool inAttached;
  RunMode runMode;
};

#endif  // BASE_COMMONPACK_H_
