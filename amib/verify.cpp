// The tree that exists: whether it was built from a given set of files, which are built once more, into a scratch tree,
// and the memory images compared (that is why loading has to be deterministic); and how it is used as it is.
#include <algorithm>
#include <cstring>
#include <memory>

#include <oxbase/oxb.h>
#include <oxbase/oxc.h>

#include "amib/loader.h"
#include "amib/shared_blocks.h"
#include "amib/sibling_index.h"
#include "amib/tree.h"
#include "common/error_position.h"
#include "common/trace.h"

namespace ox::amib {
namespace {

OX_RESULT check_files(const oxbFileEntry* list) {
  for (const oxbFileEntry* file = list; file != nullptr; file = file->next) {
    const OX_RESULT result = oxcCheckFile(file->path, 1);
    if (result == OX_OK) continue;
    (void)oxfSetErrorFile(file->path != nullptr ? file->path : "", 0);
    OX_TRACE(trace::amib, "<M:oxbAddAlreadyExistAmibTree(oxcCheckFile Error)>\n");
    return result;
  }
  return OX_OK;
}

// The tree that exists, mapped apart from the tree in use; given up again unless it is adopted.
class ExistingTree {
 public:
  explicit ExistingTree(std::uint32_t key) { view_.key = key; }
  ~ExistingTree();
  ExistingTree(const ExistingTree&) = delete;
  ExistingTree& operator=(const ExistingTree&) = delete;

  // Blocks are found by their keys: an owner that ended may have cleared the directory.
  OX_RESULT map();
  [[nodiscard]] bool has_image(std::uint32_t index, const char* image, std::size_t size) const;
  OX_RESULT adopt();

 private:
  View view_;
  std::array<std::size_t, block_slots> sizes_{};
  bool directory_writable_ = false;
  bool adopted_ = false;
};

OX_RESULT ExistingTree::map() {
  ShmView block;
  for (std::uint32_t i = 1; i < block_slots; ++i) {
    const OX_RESULT result = shm_reference(view_.key + i, shm_write, block);
    if (result == OX_ENOSHM) break;
    if (result != OX_OK) {
      OX_TRACE(trace::amib, "<M:oxbAddAlreadyExistAmibTree(shm_reference1 Error)>\n");
      return result;
    }
    view_.blocks[i] = static_cast<char*>(block.base);
    sizes_[i] = block.size;
  }
  OX_RESULT result = shm_reference(view_.key, shm_write, block);
  if (result == OX_OK) {
    view_.directory = static_cast<Directory*>(block.base);
    directory_writable_ = block.writable;
    if (block.size < sizeof(Directory)) result = OX_ENOSHM;  // not a tree
  }
  if (result != OX_OK) OX_TRACE(trace::amib, "<M:oxbAddAlreadyExistAmibTree(shm_reference2 Error)>\n");
  return result;
}

ExistingTree::~ExistingTree() {
  if (adopted_) return;
  for (std::uint32_t i = 1; i < block_slots; ++i) {
    if (view_.blocks[i] != nullptr) (void)shm_release(view_.key + i, view_.blocks[i]);
  }
  if (view_.directory != nullptr) (void)shm_release(view_.key, view_.directory);
}

// A scratch block of null stands for none: the tree must not have one there either.
bool ExistingTree::has_image(std::uint32_t index, const char* image, std::size_t size) const {
  const char* block = view_.blocks[index];
  if (block == nullptr || image == nullptr) return block == image;
  return size <= sizes_[index] && platform::is_readable(block, size) && std::memcmp(block, image, size) == 0;
}

OX_RESULT ExistingTree::adopt() {
  view_.root = view_.directory->root;
  if (view_.root == 0 || view_.blocks[view_.root >> offset_bits] == nullptr) return OX_EDIFFERENT;
  for (std::uint32_t i = 1; i < block_slots; ++i) {
    const std::uint32_t key = view_.blocks[i] != nullptr ? view_.key + i : view_.directory->key[i];
    if (view_.directory->key[i] == key) continue;
    if (!directory_writable_) return OX_EDIFFERENT;
    view_.directory->key[i] = key;
  }
  if (const OX_RESULT result = map_sibling_index(view_.key, view_.siblings.index); result != OX_OK) return result;
  use_view(view_);
  adopted_ = true;
  return OX_OK;
}

// Whichever way it ends, the tree that was in use and the selection are as they were.
class ScratchTree {
 public:
  ScratchTree() : selection_(selection()), view_(current_view()) {
    select_tree(OXB_SCRATCH_TREE);
    set_selection({OXB_SCRATCH_TREE, 0});
  }
  ~ScratchTree();
  ScratchTree(const ScratchTree&) = delete;
  ScratchTree& operator=(const ScratchTree&) = delete;

  [[nodiscard]] bool equals(const ExistingTree& tree) const;

 private:
  Selection selection_;
  View view_;
};

bool ScratchTree::equals(const ExistingTree& tree) const {
  const bool any = view_key() == OXB_SCRATCH_TREE;
  for (std::uint32_t i = 1; i < block_slots; ++i) {
    const char* image = any ? block_base[i] : nullptr;
    const ShmEntry* entry = image != nullptr ? search_shm_entry(OXB_SCRATCH_TREE + i) : nullptr;
    if (!tree.has_image(i, image, entry != nullptr ? entry->handles->block.size() : 0)) return false;
  }
  return true;
}

ScratchTree::~ScratchTree() {
  if (view_key() == OXB_SCRATCH_TREE) give_up_tree(OXB_SCRATCH_TREE);
  use_view(view_);
  set_selection(selection_);
}

OX_RESULT verify(oxbFileEntry* list) {
  if (list == nullptr) return OX_ENOTINTABLE;
  if (const OX_RESULT result = check_files(list); result != OX_OK) return result;
  const auto tree = std::make_unique<ExistingTree>(selection().key);
  if (const OX_RESULT result = tree->map(); result != OX_OK) return result;
  {
    ScratchTree scratch;
    if (const OX_RESULT result = add_in_passes(list); result != OX_OK) return result;
    if (!scratch.equals(*tree)) return OX_EDIFFERENT;
  }
  return tree->adopt();
}

OX_RESULT take_over(std::uint32_t key) {
  ExistingTree tree(key);
  if (const OX_RESULT result = tree.map(); result != OX_OK) return result;
  return tree.adopt();
}

}  // namespace
}  // namespace ox::amib

extern "C" OX_RESULT OX_CALL oxbTakeOverAmibTree(uint32_t key) {
  OX_ENTRY("oxbTakeOverAmibTree", ":%u", key);
  return ox::traced("oxbTakeOverAmibTree", [&] { return ox::amib::take_over(key); });
}

extern "C" OX_RESULT OX_CALL oxbUseAlreadyExistAmibTree(oxbFileEntry* list) {
  OX_TRACE(ox::trace::amib, "<S:oxbAddAlreadyExistAmibTree()>\n");
  return ox::traced_as(ox::trace::amib, "<E:oxbAddAlreadyExistAmibTree(%d)>\n", [&] { return ox::amib::verify(list); });
}
