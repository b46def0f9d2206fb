// Ownership of tracked blocks inside the library.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>

#include <oxbase/oxc.h>

namespace ox {

struct TrackedDelete {
  void operator()(void* block) const noexcept { (void)oxcMemFree(block); }
};

// Owns a tracked block of plain data. Every early return frees it; release() hands it to the caller.
template <class T>
using tracked_ptr = std::unique_ptr<T, TrackedDelete>;

// A zero-filled record. Null when memory runs out.
template <class T>
[[nodiscard]] tracked_ptr<T> make_tracked(const char* tag) noexcept {
  static_assert(std::is_trivially_destructible_v<T>);
  return tracked_ptr<T>(static_cast<T*>(oxcMemZalloc(sizeof(T), tag)));
}

// `count` elements, undefined. Null when memory runs out.
template <class T>
[[nodiscard]] tracked_ptr<T[]> make_tracked_array(std::uint32_t count, const char* tag) noexcept {
  static_assert(std::is_trivially_destructible_v<T>);
  if (count > UINT32_MAX / sizeof(T)) return nullptr;
  return tracked_ptr<T[]>(static_cast<T*>(oxcMemAlloc(count * static_cast<std::uint32_t>(sizeof(T)), tag)));
}

// A copy of a text with its terminator. Null when memory runs out.
[[nodiscard]] inline tracked_ptr<char[]> copy_text(const char* text, const char* tag) noexcept {
  const std::size_t size = std::strlen(text) + 1;
  if (size > UINT32_MAX) return nullptr;
  auto copy = make_tracked_array<char>(static_cast<std::uint32_t>(size), tag);
  if (copy) std::memcpy(copy.get(), text, size);
  return copy;
}

// For null results of memory shortage the users throw std::bad_alloc or answer as their interface says.
[[noreturn]] inline void out_of_memory() { throw std::bad_alloc(); }

}  // namespace ox
