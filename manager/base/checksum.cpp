#include "manager/base/checksum.h"

#include <array>

namespace ox::manager {
namespace {

constexpr std::array<std::uint32_t, 256> table = [] {
  std::array<std::uint32_t, 256> made{};
  for (std::uint32_t byte = 0; byte < 256; ++byte) {
    std::uint32_t crc = byte;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) != 0 ? crc >> 1 ^ 0xEDB88320u : crc >> 1;
    made[byte] = crc;
  }
  return made;
}();

}  // namespace

std::uint32_t crc32(std::span<const std::byte> bytes, std::uint32_t before) {
  std::uint32_t crc = ~before;
  for (const std::byte byte : bytes) crc = crc >> 8 ^ table[(crc ^ std::to_integer<std::uint32_t>(byte)) & 0xFF];
  return ~crc;
}

}  // namespace ox::manager
