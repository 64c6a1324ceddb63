#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <new>
#include <vector>

#include "base/commonpack.h"
#include "pack_bytes.h"

namespace {

Bytes Contents(const Buffer& b) {
  return Bytes(b.GetNativeBuf(), b.GetNativeBuf() + b.GetSize());
}

// Input on the heap, exactly as long as the message, read in place: a read
// beyond the end is an ASan report.
struct AttachedReader {
  AttachedReader(const Bytes& bytes, bool attach = true)
      : input(new unsigned char[bytes.size() + (bytes.empty() ? 1 : 0)]) {
    std::copy(bytes.begin(), bytes.end(), input.get());
    pack.SetBufferIn(input.get(), static_cast<unsigned int>(bytes.size()), attach);
  }
  std::unique_ptr<unsigned char[]> input;
  CommonPack pack;
};

// Exposes the protected variable-width forms.
class OpenPack : public CommonPack {
 public:
  using CommonPack::GetVBuf;
};

TEST(CommonPackTlvTest, WireShapesOfTheTagAndHeadWidths) {
  CommonPack pack;
  ASSERT_TRUE(pack.AddTLV(static_cast<unsigned char>(5), Make({0xAA, 0xBB}), OrvCommPackDataByte));
  ASSERT_TRUE(pack.AddTLV(static_cast<unsigned char>(5), Make({0xAA, 0xBB}), OrvCommPackDataWord));
  ASSERT_TRUE(pack.AddTLV(static_cast<unsigned short>(0x0102), Make({0xAA}), OrvCommPackDataByte));
  ASSERT_TRUE(pack.AddTLV(static_cast<unsigned short>(0x0102), Make({0xAA}), OrvCommPackDataWord));
  ASSERT_TRUE(pack.AddTLV(0x01020304u, Make({0xAA, 0xBB, 0xCC}), OrvCommPackDataDWord));
  ASSERT_TRUE(pack.AddTLV(static_cast<unsigned char>(7), Buffer(), OrvCommPackDataWord));
  ASSERT_TRUE(pack.AddTLV(static_cast<unsigned char>(7), Make({0xAA}), OrvCommPackDataType(0)));
  EXPECT_EQ(Output(pack),
            (Bytes{5,    2, 0xAA, 0xBB, 5, 0, 2, 0xAA, 0xBB, 1,    2,    1,    0xAA, 1, 2, 0, 1,
                   0xAA, 1, 2,    3,    4, 0, 0, 0,    3,    0xAA, 0xBB, 0xCC, 7,    0, 0, 7}));

  AttachedReader r({1, 2, 3, 4, 0, 0, 0, 3, 0xAA, 0xBB, 0xCC, 0xEE});
  unsigned int tag = 0;
  Buffer value;
  ASSERT_TRUE(r.pack.GetTLV(tag, value, OrvCommPackDataDWord));
  EXPECT_EQ(tag, 0x01020304u);
  EXPECT_EQ(Contents(value), (Bytes{0xAA, 0xBB, 0xCC}));
  EXPECT_EQ(r.pack.GetBufferByteLeft(), 1);
}

TEST(CommonPackTlvTest, WriterLimitsLeaveTheTagBehind) {
  CommonPack pack;
  EXPECT_FALSE(pack.AddTLV(static_cast<unsigned char>(1), Make(Bytes(256)), OrvCommPackDataByte));
  EXPECT_EQ(pack.GetBufferOutLen(), 1u);
  EXPECT_TRUE(pack.AddTLV(static_cast<unsigned char>(1), Make(Bytes(255)), OrvCommPackDataByte));
  const Buffer big = Make(Bytes(65536));
  EXPECT_FALSE(pack.AddTLV(static_cast<unsigned short>(1), big, OrvCommPackDataWord));
  EXPECT_TRUE(pack.AddTLV(static_cast<unsigned short>(1), big, OrvCommPackDataDWord));
  EXPECT_EQ(pack.GetBufferOutLen(), 1u + 257u + 2u + 2u + 4u + 65536u);

  AttachedReader reader({});
  EXPECT_FALSE(reader.pack.AddTLV(1u, big, OrvCommPackDataDWord));
  EXPECT_EQ(reader.pack.GetBufferOutLen(), 0u);
}

TEST(CommonPackTlvTest, FailedReadsLeaveTagValueAndCursorAsTheHeaderSays) {
  {  // inside the tag: nothing consumed, a 2-byte tag reversed
    AttachedReader r({1});
    unsigned short tag = 0x1234;
    Buffer value = Make({9});
    EXPECT_FALSE(r.pack.GetTLV(tag, value, OrvCommPackDataWord));
    EXPECT_EQ(tag, 0x3412);
    EXPECT_EQ(value.GetSize(), 1u);
    EXPECT_EQ(r.pack.GetBufferByteLeft(), 1);
  }
  {  // inside the head: tag delivered, value emptied, cursor behind the tag
    AttachedReader r({5});
    unsigned char tag = 0;
    Buffer value = Make({9});
    EXPECT_FALSE(r.pack.GetTLV(tag, value, OrvCommPackDataByte));
    EXPECT_EQ(tag, 5);
    EXPECT_TRUE(value.IsEmpty());
    EXPECT_EQ(r.pack.GetBufferByteLeft(), 0);
  }
  {  // inside the value: sized by the head, cursor behind the head
    AttachedReader r({1, 2, 0, 5, 0xAA, 0xBB});
    unsigned short tag = 0;
    Buffer value;
    EXPECT_FALSE(r.pack.GetTLV(tag, value, OrvCommPackDataWord));
    EXPECT_EQ(tag, 0x0102);
    EXPECT_EQ(value.GetSize(), 5u);
    EXPECT_EQ(r.pack.GetBufferByteLeft(), 2);
  }
  {  // zero-copy on an owned copy: refused after the head
    AttachedReader r({5, 2, 0xAA, 0xBB, 5, 0}, false);
    unsigned char tag = 0;
    unsigned char* value = nullptr;
    unsigned int len = 0;
    EXPECT_FALSE(r.pack.GetTLV(tag, &value, len, OrvCommPackDataByte));
    EXPECT_EQ(tag, 5);
    EXPECT_EQ(len, 2u);
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(r.pack.GetBufferByteLeft(), 4);
    ASSERT_TRUE(r.pack.JumpWord());
    EXPECT_TRUE(r.pack.GetTLV(tag, &value, len, OrvCommPackDataByte));  // empty value
    EXPECT_EQ(len, 0u);
  }
  {  // zero-copy on attached input points into the caller's memory
    AttachedReader r({5, 2, 0xAA, 0xBB});
    unsigned char tag = 0;
    unsigned char* value = nullptr;
    unsigned int len = 0;
    ASSERT_TRUE(r.pack.GetTLV(tag, &value, len, OrvCommPackDataByte));
    EXPECT_EQ(value, r.input.get() + 2);
    EXPECT_EQ(len, 2u);
  }
}

TEST(CommonPackTlvTest, EmptyValuesAndTypesWithoutHead) {
  AttachedReader empty({7, 0, 0, 7, 0, 0});
  unsigned char tag = 0;
  Buffer value = Make({1});
  EXPECT_TRUE(empty.pack.GetTLV(tag, value, OrvCommPackDataWord));  // true, unlike below
  EXPECT_TRUE(value.IsEmpty());
  ASSERT_TRUE(empty.pack.JumpByte());
  EXPECT_FALSE(empty.pack.GetBufWordLenHead(value));

  // No head on the wire: the Buffer form reads the tag alone, the zero-copy
  // form takes the caller's `len` as the length of the value.
  AttachedReader headless({7, 8, 9, 0xAA, 0xBB, 1});
  value = Make({1});
  EXPECT_TRUE(headless.pack.GetTLV(tag, value, OrvCommPackDataType(9)));
  EXPECT_EQ(tag, 7);
  EXPECT_TRUE(value.IsEmpty());
  unsigned char* p = nullptr;
  unsigned int len = 0;
  EXPECT_TRUE(headless.pack.GetTLV(tag, &p, len, OrvCommPackDataType(0)));
  EXPECT_EQ(p, nullptr);
  len = 2;
  EXPECT_TRUE(headless.pack.GetTLV(tag, &p, len, OrvCommPackDataType(0)));
  EXPECT_EQ(tag, 9);
  EXPECT_EQ(p, headless.input.get() + 3);
  EXPECT_EQ(headless.pack.GetBufferByteLeft(), 1);
}

// A TLV field as it goes on the wire: tag and head big-endian.
Bytes TlvBytes(unsigned int tag, int tagWidth, int headWidth, const Bytes& value) {
  Bytes field;
  for (int i = tagWidth - 1; i >= 0; --i)
    field.push_back(static_cast<unsigned char>(tag >> (8 * i)));
  for (int i = headWidth - 1; i >= 0; --i)
    field.push_back(static_cast<unsigned char>(value.size() >> (8 * i)));
  field.insert(field.end(), value.begin(), value.end());
  return field;
}

// A field that fits the block to its last byte is written in place; one byte
// more and it must take the growth of the separate writes, not run past the
// block.
TEST(CommonPackTlvTest, FieldsFillTheBlockToItsLastByteAndGrowOneByteLater) {
  const struct {
    int tagWidth;
    OrvCommPackDataType type;
    int headWidth;
  } shapes[] = {
      {1, OrvCommPackDataByte, 1}, {2, OrvCommPackDataWord, 2}, {4, OrvCommPackDataDWord, 4}};
  for (const auto& shape : shapes) {
    for (unsigned int over : {0u, 1u}) {
      SCOPED_TRACE(testing::Message() << "tag " << shape.tagWidth << " over " << over);
      CommonPack pack;
      pack.SetGrowLen(64);
      ASSERT_TRUE(pack.AddBYTE(0xEE));  // a block of 64, 63 free
      const Bytes value(63 - shape.tagWidth - shape.headWidth + over, 0x5A);
      const bool ok = shape.tagWidth == 1
                          ? pack.AddTLV(static_cast<unsigned char>(0xA1), Make(value), shape.type)
                      : shape.tagWidth == 2
                          ? pack.AddTLV(static_cast<unsigned short>(0xA1), Make(value), shape.type)
                          : pack.AddTLV(0xA1u, Make(value), shape.type);
      ASSERT_TRUE(ok);
      EXPECT_EQ(OutCap(pack), over == 0 ? 64u : 128u);
      Bytes expected = {0xEE};
      const Bytes field = TlvBytes(0xA1, shape.tagWidth, shape.headWidth, value);
      expected.insert(expected.end(), field.begin(), field.end());
      EXPECT_EQ(Output(pack), expected);
    }
  }
}

// One GetTLV of the given tag width, in the Buffer or the zero-copy form;
// `tag` and `len` receive what it delivered.
bool ReadTlv(CommonPack& pack,
             int tagWidth,
             bool zeroCopy,
             OrvCommPackDataType type,
             unsigned int& tag,
             unsigned int& len) {
  Buffer value;
  unsigned char* p = nullptr;
  unsigned char tag8 = 0;
  unsigned short tag16 = 0;
  bool ok;
  if (tagWidth == 1)
    ok = zeroCopy ? pack.GetTLV(tag8, &p, len, type) : pack.GetTLV(tag8, value, type);
  else if (tagWidth == 2)
    ok = zeroCopy ? pack.GetTLV(tag16, &p, len, type) : pack.GetTLV(tag16, value, type);
  else
    ok = zeroCopy ? pack.GetTLV(tag, &p, len, type) : pack.GetTLV(tag, value, type);
  tag = tagWidth == 1 ? tag8 : tagWidth == 2 ? tag16 : tag;
  if (!zeroCopy)
    len = value.GetSize();
  return ok;
}

// Every tag width with every head width: a sequence reads back to the end and
// no further, and every prefix of it fails exactly at the first field that it
// cuts, without a read beyond the prefix.
TEST(CommonPackTlvTest, AllShapesRoundTripAndFailAtEveryCut) {
  for (int tagWidth : {1, 2, 4}) {
    for (OrvCommPackDataType type :
         {OrvCommPackDataByte, OrvCommPackDataWord, OrvCommPackDataDWord}) {
      SCOPED_TRACE(testing::Message() << "tag " << tagWidth << " type " << type);
      CommonPack writer;
      std::vector<std::size_t> ends;
      for (unsigned int i = 0; i < 4; ++i) {
        const Buffer value = Make(Bytes(i * 3, static_cast<unsigned char>(i)));
        const bool ok = tagWidth == 1   ? writer.AddTLV(static_cast<unsigned char>(i), value, type)
                        : tagWidth == 2 ? writer.AddTLV(static_cast<unsigned short>(i), value, type)
                                        : writer.AddTLV(i, value, type);
        ASSERT_TRUE(ok);
        ends.push_back(writer.GetBufferOutLen());
      }
      const Bytes message = Output(writer);
      for (std::size_t cut = 0; cut <= message.size(); ++cut) {
        for (bool zeroCopy : {false, true}) {
          AttachedReader r(Bytes(message.begin(), message.begin() + cut));
          unsigned int i = 0, tag = 0, len = 0;
          for (; i < ends.size() && ends[i] <= cut; ++i) {
            ASSERT_TRUE(ReadTlv(r.pack, tagWidth, zeroCopy, type, tag, len));
            EXPECT_EQ(tag, i);
            EXPECT_EQ(len, i * 3);
          }
          EXPECT_FALSE(ReadTlv(r.pack, tagWidth, zeroCopy, type, tag, len)) << "cut " << cut;
          if (cut == message.size())
            EXPECT_EQ(r.pack.GetBufferByteLeft(), 0);
        }
      }
    }
  }
}

TEST(CommonPackTlvTest, HostileLengthsNear31And32Bits) {
  const Bytes huge = {9, 0xFF, 0xFF, 0xFF, 0xFF, 0xAA};
  {  // zero-copy: the head's number comes back, the value is refused
    AttachedReader r(huge);
    unsigned char tag = 0;
    unsigned char* p = nullptr;
    unsigned int len = 0;
    EXPECT_FALSE(r.pack.GetTLV(tag, &p, len, OrvCommPackDataDWord));
    EXPECT_EQ(len, 0xFFFFFFFFu);
    EXPECT_EQ(r.pack.GetBufferByteLeft(), 1);
  }
  for (unsigned char top : {0x80, 0xFF}) {  // Buffer form: refused, no allocation tried
    AttachedReader r({9, top, 0, 0, 0, 0xAA});
    unsigned char tag = 0;
    Buffer value = Make({1, 2});
    EXPECT_THROW(r.pack.GetTLV(tag, value, OrvCommPackDataDWord), std::bad_alloc);
    EXPECT_EQ(value.GetSize(), 2u);
    EXPECT_EQ(r.pack.GetBufferByteLeft(), 1);
  }
  {  // lengths just past what is left, and the most a signed length can say
    AttachedReader r({0, 0, 0, 2, 0xAA});
    Buffer value;
    EXPECT_FALSE(r.pack.GetBuf(value, 0x7FFFFFFF));
    EXPECT_FALSE(r.pack.JumpBuf(0x7FFFFFFF));
    ASSERT_TRUE(r.pack.JumpByte());
    EXPECT_FALSE(r.pack.JumpBuf(0x7FFFFFFF));
    unsigned short tag = 0;
    EXPECT_FALSE(r.pack.GetTLV(tag, value, OrvCommPackDataByte));  // head 2, one byte left
    EXPECT_EQ(value.GetSize(), 2u);
  }
  {  // the look-ahead flag of the protected form never moves past the input
    OpenPack pack;
    unsigned char bytes[] = {3, 0xAA, 0xBB, 0xCC};
    pack.SetBufferIn(bytes, 4, true);
    unsigned char* p = nullptr;
    unsigned int len = 0;
    ASSERT_TRUE(pack.GetVBuf(&p, len, OrvCommPackDataByte, false));
    EXPECT_EQ(p, bytes);  // the head byte was only looked at
    EXPECT_EQ(len, 3u);
    EXPECT_EQ(pack.GetBufferByteLeft(), 4);
  }
}

}  // namespace
