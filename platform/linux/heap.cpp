// The C library's heap, with what a thread has released at hand for its next blocks.
//
// Messages and lists are made of many small blocks that go soon: the C library keeps seven of a size for a thread, and
// what is beyond them costs several times as much. A sanitizer has to see every block come and go.
#include "platform/heap.h"

#include <malloc.h>
#include <pthread.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define OX_PLAIN_HEAP
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define OX_PLAIN_HEAP
#endif
#endif

namespace ox::platform {

#ifdef OX_PLAIN_HEAP

void* heap_allocate(std::size_t size) noexcept { return std::malloc(size); }
void* heap_allocate_zeroed(std::size_t size) noexcept { return std::calloc(1, size); }
void heap_free(void* block) noexcept { std::free(block); }
void heap_free(void* block, std::size_t) noexcept { std::free(block); }

#else

namespace {

constexpr std::size_t kinds = 17;        // a block of kind n has 16 n + 8 bytes at least, as the C library gives them
constexpr std::uint32_t most_kept = 64;  // of each kind: a thread keeps 140 KB at the most
constexpr std::uint32_t closed = most_kept;

struct Kept {
  Kept* next;
  const void* keeper;  // tells a block that is released twice, as the C library does
};

struct Shelf {
  Kept* first = nullptr;
  std::uint32_t count = 0;
};

struct Shelves {
  Shelf of[kinds];
  bool is_registered = false;
};

[[gnu::tls_model("initial-exec")]] constinit thread_local Shelves shelves;

// The thread ends: what is released from now on goes to the C library.
void give_back(void*) noexcept {
  for (Shelf& shelf : shelves.of) {
    while (Kept* const block = shelf.first) {
      shelf.first = block->next;
      std::free(block);
    }
    shelf.count = closed;
  }
}

constinit ::pthread_key_t key{};
constinit bool key_made = false;

// Before whatever else happens at the load, and not at a first use, which a fork of another thread could come upon.
[[gnu::constructor(200)]] void make_key() { key_made = ::pthread_key_create(&key, give_back) == 0; }

bool register_thread() noexcept {
  shelves.is_registered = key_made && ::pthread_setspecific(key, &shelves) == 0;
  return shelves.is_registered;
}

// A block whose second word says that it is kept is looked for: it may say so by chance.
void check_released(const Shelf& shelf, const void* block) noexcept {
  for (const Kept* kept = shelf.first; kept != nullptr; kept = kept->next) {
    if (kept == block) std::abort();
  }
}

void put(Shelf& shelf, Kept* block) noexcept {
  *block = {shelf.first, &shelves};
  shelf.first = block;
  ++shelf.count;
}

// That a block must be of to hold so many bytes.
constexpr std::size_t kind_for(std::size_t size) noexcept { return size > 24 ? (size + 7) / 16 : 1; }

// Null when none is kept.
void* kept_block(std::size_t size) noexcept {
  const std::size_t kind = kind_for(size);
  if (kind >= kinds) return nullptr;
  Shelf& shelf = shelves.of[kind];
  Kept* const block = shelf.first;
  if (block == nullptr) return nullptr;
  shelf.first = block->next;
  --shelf.count;
  block->keeper = nullptr;
  return block;
}

}  // namespace

void* heap_allocate(std::size_t size) noexcept {
  void* const block = kept_block(size);
  return block != nullptr ? block : std::malloc(size);
}

void* heap_allocate_zeroed(std::size_t size) noexcept {
  void* const block = kept_block(size);
  return block != nullptr ? std::memset(block, 0, size) : std::calloc(1, size);
}

// Not the plain case.
[[gnu::noinline]] static void free_with_care(Shelf& shelf, Kept* block) noexcept {
  if (block->keeper == &shelves) check_released(shelf, block);
  if (shelf.count >= most_kept || !(shelves.is_registered || register_thread())) return std::free(block);
  put(shelf, block);
}

[[gnu::always_inline]] static inline void free_of_kind(void* block, std::size_t kind) noexcept {
  if (kind - 1 >= kinds - 1) return std::free(block);
  Shelf& shelf = shelves.of[kind];
  auto* const kept = static_cast<Kept*>(block);
  if (kept->keeper == &shelves || shelf.count >= most_kept || !shelves.is_registered) [[unlikely]]
    return free_with_care(shelf, kept);
  put(shelf, kept);
}

void heap_free(void* block) noexcept {
  if (block != nullptr) free_of_kind(block, (malloc_usable_size(block) - 8) / 16);
}

void heap_free(void* block, std::size_t size) noexcept { free_of_kind(block, kind_for(size)); }

#endif

std::size_t heap_size(void* block) noexcept { return malloc_usable_size(block); }

}  // namespace ox::platform
