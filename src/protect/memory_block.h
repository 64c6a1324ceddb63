// The protected memory block, in plain:
//
//   offset      size     field
//   0           4        data length, unsigned, little-endian
//   4           length   the data
//   4 + length  rest     zero bytes up to the end
//
// Its size is the smallest multiple of the service's unit that holds the
// length and the data; a length of 12 with a unit of 16 fits exactly and gets
// no further unit. This layout is shared with modules built apart: keep it.
#ifndef BASE_PROTECT_MEMORY_BLOCK_H_
#define BASE_PROTECT_MEMORY_BLOCK_H_

#include <cstdint>

namespace base {

inline constexpr std::uint32_t kMemoryBlockHeaderSize = 4;

// The block size for `length` data bytes, or false if it does not fit in 32
// bits.
bool MemoryBlockSize(std::uint32_t length, std::uint32_t unit, std::uint32_t& size);

// Writes the header and the data into `block`, which is zeroed and at least
// MemoryBlockSize bytes long.
void WriteMemoryBlock(const std::uint8_t* data, std::uint32_t length, std::uint8_t* block);

// Finds the data of a plain block of `size` bytes. False if the block is too
// short for a header or the header claims more than the block holds; the
// header is never trusted beyond the block.
bool ReadMemoryBlock(const std::uint8_t* block,
                     std::uint32_t size,
                     const std::uint8_t*& data,
                     std::uint32_t& length);

}  // namespace base

#endif  // BASE_PROTECT_MEMORY_BLOCK_H_
