#include "base/buffer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <vector>

namespace {

std::vector<unsigned char> Bytes(const Buffer& b) {
  return std::vector<unsigned char>(b.GetNativeBuf(), b.GetNativeBuf() + b.GetSize());
}

TEST(BufferTest, EmptyBufferAndIndexBounds) {
  Buffer b;
  EXPECT_TRUE(b.IsEmpty());
  EXPECT_EQ(b.GetSize(), 0u);
  EXPECT_EQ(b.GetNativeBuf(), nullptr);
  EXPECT_EQ(b.GetAt(0), 0);
  EXPECT_FALSE(b.SetAt(0, 1));

  const unsigned char bytes[] = {1, 2, 3};
  ASSERT_TRUE(b.CopyFrom(bytes, 3));
  EXPECT_TRUE(b.SetAt(2, 9));
  EXPECT_FALSE(b.SetAt(3, 9));  // never grows
  EXPECT_EQ(b.GetAt(2), 9);
  EXPECT_EQ(b.GetAt(3), 0);
  EXPECT_EQ(b.GetSize(), 3u);
}

TEST(BufferTest, CopyFromAndAttachRefuseOnlyTheOwnBlock) {
  Buffer a, b;
  EXPECT_FALSE(a.CopyFromBuffer(b));  // two empty buffers: null == null
  EXPECT_FALSE(a.CopyFrom(nullptr, 5));

  unsigned char ten[10];
  std::memset(ten, 7, sizeof(ten));
  ASSERT_TRUE(a.CopyFrom(ten, 10));
  EXPECT_FALSE(a.CopyFrom(a.GetNativeBuf(), 3));
  EXPECT_EQ(a.GetSize(), 10u);
  // A source further inside the own block is still valid when a new block is
  // needed (ASan watches the read).
  ASSERT_TRUE(a.SetAllocBase(1));
  EXPECT_TRUE(a.Append(a.GetNativeBuf() + 4, 6) != nullptr);
  EXPECT_EQ(a.GetSize(), 16u);
  EXPECT_TRUE(a.CopyFrom(nullptr, 5));
  EXPECT_TRUE(a.IsEmpty());

  // Attach takes over a block; a length of 0 empties without taking it.
  unsigned char* block = static_cast<unsigned char*>(::operator new(4));
  std::memset(block, 0xAB, 4);
  ASSERT_TRUE(a.Attach(block, 4));
  EXPECT_FALSE(a.Attach(block, 4));
  EXPECT_EQ(a.GetAt(3), 0xAB);
  unsigned char callers[2] = {1, 2};
  EXPECT_TRUE(a.Attach(callers, 0));  // releases `block`; `callers` stays ours
  EXPECT_TRUE(a.IsEmpty());

  ASSERT_TRUE(a.CopyFrom(callers, 2));
  unsigned char* taken = a.Detach();
  EXPECT_TRUE(a.IsEmpty());
  EXPECT_EQ(taken[1], 2);
  ::operator delete(taken);
}

TEST(BufferTest, AllocBaseRoundsNewBlocksUp) {
  // The capacity shows through whether a later Resize keeps the block.
  Buffer b;
  EXPECT_FALSE(b.SetAllocBase(0));
  ASSERT_TRUE(b.SetAllocBase(16));
  unsigned char* first = b.Resize(1);
  EXPECT_EQ(b.Resize(16), first);
  EXPECT_NE(b.Resize(17), first);
  unsigned char* second = b.GetNativeBuf();
  EXPECT_EQ(b.Resize(32), second);  // 32, not 48
  EXPECT_NE(b.Resize(33), second);

  b.Empty();  // the step belongs to the object, not the contents
  unsigned char* third = b.Resize(1);
  EXPECT_EQ(b.Resize(16), third);
}

TEST(BufferTest, ResizeInsideCapacityTouchesNothing) {
  Buffer b;
  std::memset(b.Resize(10), 0xFF, 10);
  b.Resize(4);
  b.Resize(8);
  EXPECT_EQ(Bytes(b), std::vector<unsigned char>(8, 0xFF));
  b.Resize(11);  // a new block: old contents copied, zeros behind
  EXPECT_EQ(Bytes(b),
            (std::vector<unsigned char>{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0}));
  EXPECT_EQ(b.Resize(0), nullptr);
  EXPECT_TRUE(b.IsEmpty());
}

TEST(BufferTest, AppendAddsBehindAndIgnoresNothing) {
  Buffer b;
  const unsigned char ab[] = {0xA, 0xB};
  unsigned char* start = b.Append(ab, 2);
  EXPECT_EQ(start, b.GetNativeBuf());
  EXPECT_EQ(b.Append(nullptr, 3), nullptr);
  EXPECT_EQ(b.Append(ab, 0), nullptr);
  start = b.Append(b.GetNativeBuf(), 2);  // from the block that it replaces
  EXPECT_EQ(start, b.GetNativeBuf());
  EXPECT_EQ(Bytes(b), (std::vector<unsigned char>{0xA, 0xB, 0xA, 0xB}));
}

TEST(BufferTest, CopiesKeepTheirOwnAllocBase) {
  Buffer source;
  source.SetAllocBase(64);
  const unsigned char one = 1;
  source.CopyFrom(&one, 1);

  Buffer copy(source);  // step 1: the next byte needs a new block
  unsigned char* block = copy.GetNativeBuf();
  EXPECT_NE(copy.Resize(2), block);

  Buffer target;
  target.SetAllocBase(16);
  target = source;
  block = target.GetNativeBuf();
  EXPECT_EQ(target.Resize(16), block);
  target = target;  // self-assignment changes nothing
  EXPECT_EQ(target.GetNativeBuf(), block);
  EXPECT_EQ(target.GetAt(0), 1);
}

TEST(BufferTest, CompareIsLexicographicOnUnsignedBytes) {
  Buffer b;
  const unsigned char contents[] = {0x01, 0x02};
  b.CopyFrom(contents, 2);
  const unsigned char longer[] = {0x01, 0x02, 0x03}, prefix[] = {0x01}, bigger[] = {0x01, 0x03},
                      smaller[] = {0x01, 0x01, 0x09};
  EXPECT_EQ(b.Compare(nullptr, 7), 0);
  EXPECT_EQ(b.Compare(longer, 3), -1);
  EXPECT_EQ(b.Compare(prefix, 1), 1);
  EXPECT_EQ(b.Compare(bigger, 2), -1);
  EXPECT_EQ(b.Compare(smaller, 3), 1);
  EXPECT_EQ(b.Compare(contents, 2), 0);
  EXPECT_EQ(b.Compare(contents, 0), 1);

  Buffer empty;
  EXPECT_EQ(empty.Compare(contents, 0), 0);
  EXPECT_EQ(empty.Compare(contents, 1), -1);

  const unsigned char high = 0x80, low = 0x7F;
  b.CopyFrom(&high, 1);
  EXPECT_EQ(b.Compare(&low, 1), 1);
}

TEST(BufferTest, SizesBeyond32BitsAreRefusedBeforeAnyChange) {
  Buffer b;
  const unsigned char one = 1;
  b.CopyFrom(&one, 1);
  unsigned char* block = b.GetNativeBuf();
  // Refused on the arithmetic alone: the source is never read.
  EXPECT_THROW(b.Append(&one, 0xFFFFFFFFu), std::bad_alloc);
  EXPECT_EQ(b.GetNativeBuf(), block);
  EXPECT_EQ(b.GetSize(), 1u);

  // 0x80000001 raised to a multiple of 0x80000000 does not fit in 32 bits.
  ASSERT_TRUE(b.SetAllocBase(0x80000000u));
  EXPECT_THROW(b.Resize(0x80000001u), std::bad_alloc);
  EXPECT_EQ(b.GetNativeBuf(), block);
  EXPECT_EQ(b.GetSize(), 1u);
}

}  // namespace
