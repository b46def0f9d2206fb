// The checksum of the manager's files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace ox::manager {

// CRC-32, the reflected polynomial EDB88320, of bytes that follow those of `before`.
[[nodiscard]] std::uint32_t crc32(std::span<const std::byte> bytes, std::uint32_t before = 0);

}  // namespace ox::manager
