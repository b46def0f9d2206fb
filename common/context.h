// Per-thread state: context<T>() is the calling thread's block of T, value-initialised (all zero for plain structs) on
// first use and destroyed when the thread detaches from the library. One struct per user, next to its user.
#pragma once

#include <cstddef>

namespace ox {

namespace detail {

struct ContextKind {
  std::size_t index;
  void* (*make)();
  void (*destroy)(void*);
};

inline constexpr std::size_t context_kinds = 64;

std::size_t next_context_index() noexcept;  // asserts that it stays below context_kinds

// The thread's block of that kind, made when there is none. Throws std::bad_alloc.
void* context_block(const ContextKind& kind);

template <class T>
const ContextKind& context_kind() {
  static const ContextKind kind{next_context_index(), []() -> void* { return new T(); },
                                [](void* block) { delete static_cast<T*>(block); }};
  return kind;
}

}  // namespace detail

// Throws std::bad_alloc on a thread's first use only.
template <class T>
[[nodiscard]] T& context() {
  return *static_cast<T*>(detail::context_block(detail::context_kind<T>()));
}

}  // namespace ox
