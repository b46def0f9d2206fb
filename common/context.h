// Per-thread state: context<T>() is the calling thread's block of T, value-initialised (all zero for plain structs) on
// first use and destroyed when the thread detaches from the library. One struct per user, next to its user. The table
// of a thread's blocks is made when it attaches, where the platform tells of that.
#pragma once

#include <atomic>
#include <cstddef>

namespace ox {

namespace memory {
struct Counts;
// The calling thread's own, held until it ends; null when memory runs out.
[[nodiscard]] Counts* thread_counts() noexcept;
}  // namespace memory

namespace detail {

struct ContextKind {
  void* (*make)();
  void (*destroy)(void*);
  std::atomic<std::size_t> place{0};  // in every thread's table, from 1; 0 until the first use
};

// The thread's block of that kind, made when there is none. Throws std::bad_alloc.
void* context_block(ContextKind& kind);

// Constant-initialised, without the compiler's lock: a child forked meanwhile would wait for its holder for ever.
template <class T>
inline constinit ContextKind context_kind{[]() -> void* { return new T(); },
                                          [](void* block) { delete static_cast<T*>(block); }};

}  // namespace detail

// Throws std::bad_alloc on a thread's first use only.
template <class T>
[[nodiscard]] T& context() {
  return *static_cast<T*>(detail::context_block(detail::context_kind<T>));
}

}  // namespace ox
