// Integers of variable length: seven bits a byte from the lowest on, the highest bit set but in the last byte. A signed
// one has its sign in the lowest bit: 0, -1, 1, -2 are 0, 1, 2, 3.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "manager/base/payload.h"

namespace ox::manager {

[[nodiscard]] constexpr std::uint64_t fold_sign(std::uint64_t number) { return number << 1 ^ (0 - (number >> 63)); }
[[nodiscard]] constexpr std::uint64_t unfold_sign(std::uint64_t folded) { return folded >> 1 ^ (0 - (folded & 1)); }

[[nodiscard]] constexpr std::uint64_t bits_of(std::int64_t number) { return static_cast<std::uint64_t>(number); }

inline constexpr std::size_t most_of_varint = 10;  // bytes
// Where the bytes behind it go.
inline std::byte* write_varint(std::byte* at, std::uint64_t number) {
  for (; number >= 0x80; number >>= 7) *at++ = static_cast<std::byte>(number | 0x80);
  *at++ = static_cast<std::byte>(number);
  return at;
}
inline void put_varint(Bytes& out, std::uint64_t number) {
  std::byte bytes[most_of_varint];
  out.insert(out.end(), bytes, write_varint(bytes, number));
}
inline void put_signed(Bytes& out, std::uint64_t number) { put_varint(out, fold_sign(number)); }

// Reads forward and never past the end: a read that does not fit fails for good, and gives zeros.
class ByteCursor {
 public:
  explicit ByteCursor(std::span<const std::byte> bytes) : at_(bytes.data()), end_(at_ + bytes.size()) {}

  [[nodiscard]] std::size_t left() const { return static_cast<std::size_t>(end_ - at_); }
  [[nodiscard]] bool failed() const { return failed_; }
  [[nodiscard]] std::uint8_t byte() { return at_ != end_ ? std::to_integer<std::uint8_t>(*at_++) : fail(); }
  [[nodiscard]] std::uint64_t varint() {
    std::uint64_t number = 0;
    for (unsigned shift = 0; shift < 64; shift += 7) {
      const std::uint8_t next = byte();
      number |= std::uint64_t{next & 0x7Fu} << shift;
      if (next < 0x80) return number;
    }
    return fail();
  }
  [[nodiscard]] std::uint64_t signed_number() { return unfold_sign(varint()); }
  [[nodiscard]] std::uint32_t word() {
    const std::uint64_t number = varint();
    return number <= UINT32_MAX ? static_cast<std::uint32_t>(number) : fail();
  }
  [[nodiscard]] std::span<const std::byte> bytes(std::uint64_t count) {
    if (count > left()) return fail(), std::span<const std::byte>();
    at_ += count;
    return {at_ - count, static_cast<std::size_t>(count)};
  }
  std::uint8_t fail() {
    failed_ = true;
    at_ = end_;
    return 0;
  }

 private:
  const std::byte* at_;
  const std::byte* end_;
  bool failed_ = false;
};

}  // namespace ox::manager
