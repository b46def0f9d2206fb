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
    copy(position_, static_cast<const unsigned char*>(bytes), size);
    position_ += size;
  }

  void finish() const noexcept { assert(position_ == end_); }

 private:
  // Most fields are short, and a call of memcpy for each costs more than its bytes. Two copies of a fixed size that may
  // overlap cover every size between one and two of it.
  static void copy(unsigned char* target, const unsigned char* source, std::size_t size) noexcept {
    if (size > 32) {
      std::memcpy(target, source, size);
    } else if (size >= 16) {
      copy_ends<16>(target, source, size);
    } else if (size >= 8) {
      copy_ends<8>(target, source, size);
    } else if (size >= 4) {
      copy_ends<4>(target, source, size);
    } else if (size >= 2) {
      copy_ends<2>(target, source, size);
    } else if (size != 0) {
      *target = *source;
    }
  }
  template <std::size_t part>
  static void copy_ends(unsigned char* target, const unsigned char* source, std::size_t size) noexcept {
    unsigned char first[part];
    unsigned char last[part];
    std::memcpy(first, source, part);
    std::memcpy(last, source + size - part, part);
    std::memcpy(target, first, part);
    std::memcpy(target + size - part, last, part);
  }

  unsigned char* position_;
  [[maybe_unused]] unsigned char* end_;  // unused where assertions are off
};

}  // namespace ox
