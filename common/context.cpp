#include "common/context.h"

#include <array>
#include <atomic>
#include <cassert>
#include <memory>
#include <new>

#include "platform/thread_slot.h"

namespace ox::detail {
namespace {

struct Block {
  void* data = nullptr;
  void (*destroy)(void*) = nullptr;
};

struct Table {
  std::array<Block, context_kinds> blocks;

  // Latest made first: a later user's state may use an earlier one's.
  ~Table() {
    for (std::size_t i = blocks.size(); i-- != 0;) {
      if (blocks[i].data != nullptr) blocks[i].destroy(blocks[i].data);
    }
  }
};

void release_table(void* table) { delete static_cast<Table*>(table); }

Table& thread_table() {
  if (void* table = platform::thread_slot()) return *static_cast<Table*>(table);
  auto table = std::make_unique<Table>();
  if (!platform::set_thread_slot(table.get(), release_table)) throw std::bad_alloc();
  return *table.release();
}

}  // namespace

std::size_t next_context_index() noexcept {
  static std::atomic<std::size_t> next{0};
  const std::size_t index = next.fetch_add(1, std::memory_order_relaxed);
  assert(index < context_kinds);
  return index;
}

void* context_block(const ContextKind& kind) {
  Block& block = thread_table().blocks[kind.index];
  if (block.data == nullptr) {
    block.data = kind.make();
    block.destroy = kind.destroy;
  }
  return block.data;
}

}  // namespace ox::detail
