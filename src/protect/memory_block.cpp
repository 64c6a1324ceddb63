#include "protect/memory_block.h"

#include <cstring>

namespace base {

bool MemoryBlockSize(std::uint32_t length, std::uint32_t unit, std::uint32_t& size) {
  const std::uint64_t needed = std::uint64_t{length} + kMemoryBlockHeaderSize;
  const std::uint64_t rounded = (needed + unit - 1) / unit * unit;
  if (rounded > UINT32_MAX)
    return false;
  size = static_cast<std::uint32_t>(rounded);
  return true;
}

void WriteMemoryBlock(const std::uint8_t* data, std::uint32_t length, std::uint8_t* block) {
  for (std::uint32_t i = 0; i < kMemoryBlockHeaderSize; ++i)
    block[i] = static_cast<std::uint8_t>(length >> (8 * i));
  if (length != 0)
    std::memcpy(block + kMemoryBlockHeaderSize, data, length);
}

bool ReadMemoryBlock(const std::uint8_t* block,
                     std::uint32_t size,
                     const std::uint8_t*& data,
                     std::uint32_t& length) {
  if (size < kMemoryBlockHeaderSize)
    return false;
  std::uint32_t claimed = 0;
  for (std::uint32_t i = 0; i < kMemoryBlockHeaderSize; ++i)
    claimed |= std::uint32_t{block[i]} << (8 * i);
  if (claimed > size - kMemoryBlockHeaderSize)
    return false;
  data = block + kMemoryBlockHeaderSize;
  length = claimed;
  return true;
}

}  // namespace base
