#include <gtest/gtest.h>

#include <vector>

#include "base/commonpack.h"
#include "pack_bytes.h"

namespace {

TEST(CommonPackCoreTest, FirstOperationLatchesTheMode) {
  CommonPack reader;
  unsigned char v = 0;
  EXPECT_FALSE(reader.GetBYTE(v));
  EXPECT_EQ(reader.GetRunMode(), CommonPack::ModeDecode);
  EXPECT_FALSE(reader.AddBYTE(1));
  EXPECT_EQ(reader.GetBufferOutLen(), 0u);
  reader.Reset();
  EXPECT_TRUE(reader.AddBYTE(1));

  CommonPack writer;
  ASSERT_TRUE(writer.AddBYTE(0x42));
  unsigned char in[] = {1, 2, 3};
  writer.SetBufferIn(in, 3, false);  // ignored by a writer
  EXPECT_EQ(writer.GetRunMode(), CommonPack::ModeEncode);
  EXPECT_EQ(writer.GetBufferByteLeft(), 0);
  EXPECT_EQ(Output(writer), Bytes{0x42});

  CommonPack nothing;
  nothing.SetBufferIn(nullptr, 0, false);
  EXPECT_EQ(nothing.GetRunMode(), CommonPack::ModeDecode);
  EXPECT_EQ(nothing.GetBufferByteLeft(), 0);
  EXPECT_FALSE(nothing.GetBYTE(v));

  // Copying out only compares the mode; taking out latches it.
  CommonPack fresh;
  unsigned char dst[4];
  unsigned int len = 99;
  EXPECT_FALSE(fresh.CopyBufferOut(dst, len));
  EXPECT_EQ(len, 0u);
  EXPECT_EQ(fresh.GetRunMode(), CommonPack::ModeNone);
  Buffer out;
  EXPECT_FALSE(fresh.GetBufferOut(out));
  EXPECT_EQ(fresh.GetRunMode(), CommonPack::ModeEncode);
  EXPECT_TRUE(fresh.CopyBufferOut(out));  // a writer with nothing written
  EXPECT_TRUE(out.IsEmpty());
}

TEST(CommonPackCoreTest, GetBufferOutMovesTheBlockAndWritingGoesOn) {
  CommonPack pack;
  ASSERT_TRUE(pack.AddWORD(0x1234, true));
  Buffer out;
  const unsigned char old = 9;
  out.CopyFrom(&old, 1);
  ASSERT_TRUE(pack.GetBufferOut(out));
  EXPECT_EQ(Bytes(out.GetNativeBuf(), out.GetNativeBuf() + out.GetSize()), (Bytes{0x12, 0x34}));
  EXPECT_EQ(pack.GetBufferOutLen(), 0u);
  EXPECT_EQ(OutCap(pack), 0u);
  EXPECT_EQ(pack.GetRunMode(), CommonPack::ModeEncode);
  ASSERT_TRUE(pack.AddBYTE(7));
  EXPECT_EQ(Output(pack), Bytes{7});
  EXPECT_EQ(out.GetSize(), 2u);  // the Buffer's block is its own now
  // Its capacity is what was written, not the pack's block: the slack behind
  // is never exposed, and growing makes a new block.
  unsigned char* block = out.GetNativeBuf();
  unsigned char* grown = out.Resize(3);
  EXPECT_NE(grown, block);
  EXPECT_EQ(out.GetAt(2), 0);
}

TEST(CommonPackCoreTest, OutputDoublesOrGrowsByWholeSteps) {
  CommonPack pack;
  ASSERT_TRUE(pack.AddBYTE(0));
  EXPECT_EQ(OutCap(pack), 512u);
  for (int i = 1; i < 512; ++i)
    ASSERT_TRUE(pack.AddBYTE(static_cast<unsigned char>(i)));
  EXPECT_EQ(OutCap(pack), 512u);
  ASSERT_TRUE(pack.AddBYTE(0));
  EXPECT_EQ(OutCap(pack), 1024u);
  EXPECT_EQ(pack.GetBufferOutLen(), 513u);
  EXPECT_EQ(Output(pack)[511], 511 & 0xFF);  // contents survive the move

  const Bytes big(5000, 1), more(300, 2);
  CommonPack large;
  ASSERT_TRUE(large.AddBuf(big.data(), 5000));
  EXPECT_EQ(OutCap(large), 5120u);
  ASSERT_TRUE(large.AddBuf(more.data(), 300));  // 120 free, 180 missing: doubles
  EXPECT_EQ(OutCap(large), 10240u);

  CommonPack exact;
  ASSERT_TRUE(exact.AddBuf(big.data(), 512));
  EXPECT_EQ(OutCap(exact), 1024u);  // missing == step gives two steps

  // A length-headed field grows the block as its head and then its bytes
  // would, one after the other: not as one write of both.
  Buffer value;
  value.CopyFrom(big.data(), 1000);
  CommonPack headed;
  ASSERT_TRUE(headed.AddBuf(big.data(), 511));
  ASSERT_TRUE(headed.AddBufLenDWord(value, true));  // head: 1 free, doubles
  EXPECT_EQ(OutCap(headed), 2048u);                 // bytes: 509 free, doubles
  EXPECT_EQ(headed.GetBufferOutLen(), 1515u);
  EXPECT_EQ(Output(headed)[514], 0xE8);  // 1000 = 0x3E8, big-endian
  value.Resize(509);
  CommonPack filled;
  ASSERT_TRUE(filled.AddBYTE(0));
  ASSERT_TRUE(filled.AddBufLenWord(value, true));  // exactly the 511 free bytes
  EXPECT_EQ(OutCap(filled), 512u);
  EXPECT_EQ(filled.GetBufferOutLen(), 512u);

  CommonPack tight;
  tight.SetGrowLen(0);  // a step of 1
  ASSERT_TRUE(tight.AddBuf(big.data(), 10));
  EXPECT_EQ(OutCap(tight), 11u);

  tight.SetGrowLen(100);
  tight.Reset();
  ASSERT_TRUE(tight.AddBYTE(0));
  EXPECT_EQ(OutCap(tight), 512u);

  // Refused on the count alone, before any allocation or read of the source.
  EXPECT_FALSE(tight.AddBuf(big.data(), 0x40000000u));
  EXPECT_EQ(tight.GetBufferOutLen(), 1u);
}

TEST(CommonPackCoreTest, InputIsCopiedOrReadInPlace) {
  unsigned char bytes[] = {1, 2, 3, 4};
  unsigned char v = 0;

  CommonPack owned;
  owned.SetBufferIn(bytes, 4, false);
  bytes[0] = 0xEE;  // the pack has its own copy
  ASSERT_TRUE(owned.GetBYTE(v));
  EXPECT_EQ(v, 1);

  CommonPack attached;
  attached.SetBufferIn(bytes, 4, true);
  bytes[1] = 0xDD;  // read in place
  ASSERT_TRUE(attached.JumpByte());
  ASSERT_TRUE(attached.GetBYTE(v));
  EXPECT_EQ(v, 0xDD);
  attached.SetBufferIn(bytes, 4, true);  // new input: cursor back at 0
  EXPECT_EQ(attached.GetBufferByteLeft(), 4);
  attached.Reset();  // must not release the caller's stack memory (ASan)

  // Whatever the cursor says, the whole input is copied out.
  ASSERT_TRUE(owned.JumpWord());
  unsigned char all[4] = {};
  unsigned int len = 0;
  ASSERT_TRUE(owned.CopyDecodeBufferOut(all, len));
  EXPECT_EQ(len, 4u);
  EXPECT_EQ(all[0], 1);
  EXPECT_FALSE(owned.CopyDecodeBufferOut(nullptr, len));
}

TEST(CommonPackCoreTest, CursorOnlyMovesForwardWithinTheInput) {
  unsigned char bytes[7] = {};
  CommonPack pack;
  pack.SetBufferIn(bytes, 7, false);
  EXPECT_FALSE(pack.JumpBuf(-1));
  EXPECT_TRUE(pack.JumpBuf(0));
  EXPECT_TRUE(pack.JumpDWord());
  EXPECT_TRUE(pack.JumpWord());
  EXPECT_FALSE(pack.JumpWord());
  EXPECT_EQ(pack.GetBufferByteLeft(), 1);
  EXPECT_FALSE(pack.JumpBuf(2));
  EXPECT_TRUE(pack.JumpBuf(pack.GetBufferByteLeft()));
  EXPECT_FALSE(pack.JumpByte());
  EXPECT_EQ(pack.GetBufferByteLeft(), 0);
}

TEST(CommonPackCoreTest, CopiesOwnTheirBlocksAndShareAttachedInput) {
  CommonPack writer;
  writer.SetGrowLen(64);
  ASSERT_TRUE(writer.AddDWORD(0xA1B2C3D4, true));
  CommonPack writerCopy(writer);
  ASSERT_TRUE(writer.AddBYTE(1));  // the copy's block is its own
  EXPECT_EQ(Output(writerCopy), (Bytes{0xA1, 0xB2, 0xC3, 0xD4}));
  EXPECT_EQ(OutCap(writerCopy), 64u);
  ASSERT_TRUE(writerCopy.AddBYTE(2));
  EXPECT_EQ(Output(writer).back(), 1);

  unsigned char bytes[] = {5, 6, 7};
  CommonPack owned;
  owned.SetBufferIn(bytes, 3, false);
  ASSERT_TRUE(owned.JumpByte());
  CommonPack ownedCopy;
  ownedCopy = writer;  // assignment gives up what the target held (ASan: no leak)
  ownedCopy = owned;
  owned.Reset();
  unsigned char v = 0;
  ASSERT_TRUE(ownedCopy.GetBYTE(v));
  EXPECT_EQ(v, 6);

  CommonPack attached;
  attached.SetBufferIn(bytes, 3, true);
  CommonPack attachedCopy(attached);
  ASSERT_TRUE(attached.JumpWord());
  unsigned char* p = nullptr;
  ASSERT_TRUE(attachedCopy.GetBuf(&p, 1));  // own cursor, same bytes
  EXPECT_EQ(p, bytes);
}

}  // namespace
