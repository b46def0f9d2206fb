#include "manager/base/checksum.h"

#include <array>

namespace ox::manager {
namespace {

using Table = std::array<std::uint32_t, 256>;

// The first table takes one byte; the others what one to three bytes behind it make of it: four bytes at a time.
constexpr std::array<Table, 4> tables = [] {
  std::array<Table, 4> made{};
  for (std::uint32_t byte = 0; byte < 256; ++byte) {
    std::uint32_t crc = byte;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) != 0 ? crc >> 1 ^ 0xEDB88320u : crc >> 1;
    made[0][byte] = crc;
  }
  for (std::size_t behind = 1; behind < made.size(); ++behind) {
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
      const std::uint32_t crc = made[behind - 1][byte];
      made[behind][byte] = crc >> 8 ^ made[0][crc & 0xFF];
    }
  }
  return made;
}();

std::uint32_t four_bytes(std::span<const std::byte> bytes) {
  std::uint32_t word = 0;
  for (std::size_t i = 4; i-- > 0;) word = word << 8 | std::to_integer<std::uint32_t>(bytes[i]);
  return word;
}

}  // namespace

std::uint32_t crc32(std::span<const std::byte> bytes, std::uint32_t before) {
  std::uint32_t crc = ~before;
  for (; bytes.size() >= 4; bytes = bytes.subspan(4)) {
    crc ^= four_bytes(bytes);
    crc = tables[3][crc & 0xFF] ^ tables[2][crc >> 8 & 0xFF] ^ tables[1][crc >> 16 & 0xFF] ^ tables[0][crc >> 24];
  }
  for (const std::byte byte : bytes) crc = crc >> 8 ^ tables[0][(crc ^ std::to_integer<std::uint32_t>(byte)) & 0xFF];
  return ~crc;
}

}  // namespace ox::manager
