#include "amib/tree.h"

#include "amib/child_cache.h"
#include "amib/shared_blocks.h"
#include "amib/sibling_index.h"
#include "common/context.h"
#include "common/trace.h"

namespace ox::amib {

namespace detail {
std::atomic<bool> attached{false};
Ref root = 0;
Siblings siblings;
}  // namespace detail

namespace {

std::uint32_t current_key = 0;
Directory* current_directory = nullptr;
std::uint32_t generation = 0;

std::uint32_t selected_key = 0;
View set_aside;  // the tree that was in use when a scratch tree was selected

struct Builder {
  std::uint32_t built_key = 0;
};

void forget_nodes() noexcept {
  ++generation;
  clear_child_cache();
}

OX_RESULT map_tree(std::uint32_t key, View& view) {
  ShmView block;
  if (const OX_RESULT result = shm_reference(key, shm_write, block); result != OX_OK) {
    OX_TRACE(trace::general, "<M:oxbInit(shm_reference:1)>\n");
    return result;
  }
  if (block.size < sizeof(Directory)) return OX_ENOSHM;  // not a tree
  view.key = key;
  view.directory = static_cast<Directory*>(block.base);
  for (std::uint32_t i = 1; i < block_slots; ++i) {
    if (view.directory->key[i] == 0) continue;
    if (const OX_RESULT result = shm_reference(view.directory->key[i], shm_write, block); result != OX_OK) {
      OX_TRACE(trace::general, "<M:oxbInit(shm_reference:2)>\n");
      return result;
    }
    view.blocks[i] = static_cast<char*>(block.base);
  }
  view.root = view.directory->root;
  // The owner has just begun to build it: there is nothing to attach to yet.
  if (view.root == 0 || view.blocks[view.root >> offset_bits] == nullptr) return OX_ENOSHM;
  return map_sibling_index(key, view.siblings.index);
}

OX_RESULT attach(std::uint32_t key) {
  if (is_attached()) return OX_OK;
  View view;
  const OX_RESULT result = map_tree(key, view);
  if (result != OX_OK) {
    shm_close_all();
    set_aside = {};
    view = {};
  }
  use_view(view);
  return result;
}

// The blocks that the tree has now, and those that this process mapped before the tree's owner gave them up.
void release_blocks(std::uint32_t key, Directory* tree_directory, const View& held, bool is_owner) {
  for (std::uint32_t i = 1; i < block_slots; ++i) {
    const std::uint32_t block_key = tree_directory->key[i] != 0 ? tree_directory->key[i] : key + i;
    if (tree_directory->key[i] != 0 || held.blocks[i] != nullptr) (void)shm_delete(block_key);
    if (is_owner) tree_directory->key[i] = 0;
  }
  for (std::uint32_t i = block_slots; i < tree_keys; ++i) (void)shm_delete(key + i);
}

}  // namespace

View current_view() { return {current_key, current_directory, detail::root, detail::siblings, block_base}; }

void use_view(const View& view) {
  detail::attached.store(false, std::memory_order_release);
  current_key = view.key;
  current_directory = view.directory;
  block_base = view.blocks;
  detail::root = view.root;
  detail::siblings = view.siblings;
  forget_nodes();
  detail::attached.store(view.root != 0, std::memory_order_release);
}

Directory* directory() noexcept { return current_directory; }
std::uint32_t view_key() noexcept { return current_key; }
std::uint32_t view_generation() noexcept { return generation; }

void set_block(std::uint32_t index, char* base) {
  block_base[index] = base;
  if (base == nullptr) forget_nodes();
}

void use_siblings(const Siblings& siblings) noexcept { detail::siblings = siblings; }

void open_for_readers() {
  detail::root = current_directory->root;
  detail::attached.store(true, std::memory_order_release);
}

Selection selection() { return {selected_key, context<Builder>().built_key}; }

void set_selection(const Selection& selection) {
  selected_key = selection.key;
  context<Builder>().built_key = selection.built_key;
}

// While a scratch tree is selected, what it has taken the place of is kept already.
void select_tree(std::uint32_t key) {
  const bool scratch_selected = selected_key != 0 && selected_key != OXB_TREE;
  if (!scratch_selected && key != OXB_TREE) set_aside = current_view();
  selected_key = key;
}

// The directory's slots are cleared by the tree's owner only: a program that lets go of the tree must not take it away
// from those that attach later.
void give_up_tree(std::uint32_t key) {
  const ShmEntry* entry = search_shm_entry(key);
  if (entry == nullptr) return;
  const View view = current_key == key ? current_view() : set_aside.key == key ? set_aside : View{};
  release_blocks(key, static_cast<Directory*>(entry->handles->block.data()), view, shm_is_creator(key));
  (void)shm_delete(key);
  if (set_aside.key == key) set_aside = {};
  if (current_key == key) use_view(key == OXB_TREE ? View{} : set_aside);
  context<Builder>().built_key = 0;
}

// The directory goes first: nobody attaches to a tree of which some blocks are gone.
OX_RESULT supersede_tree(std::uint32_t key) {
  const OX_RESULT result = shm_take_name(key);
  if (result != OX_OK && result != OX_ENOSHM) return result;
  for (std::uint32_t i = 1; i < tree_keys; ++i) {
    const OX_RESULT taken = shm_take_name(key + i);
    if (taken != OX_OK && taken != OX_ENOSHM) return taken;
  }
  return result;
}

OX_RESULT delete_tree(std::uint32_t key) {
  const bool held = search_shm_entry(key) != nullptr;
  ShmView block;
  OX_RESULT result = shm_reference(key, shm_write, block);
  if (result == OX_OK) (void)shm_release(key, block.base);
  if (result == OX_OK && !held) result = OX_ENOSHM;  // another process's tree: nothing to give up
  if (result != OX_OK) {
    OX_TRACE(trace::general, "<M:amib_delete(1)>\n");
    return result;
  }
  give_up_tree(key);
  return OX_OK;
}

}  // namespace ox::amib

using namespace ox;

extern "C" {

OX_RESULT OX_CALL oxbInit(uint32_t key) {
  OX_TRACE(trace::general, "<S:oxbInit(%d)>\n", static_cast<int>(key));
  return traced_as(trace::general, "<E:oxbInit[%d]>\n", [&] { return amib::attach(key); });
}

void OX_CALL oxbInitAmibTree(uint32_t key) {
  OX_ENTRY("oxbInitAmibTree", ":%u", key);
  (void)traced("oxbInitAmibTree", [&]() -> OX_RESULT {
    amib::select_tree(key);
    return OX_OK;
  });
}

OX_RESULT OX_CALL oxbSupersedeAmibTree(uint32_t key) {
  OX_ENTRY("oxbSupersedeAmibTree", ":%u", key);
  return traced("oxbSupersedeAmibTree", [&] { return amib::supersede_tree(key); });
}

OX_RESULT OX_CALL oxbDeleteAmibTree(uint32_t key) {
  OX_TRACE(trace::general, "<S:amib_delete()>\n");
  return traced_as(trace::general, "<E:amib_delete[%d]>\n", [&] { return amib::delete_tree(key); });
}

}  // extern "C"
