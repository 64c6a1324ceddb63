// Byte reversal of the fixed-width fields. A field goes on the wire in the
// host's memory order (least significant byte first) and reversed when the
// caller asks for network order; a failed network-order read reverses its
// destination too, so the reversal must be a plain value operation.
#ifndef BASE_PACK_BYTE_ORDER_H_
#define BASE_PACK_BYTE_ORDER_H_

#include <cstdint>

#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "the wire format assumes a little-endian host"
#endif

namespace base {

inline std::uint8_t ReverseBytes(std::uint8_t v) {
  return v;
}

// Written as shifts: GCC, Clang and MSVC compile these to one bswap/rol.
inline std::uint16_t ReverseBytes(std::uint16_t v) {
  return static_cast<std::uint16_t>((v >> 8) | (v << 8));
}

inline std::uint32_t ReverseBytes(std::uint32_t v) {
  return ((v & 0x000000FFu) << 24) | ((v & 0x0000FF00u) << 8) | ((v & 0x00FF0000u) >> 8) |
         ((v & 0xFF000000u) >> 24);
}

inline std::uint64_t ReverseBytes(std::uint64_t v) {
  return (static_cast<std::uint64_t>(ReverseBytes(static_cast<std::uint32_t>(v))) << 32) |
         ReverseBytes(static_cast<std::uint32_t>(v >> 32));
}

}  // namespace base

#endif  // BASE_PACK_BYTE_ORDER_H_
