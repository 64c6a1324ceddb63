#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "base/commonpack.h"
#include "pack_bytes.h"

namespace {

// A reader that owns a copy of `bytes`.
struct Reader {
  explicit Reader(Bytes bytes) : input(std::move(bytes)) {
    pack.SetBufferIn(input.data(), static_cast<unsigned int>(input.size()), false);
  }
  Bytes input;
  CommonPack pack;
};

TEST(CommonPackFieldsTest, FixedFieldsInBothOrders) {
  CommonPack pack;
  ASSERT_TRUE(pack.AddBYTE(0x7F));
  ASSERT_TRUE(pack.AddWORD(0x1234, true));
  ASSERT_TRUE(pack.AddWORD(0x1234, false));
  ASSERT_TRUE(pack.AddDWORD(0x12345678, true));
  ASSERT_TRUE(pack.AddDWORD(0x12345678, false));
  ASSERT_TRUE(pack.AddUINT64(0x0102030405060708ull, true));
  ASSERT_TRUE(pack.AddUINT64(0x0102030405060708ull, false));
  const Bytes wire = {0x7F, 0x12, 0x34, 0x34, 0x12, 0x12, 0x34, 0x56, 0x78, 0x78,
                      0x56, 0x34, 0x12, 1,    2,    3,    4,    5,    6,    7,
                      8,    8,    7,    6,    5,    4,    3,    2,    1};
  EXPECT_EQ(Output(pack), wire);

  Reader r(wire);
  unsigned char b = 0;
  unsigned short w1 = 0, w2 = 0;
  unsigned int d1 = 0, d2 = 0;
  unsigned long long q1 = 0, q2 = 0;
  EXPECT_TRUE(r.pack.GetBYTE(b) && b == 0x7F);
  EXPECT_TRUE(r.pack.GetWORD(w1, true, false));  // a look ahead, twice
  EXPECT_TRUE(r.pack.GetWORD(w2, true, false) && w1 == w2);
  EXPECT_TRUE(r.pack.GetWORD(w1, true) && r.pack.GetWORD(w2, false));
  EXPECT_TRUE(r.pack.GetDWORD(d1, true) && r.pack.GetDWORD(d2, false));
  EXPECT_TRUE(r.pack.GetUINT64(q1, true) && r.pack.GetUINT64(q2, false));
  EXPECT_EQ(w1, 0x1234);
  EXPECT_EQ(w2, 0x1234);
  EXPECT_EQ(d1, 0x12345678u);
  EXPECT_EQ(d2, 0x12345678u);
  EXPECT_EQ(q1, 0x0102030405060708ull);
  EXPECT_EQ(q2, 0x0102030405060708ull);
  EXPECT_EQ(r.pack.GetBufferByteLeft(), 0);
}

TEST(CommonPackFieldsTest, SetWordPatchesOnlyWhatWasWritten) {
  CommonPack pack;
  EXPECT_FALSE(pack.SetWORD(1, 0, true));  // empty writer
  ASSERT_TRUE(pack.AddBYTE(0));
  EXPECT_FALSE(pack.SetWORD(1, 0, true));  // one byte
  ASSERT_TRUE(pack.AddWORD(0, true));
  EXPECT_TRUE(pack.SetWORD(0xAABB, 1, true));  // outLen - 2
  EXPECT_FALSE(pack.SetWORD(0xAABB, 2, true));
  EXPECT_TRUE(pack.SetWORD(0x0102, 0, false));
  EXPECT_EQ(Output(pack), (Bytes{0x02, 0x01, 0xBB}));
  EXPECT_EQ(pack.GetBufferOutLen(), 3u);

  Reader r({1, 2, 3});
  EXPECT_FALSE(r.pack.SetWORD(1, 0, true));
}

TEST(CommonPackFieldsTest, LengthHeadsAndTheirLimits) {
  const Bytes ab = {0xAA, 0xBB};
  CommonPack pack;
  ASSERT_TRUE(pack.AddBufLenByte(Make(ab)));
  ASSERT_TRUE(pack.AddBufLenWord(Make(ab), true));
  ASSERT_TRUE(pack.AddBufLenWord(Make(ab), false));
  ASSERT_TRUE(pack.AddBufLenDWord(Make(ab), true));
  ASSERT_TRUE(pack.AddBufLenByte(Buffer()));
  ASSERT_TRUE(pack.AddStrEndChar("ab", 0x0D));
  EXPECT_EQ(Output(pack), (Bytes{2, 0xAA, 0xBB, 0, 2,    0xAA, 0xBB, 2,    0,    0xAA, 0xBB,
                                 0, 0,    0,    2, 0xAA, 0xBB, 0,    0x61, 0x62, 0x0D}));

  // Over the limit: refused before the mode latch, nothing written.
  const std::string s255(255, 'x'), s256(256, 'x'), s65535(65535, 'y'), s65536(65536, 'y');
  CommonPack fresh;
  EXPECT_FALSE(fresh.AddBufLenByte(Make(Bytes(256, 1))));
  EXPECT_FALSE(fresh.AddStrLenByte(s256.c_str()));
  EXPECT_FALSE(fresh.AddBufLenWord(Make(Bytes(65536, 1)), true));
  EXPECT_FALSE(fresh.AddStrLenWord(s65536.c_str(), false));
  EXPECT_FALSE(fresh.AddStrLenDWord(nullptr, true));
  EXPECT_EQ(fresh.GetRunMode(), CommonPack::ModeNone);
  EXPECT_TRUE(fresh.AddBufLenByte(Make(Bytes(255, 1))));
  EXPECT_TRUE(fresh.AddStrLenByte(s255.c_str()));
  EXPECT_TRUE(fresh.AddBufLenWord(Make(Bytes(65535, 1)), true));
  EXPECT_TRUE(fresh.AddStrLenWord(s65535.c_str(), true));
  EXPECT_TRUE(fresh.AddStrLenDWord(s65536.c_str(), true));
  EXPECT_EQ(fresh.GetBufferOutLen(), 256u * 2 + 65537u * 2 + 65540u);
  const unsigned int before = fresh.GetBufferOutLen();
  EXPECT_FALSE(fresh.AddStrLenByte(s256.c_str()));
  EXPECT_EQ(fresh.GetBufferOutLen(), before);
}

TEST(CommonPackFieldsTest, TextAndRawWriters) {
  CommonPack pack;
  EXPECT_FALSE(pack.AddStr(nullptr));
  EXPECT_FALSE(pack.AddStrEndChar(nullptr, 1));
  EXPECT_EQ(pack.GetRunMode(), CommonPack::ModeNone);
  EXPECT_TRUE(pack.AddStr(""));
  EXPECT_EQ(pack.GetRunMode(), CommonPack::ModeEncode);
  EXPECT_EQ(pack.GetBufferOutLen(), 0u);
  EXPECT_TRUE(pack.AddStrEndChar("", 0x0A));
  EXPECT_TRUE(pack.AddBuf(nullptr, 0));
  EXPECT_FALSE(pack.AddBuf(nullptr, 1));

  CommonPack other, reader, fresh;
  reader.SetBufferIn(nullptr, 0, false);
  EXPECT_TRUE(pack.AddPack(reader));
  EXPECT_TRUE(pack.AddPack(fresh));
  ASSERT_TRUE(other.AddStr("hi"));
  EXPECT_TRUE(pack.AddPack(other));
  EXPECT_EQ(Output(pack), (Bytes{0x0A, 'h', 'i'}));
  EXPECT_EQ(Output(other), (Bytes{'h', 'i'}));
  EXPECT_FALSE(reader.AddPack(other));
}

TEST(CommonPackFieldsTest, FailedFixedReadsLeaveTheDestinationAsDocumented) {
  Reader r({0xAB});
  unsigned short w = 0x1234;
  EXPECT_FALSE(r.pack.GetWORD(w, true));
  EXPECT_EQ(w, 0x3412);  // byte-reversed entry value
  w = 0x1234;
  EXPECT_FALSE(r.pack.GetWORD(w, false));
  EXPECT_EQ(w, 0x1234);
  unsigned int d = 0x01020304;
  EXPECT_FALSE(r.pack.GetDWORD(d, true));
  EXPECT_EQ(d, 0x04030201u);
  unsigned long long q = 0x0102030405060708ull;
  EXPECT_FALSE(r.pack.GetUINT64(q, true));
  EXPECT_EQ(q, 0x0807060504030201ull);
  EXPECT_EQ(r.pack.GetBufferByteLeft(), 1);

  CommonPack writer;
  ASSERT_TRUE(writer.AddBYTE(1));
  unsigned char b = 0x55;
  EXPECT_FALSE(writer.GetBYTE(b));
  EXPECT_EQ(b, 0x55);
}

TEST(CommonPackFieldsTest, HeadedReadsReportAndConsumeAsDocumented) {
  // Short value: dst takes the head's size, the cursor stands behind the head.
  Reader shortValue({5, 0xAA, 0xBB});
  Buffer dst;
  EXPECT_FALSE(shortValue.pack.GetBufByteLenHead(dst));
  EXPECT_EQ(dst.GetSize(), 5u);
  EXPECT_EQ(shortValue.pack.GetBufferByteLeft(), 2);

  // An empty field reads false, yet the next one is still readable.
  Reader empty({0, 1, 'z'});
  EXPECT_FALSE(empty.pack.GetBufByteLenHead(dst));
  EXPECT_TRUE(dst.IsEmpty());
  std::string s = "keep";
  EXPECT_TRUE(empty.pack.GetStrByteLenHead(s));
  EXPECT_EQ(s, "keepz");

  Reader zeroWord({0, 0});
  EXPECT_FALSE(zeroWord.pack.GetStrWordLenHead(s));
  EXPECT_EQ(s, "keepz");

  // An incomplete head consumes nothing and empties dst.
  Reader cutHead({0});
  dst.Resize(3);
  EXPECT_FALSE(cutHead.pack.GetBufWordLenHead(dst));
  EXPECT_TRUE(dst.IsEmpty());
  EXPECT_EQ(cutHead.pack.GetBufferByteLeft(), 1);

  Reader twice({1, 'a', 1, 'b'});
  std::string ab;
  EXPECT_TRUE(twice.pack.GetStrByteLenHead(ab) && twice.pack.GetStrByteLenHead(ab));
  EXPECT_EQ(ab, "ab");

  // The word head is read big-endian whatever the writer chose.
  CommonPack writer;
  Buffer two = Make({'x', 0, 'y'});
  ASSERT_TRUE(writer.AddBufLenWord(two, false));
  Buffer out;
  ASSERT_TRUE(writer.GetBufferOut(out));
  CommonPack reader;
  reader.SetBufferIn(out, true);
  EXPECT_FALSE(reader.GetBufWordLenHead(dst));
  EXPECT_EQ(dst.GetSize(), 0x300u);

  // A zero byte inside the text is data: the head decides.
  Reader withZero({3, 'x', 0, 'y'});
  std::string text;
  EXPECT_TRUE(withZero.pack.GetStrByteLenHead(text));
  EXPECT_EQ(text, std::string("x\0y", 3));
}

// Short runs are copied differently from long ones; every length up to past
// the switch must come back byte for byte, in every read form.
TEST(CommonPackFieldsTest, RawRunsOfEveryShortLengthRoundTrip) {
  Bytes source(40);
  for (std::size_t i = 0; i < source.size(); ++i)
    source[i] = static_cast<unsigned char>(i * 7 + 1);
  CommonPack writer;
  for (unsigned int n = 0; n <= 40; ++n)
    ASSERT_TRUE(writer.AddBuf(source.data(), n));
  Buffer out;
  ASSERT_TRUE(writer.GetBufferOut(out));
  CommonPack reader;
  reader.SetBufferIn(out, false);
  for (int n = 0; n <= 40; ++n) {
    Bytes raw(n + 1, 0xEE);
    ASSERT_TRUE(reader.GetBuf(raw.data(), n, false));
    Buffer copy;
    ASSERT_TRUE(reader.GetBuf(copy, n));
    EXPECT_TRUE(std::equal(source.begin(), source.begin() + n, raw.begin())) << n;
    EXPECT_EQ(raw[n], 0xEE) << n;  // nothing written past the run
    EXPECT_EQ(copy.Compare(source.data(), n), 0) << n;
  }
  EXPECT_EQ(reader.GetBufferByteLeft(), 0);
}

TEST(CommonPackFieldsTest, RawReadsInAllThreeForms) {
  Bytes input = {1, 2, 3, 4, 5};
  CommonPack owned;
  owned.SetBufferIn(input.data(), 5, false);
  unsigned char* p = input.data() + 4;
  EXPECT_FALSE(owned.GetBuf(&p, 4));  // zero-copy needs attached input
  EXPECT_EQ(p, input.data() + 4);
  EXPECT_EQ(owned.GetBufferByteLeft(), 5);

  Buffer dst = Make({9});
  EXPECT_FALSE(owned.GetBuf(dst, 6));
  EXPECT_FALSE(owned.GetBuf(dst, -1));
  EXPECT_EQ(dst.GetAt(0), 9);
  EXPECT_TRUE(owned.GetBuf(dst, 0));
  EXPECT_TRUE(dst.IsEmpty());
  EXPECT_TRUE(owned.GetBuf(dst, 2, false));
  EXPECT_EQ(dst.GetSize(), 2u);
  unsigned char raw[3] = {};
  EXPECT_FALSE(owned.GetBuf(static_cast<unsigned char*>(nullptr), 1));
  EXPECT_TRUE(owned.GetBuf(raw, 3));
  EXPECT_EQ(raw[2], 3);

  const unsigned char* kept = nullptr;
  {
    CommonPack attached;
    attached.SetBufferIn(input.data(), 5, true);
    ASSERT_TRUE(attached.JumpByte());
    EXPECT_FALSE(attached.GetBuf(static_cast<unsigned char**>(nullptr), 1));
    ASSERT_TRUE(attached.GetBuf(&p, 4));
    kept = p;
  }
  EXPECT_EQ(kept, input.data() + 1);  // the caller's memory, not the pack's
  EXPECT_EQ(kept[3], 5);
}

TEST(CommonPackFieldsTest, CheckBufEndCharLooksFromTheCursor) {
  CommonPack none;
  EXPECT_EQ(none.CheckBufEndChar(0), -1);
  EXPECT_EQ(none.GetRunMode(), CommonPack::ModeNone);
  Reader r({'a', 'b', '\r', 'c'});
  EXPECT_EQ(r.pack.CheckBufEndChar('a'), 0);
  EXPECT_EQ(r.pack.CheckBufEndChar('\r'), 2);
  ASSERT_TRUE(r.pack.JumpByte());
  EXPECT_EQ(r.pack.CheckBufEndChar('a'), -1);
  ASSERT_TRUE(r.pack.JumpBuf(3));
  EXPECT_EQ(r.pack.CheckBufEndChar('c'), -1);
}

}  // namespace
