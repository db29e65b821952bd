// Byte order of stored data. The binary streams record an EndianType but
// always write in the machine's own order.
#pragma once

#include <cstdint>

class omi_Swapper {
 public:
  enum EndianType { Native = 0, Little = 1, Big = 2 };

  static constexpr EndianType MachineType() {
    return __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? Little : Big;
  }
  static constexpr std::uint16_t Swap(std::uint16_t v) { return __builtin_bswap16(v); }
  static constexpr std::uint32_t Swap(std::uint32_t v) { return __builtin_bswap32(v); }
  static constexpr std::uint64_t Swap(std::uint64_t v) { return __builtin_bswap64(v); }
};
