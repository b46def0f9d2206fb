// The one bounded reader and the one writer through which wire bytes pass.
#pragma once

#include <bit>
#include <cassert>
#include <cstdint>
#include <cstring>
#include <span>

namespace ox {

[[nodiscard]] constexpr std::uint16_t big_endian(std::uint16_t value) noexcept { return __builtin_bswap16(value); }
[[nodiscard]] constexpr std::uint32_t big_endian(std::uint32_t value) noexcept { return __builtin_bswap32(value); }
[[nodiscard]] constexpr std::uint64_t big_endian(std::uint64_t value) noexcept { return __builtin_bswap64(value); }
static_assert(std::endian::native == std::endian::little);

// Reads forward and never past the end: a read that does not fit fails and moves nothing.
class Reader {
 public:
  Reader(const void* data, std::size_t size) noexcept
      : position_(static_cast<const unsigned char*>(data)), remaining_(size) {}

  [[nodiscard]] std::size_t remaining() const noexcept { return remaining_; }
  [[nodiscard]] const unsigned char* position() const noexcept { return position_; }

  template <class Integer>  // big-endian
  [[nodiscard]] bool take(Integer& value) noexcept {
    if (remaining_ < sizeof value) return false;
    std::memcpy(&value, position_, sizeof value);
    value = big_endian(value);
    skip(sizeof value);
    return true;
  }

  // The bytes stay where they are.
  [[nodiscard]] bool take_bytes(std::size_t size, const unsigned char*& bytes) noexcept {
    if (remaining_ < size) return false;
    bytes = position_;
    skip(size);
    return true;
  }

 private:
  void skip(std::size_t size) noexcept {
    position_ += size;
    remaining_ -= size;
  }

  const unsigned char* position_;
  std::size_t remaining_;
};

// Writes forward into a block of the size that the caller computed before; finish() checks that it was the right one.
class Writer {
 public:
  Writer(void* block, std::size_t size) noexcept
      : position_(static_cast<unsigned char*>(block)), end_(position_ + size) {}

  template <class Integer>  // big-endian
  void put(Integer value) noexcept {
    assert(static_cast<std::size_t>(end_ - position_) >= sizeof value);
    value = big_endian(value);
    std::memcpy(position_, &value, sizeof value);
    position_ += sizeof value;
  }
  void put_bytes(const void* bytes, std::size_t size) noexcept {
    assert(static_cast<std::size_t>(end_ - position_) >= size);
    if (size != 0) std::memcpy(position_, bytes, size);
    position_ += size;
  }

  void finish() const noexcept { assert(position_ == end_); }

 private:
  unsigned char* position_;
  [[maybe_unused]] unsigned char* end_;  // unused where assertions are off
};

}  // namespace ox
