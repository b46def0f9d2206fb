// Node names as words: they stand at a multiple of 4 and are padded with zero bytes to one, so a name and a component
// of a path are hashed and compared four characters at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace ox::amib {

inline constexpr std::uint64_t hash_factor = 0x9e3779b97f4a7c15u;

[[nodiscard]] inline std::uint32_t full_word(const char* text) noexcept {
  std::uint32_t word;
  std::memcpy(&word, text, sizeof word);
  return word;
}

// The last word of a name: its 0 to 3 remaining characters and zero bytes.
[[nodiscard]] inline std::uint32_t last_word(const char* text, std::size_t size) noexcept {
  std::uint32_t word = 0;
  for (std::size_t i = 0; i < size; ++i) word |= std::uint32_t{static_cast<unsigned char>(text[i])} << (8 * i);
  return word;
}

[[nodiscard]] inline std::uint32_t fold_hash(std::uint64_t hash) noexcept {
  return static_cast<std::uint32_t>(hash ^ (hash >> 32));
}

// `seed` tells the names under one parent from those under another.
[[nodiscard]] inline std::uint32_t hash_name(std::uint32_t seed, const char* name, std::size_t size) noexcept {
  std::uint64_t hash = (seed + std::uint64_t{1}) * hash_factor;
  for (; size >= 4; name += 4, size -= 4) {
    hash = (hash ^ full_word(name)) * hash_factor;
    hash ^= hash >> 29;
  }
  return fold_hash((hash ^ last_word(name, size)) * hash_factor);
}

[[nodiscard]] inline std::uint32_t hash_number(std::uint32_t seed, std::uint32_t number) noexcept {
  const std::uint64_t hash = ((std::uint64_t{seed} << 32 | number) + 1) * hash_factor;
  return fold_hash((hash ^ (hash >> 29)) * hash_factor);
}

// Whether a node's name is exactly that component. Never reads past the name's padding: a word is only looked at when
// all words before it were full.
[[nodiscard]] inline bool is_name(const char* node_name, const char* text, std::size_t size) noexcept {
  for (; size >= 4; node_name += 4, text += 4, size -= 4) {
    if (full_word(node_name) != full_word(text)) return false;
  }
  return full_word(node_name) == last_word(text, size);
}

}  // namespace ox::amib
