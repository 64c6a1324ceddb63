#include "base/buffer.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

#include "pack/block.h"

Buffer::Buffer() : data(nullptr), size(0), allocBase(1), capacity(0) {
  // Modules built apart construct Buffers by value: the layout must not move.
  static_assert(offsetof(Buffer, data) == 0, "Buffer field order");
  static_assert(offsetof(Buffer, size) == sizeof(unsigned char*), "Buffer field order");
  static_assert(offsetof(Buffer, allocBase) == offsetof(Buffer, size) + 4, "Buffer field order");
  static_assert(offsetof(Buffer, capacity) == offsetof(Buffer, size) + 8, "Buffer field order");
  static_assert(sizeof(unsigned int) == 4, "32-bit sizes on the wire and in the layout");
}

Buffer::Buffer(const Buffer& other) : Buffer() {
  CopyFrom(other.data, other.size);
}

Buffer::~Buffer() {
  base::ReleaseBlock(data);
}

Buffer& Buffer::operator=(const Buffer& other) {
  if (this != &other) {
    Release();
    CopyFrom(other.data, other.size);
  }
  return *this;
}

bool Buffer::SetAllocBase(unsigned int n) {
  if (n == 0)
    return false;
  allocBase = n;
  return true;
}

bool Buffer::Empty() {
  Release();
  return true;
}

unsigned char Buffer::GetAt(unsigned int i) const {
  return i < size ? data[i] : 0;
}

bool Buffer::SetAt(unsigned int i, unsigned char b) {
  if (i >= size)
    return false;
  data[i] = b;
  return true;
}

bool Buffer::CopyFrom(const unsigned char* src, unsigned int n) {
  // First, so that a null source on an empty buffer is refused as well.
  if (src == data)
    return false;
  if (src == nullptr || n == 0) {
    Release();
    return true;
  }
  unsigned char* const old = data;
  AdjustBuffer(n);
  // memmove: inside one block the source may overlap the destination.
  std::memmove(data, src, n);
  if (data != old)
    base::ReleaseBlock(old);
  return true;
}

bool Buffer::CopyFromBuffer(const Buffer& other) {
  return CopyFrom(other.data, other.size);
}

bool Buffer::Attach(unsigned char* p, unsigned int n) {
  if (p == data)
    return false;
  base::ReleaseBlock(data);
  // A non-null `p` with `n` 0 stays the caller's: the buffer is left empty.
  const bool take = p != nullptr && n > 0;
  data = take ? p : nullptr;
  size = take ? n : 0;
  capacity = size;
  return true;
}

unsigned char* Buffer::Detach() {
  unsigned char* const block = data;
  data = nullptr;
  size = 0;
  capacity = 0;
  return block;
}

unsigned char* Buffer::Resize(unsigned int n) {
  if (n == 0) {
    Release();
    return nullptr;
  }
  unsigned char* const old = data;
  const unsigned int oldSize = size;
  AdjustBuffer(n);
  if (data != old) {
    if (oldSize > 0)
      std::memcpy(data, old, oldSize < n ? oldSize : n);
    base::ReleaseBlock(old);
  }
  return data;
}

unsigned char* Buffer::Append(const unsigned char* src, unsigned int n) {
  if (src == nullptr || n == 0)
    return nullptr;
  if (n > UINT32_MAX - size)
    throw std::bad_alloc();
  unsigned char* const old = data;
  const unsigned int oldSize = size;
  AdjustBuffer(oldSize + n);
  if (data == old) {
    std::memmove(data + oldSize, src, n);
  } else {
    // The old block is released last: `src` may lie inside it.
    if (oldSize > 0)
      std::memcpy(data, old, oldSize);
    std::memcpy(data + oldSize, src, n);
    base::ReleaseBlock(old);
  }
  return data;
}

int Buffer::Compare(const unsigned char* p, unsigned int n) const {
  if (p == nullptr)
    return 0;
  const unsigned int common = size < n ? size : n;
  if (common > 0) {
    const int order = std::memcmp(data, p, common);
    if (order != 0)
      return order > 0 ? 1 : -1;
  }
  if (size == n)
    return 0;
  return size < n ? -1 : 1;
}

void Buffer::AdjustBuffer(unsigned int n) {
  if (n <= capacity) {
    size = n;
    return;
  }
  // Raised to the next multiple of allocBase. The product is computed wide so
  // that a capacity beyond 32 bits is refused instead of wrapping to a block
  // smaller than n; the quotient fits 32 bits, and so does its division.
  const std::uint64_t raised =
      (static_cast<std::uint64_t>((n - 1) / allocBase) + 1) * static_cast<std::uint64_t>(allocBase);
  if (raised > UINT32_MAX)
    throw std::bad_alloc();
  data = base::AllocateZeroedBlock(static_cast<unsigned int>(raised));
  capacity = static_cast<unsigned int>(raised);
  size = n;
}

void Buffer::Release() {
  base::ReleaseBlock(data);
  data = nullptr;
  size = 0;
  capacity = 0;
}
