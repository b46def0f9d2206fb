#include "common/context.h"

#include <atomic>
#include <memory>
#include <new>
#include <vector>

#include "common/memory_counts.h"
#include "platform/thread_slot.h"

namespace ox::detail {
namespace {

struct Block {
  void* data = nullptr;
  void (*destroy)(void*) = nullptr;
};

struct Table {
  std::vector<Block> blocks;
  memory::Counts* counts = memory::hold_counts();

  Table() = default;
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;
  // Latest made first: a later user's state may use an earlier one's.
  ~Table() {
    for (std::size_t i = blocks.size(); i-- != 0;) {
      if (blocks[i].data != nullptr) blocks[i].destroy(blocks[i].data);
    }
    memory::hand_on(counts);
  }
};

void release_table(void* table) { delete static_cast<Table*>(table); }

Table* make_table() noexcept {
  std::unique_ptr<Table> table(new (std::nothrow) Table);
  return table && table->counts != nullptr && platform::set_thread_slot(table.get(), release_table) ? table.release()
                                                                                                    : nullptr;
}

// Null when memory runs out.
Table* thread_table() noexcept {
  void* const table = platform::thread_slot();
  return table != nullptr ? static_cast<Table*>(table) : make_table();
}

// Of two threads that come first at once, one's number goes unused.
std::size_t place_of(ContextKind& kind) noexcept {
  static constinit std::atomic<std::size_t> last{0};
  std::size_t place = kind.place.load(std::memory_order_relaxed);
  if (place != 0) return place;
  const std::size_t fresh = ++last;
  return kind.place.compare_exchange_strong(place, fresh, std::memory_order_relaxed) ? fresh : place;
}

}  // namespace

void* context_block(ContextKind& kind) {
  const std::size_t place = place_of(kind);
  Table* const table = thread_table();
  if (table == nullptr) throw std::bad_alloc();
  std::vector<Block>& blocks = table->blocks;
  if (place >= blocks.size()) blocks.resize(place + 1);
  if (blocks[place].data == nullptr) {
    // Made before the block is looked at again: what is made may have a block of its own made, and so move them all.
    void* const data = kind.make();
    blocks[place] = {data, kind.destroy};
  }
  return blocks[place].data;
}

}  // namespace ox::detail

ox::memory::Counts* ox::memory::thread_counts() noexcept {
  const detail::Table* const table = detail::thread_table();
  return table != nullptr ? table->counts : nullptr;
}
