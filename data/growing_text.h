// A text that grows as it is written, in one tracked block that is kept for the next text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "common/memory.h"

namespace ox::data {

class GrowingText {
 public:
  // Tags of the first block and of its growth.
  constexpr GrowingText(const char* first_tag, const char* growth_tag) noexcept
      : first_tag_(first_tag), growth_tag_(growth_tag) {}

  void clear() noexcept {
    size_ = 0;
    failed_ = false;
  }

  void append(std::string_view text) noexcept;
  void append(std::size_t count, char character) noexcept;

  // Null when memory ran out since clear(). Valid until the next change.
  [[nodiscard]] const char* text() noexcept;

 private:
  static constexpr std::size_t step = 256;

  // Room for `count` more characters and a terminator. False when it cannot be had.
  [[nodiscard]] bool reserve(std::size_t count) noexcept;

  tracked_ptr<char[]> block_;
  std::size_t capacity_ = 0;
  std::size_t size_ = 0;
  bool failed_ = false;
  const char* first_tag_;
  const char* growth_tag_;
};

}  // namespace ox::data
