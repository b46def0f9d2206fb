// What a process sees of a tree that another one has built.
#include "tests/support/other_process.h"

#include <cstring>

#include "amib/child_cache.h"
#include "amib/shared_blocks.h"
#include "amib/sibling_index.h"
#include "amib/tree.h"
#include "platform/shared_block.h"
#include "tests/amib/tree_fixture.h"

namespace ox::amib {
namespace {

using test::OtherProcess;
using test::TreeTest;

std::string place(const void* address) { return std::to_string(reinterpret_cast<std::uintptr_t>(address)); }

// With blocks of its own first, so that the tree cannot lie where the other process has it.
int reads_the_same_nodes(OtherProcess& owner) {
  std::vector<platform::SharedBlock> before(4);
  for (std::size_t i = 0; i < before.size(); ++i) {
    const std::string name = "before" + std::to_string(i);
    if (before[i].create(name.c_str(), (i + 1) << 20, platform::Access::machine) != 0) return 1;
  }
  uint32_t item = 0;
  if (oxbDeleteAmibTree(OXB_TREE) != 193) return 2;  // there, but not this process's
  if (oxbInit(OXB_TREE) != 0 || oxbInit(OXB_TREE) != 0) return 3;
  if (search_shm_entry(1121)->handles->next != nullptr) return 4;  // mapped again by the second call
  if (owner.text() == place(directory())) return 5;                // the layouts do not differ
  if (oxbEntry("obj.cmn.cmnList.1", &item) != 0) return 6;
  if (std::strcmp("cmnItem", oxbName(item)) != 0 || item != oxbChild(oxbParent(item))) return 7;
  // Letting go of the tree leaves it whole for those that attach later.
  if (oxbDeleteAmibTree(OXB_TREE) != 0 || oxbEntry("obj", &item) != 14) return 8;
  return oxbInit(OXB_TREE) == 0 && oxbEntry("obj", &item) == 0 ? 0 : 9;
}

int follows_no_block_added_later(OtherProcess& owner) {
  uint32_t found = 0;
  if (oxbInit(OXB_TREE) != 0) return 1;
  owner.signal();
  if (!owner.wait()) return 2;
  if (oxbEntry("obj.cmn.later", &found) != 125 || oxbEntry("obj.cmn.4", &found) != 0) return 3;
  if (std::strcmp("cmn", oxbName(found)) != 0) return 4;
  uint32_t leaves = 0;
  for (uint32_t leaf = 0; (leaf = oxbTraverse(root(), leaf)) != 0;) ++leaves;
  if (leaves != 4) return 5;
  if (oxbDeleteAmibTree(OXB_TREE) != 0 || oxbInit(OXB_TREE) != 0) return 6;
  return oxbEntry("obj.cmn.later", &found) == 0 ? 0 : 7;
}

// The builder has let go of the tree: it lives as long as this process holds it.
int holds_it_last(OtherProcess& owner) {
  uint32_t found = 0;
  if (oxbInit(OXB_TREE) != 0) return 1;
  owner.signal();
  if (!owner.wait()) return 2;
  return oxbEntry("obj.cmn.cmnList.1", &found) == 0 ? 0 : 3;
}

// While the other process has one.
int builds_a_scratch_tree(OtherProcess& owner) {
  oxbInitAmibTree(OXB_SCRATCH_TREE);
  ShmView block;
  if (shm_reference(OXB_SCRATCH_TREE, shm_write, block) != 193) return 1;
  if (oxbAddAmibTree(owner.text().c_str()) != 0) return 2;
  uint32_t found = 0;
  return oxbEntry("obj.cmn.cmnList.1", &found) == 0 && oxbDeleteAmibTree(OXB_SCRATCH_TREE) == 0 ? 0 : 3;
}

constexpr int wide = 3000;  // children of obj; the index becomes larger on the way
std::string wide_children(int first, int end) {
  std::string text;
  for (int i = first; i < end; ++i) {
    text += "child" + std::to_string(i) + " obj." + std::to_string(i + 100) + test::leaf;
  }
  return text;
}

// How many of the children are found as they should be, by name and by number.
int children_found() {
  int found = 0;
  for (int i = 0; i < wide; ++i) {
    uint32_t named = 0, numbered = 0;
    if (oxbEntry(("obj.child" + std::to_string(i)).c_str(), &named) != 0) continue;
    if (oxbEntry(("11." + std::to_string(i + 100)).c_str(), &numbered) != 0) continue;
    found += named == numbered && "child" + std::to_string(i) == oxbName(named) ? 1 : 0;
  }
  return found;
}

// Through the index, until the tree's owner has added nodes that this process has not mapped.
int finds_far_siblings(OtherProcess& owner) {
  uint32_t found = 0;
  // As one that takes the tree over, and as one that attaches.
  if (oxbTakeOverAmibTree(OXB_TREE) != 0 || current_siblings().index == nullptr || children_found() != wide) return 7;
  if (oxbDeleteAmibTree(OXB_TREE) != 0 || oxbInit(OXB_TREE) != 0) return 1;
  const SiblingIndex* const index = current_siblings().index;
  if (index == nullptr || index->newest != directory()->newest || index->slots < 4 * wide) return 2;
  for (int round = 0; round < 2; ++round) {
    if (children_found() != wide || oxbEntry("obj.child", &found) != 125 || oxbEntry("obj.later", &found) != 125) {
      return 3 + round;
    }
    owner.signal();
    if (!owner.wait()) return 5;
  }
  return oxbDeleteAmibTree(OXB_TREE) == 0 && search_shm_entry(OXB_TREE + block_slots) == nullptr ? 0 : 6;
}

[[maybe_unused]] const bool declared =
    OtherProcess::declare("wide", finds_far_siblings) && OtherProcess::declare("scratch", builds_a_scratch_tree) &&
    OtherProcess::declare("reads", reads_the_same_nodes) &&
    OtherProcess::declare("later", follows_no_block_added_later) && OtherProcess::declare("last", holds_it_last);

TEST_F(TreeTest, AnotherProcessReadsTheSameNodes) {
  load_small_tree();
  ShmView block;
  ASSERT_EQ(0u, shm_create(1123, 64, block));
  directory()->key[3] = 1123;  // slot 2 is free: not the end
  OtherProcess other("reads", place(directory()));
  other.signal();
  EXPECT_EQ(0, other.result());
  EXPECT_EQ(1121u, directory()->key[1]);
}

TEST_F(TreeTest, EveryProcessHasAScratchTreeOfItsOwn) {
  oxbInitAmibTree(OXB_SCRATCH_TREE);
  ASSERT_EQ(0u, add("other.def", "other amibtop.1 INTEGER read-only CONF-ACS\n"));
  ShmView again;
  ASSERT_EQ(0u, shm_reference(OXB_SCRATCH_TREE + 1, shm_write, again));
  EXPECT_NE(block_base[1], again.base);
  EXPECT_EQ(0, std::memcmp(block_base[1], again.base, 44));
  EXPECT_EQ(0u, shm_release(OXB_SCRATCH_TREE + 1, again.base));
  OtherProcess other("scratch", define("small.def", test::small_tree));
  other.signal();
  EXPECT_EQ(0, other.result());
  EXPECT_EQ(0u, entry_result("other"));
  EXPECT_EQ(0u, oxbDeleteAmibTree(OXB_SCRATCH_TREE));
}

TEST_F(TreeTest, NodesOfBlocksAddedLaterAreNotFollowed) {
  load_small_tree();
  OtherProcess other("later");
  other.signal();
  ASSERT_TRUE(other.wait());
  ASSERT_EQ(0u, add("later.def", "later cmn.4 INTEGER read-only CONF-ACS\nbelow sysDescr.1 NULL read-only CONF-ACS\n"));
  other.signal();
  EXPECT_EQ(0, other.result());
}

// The children of a wide node are found through the index while it knows them all, and by walking else.
TEST_F(TreeTest, ManySiblingsAreFoundThroughTheirIndex) {
  load_small_tree();
  ASSERT_EQ(nullptr, current_siblings().index);
  ASSERT_EQ(0u, add("wide.def", wide_children(0, 1000)));
  ASSERT_EQ(356u, add("fault.def", wide_children(1000, 1100) + "a nobody.1" + test::leaf));
  ASSERT_EQ(0u, add("wider.def", wide_children(1000, wide)));
  SiblingIndex& index = *current_siblings().index;
  EXPECT_EQ(directory()->newest, index.newest);
  const Ref known = index.newest.exchange(1);
  EXPECT_EQ(wide, children_found()) << "by walking";
  clear_child_cache();
  index.newest = known;
  const uint32_t slots = std::exchange(index.slots, 1);  // none of the far ones is at hand
  EXPECT_EQ(int{near_siblings} - 1, children_found()) << "cmn is the first of them";
  index.slots = slots;
  EXPECT_EQ(wide, children_found());

  OtherProcess other("wide");
  other.signal();
  ASSERT_TRUE(other.wait());
  ASSERT_EQ(0u, add("later.def", "later obj.99" + test::leaf + wide_children(wide, wide + 100)));
  EXPECT_EQ(0u, entry_result("obj.later"));
  other.signal();
  ASSERT_TRUE(other.wait());
  other.signal();
  EXPECT_EQ(0, other.result());
}

// Where a name belongs to its holders, the tree stays as it is.
TEST_F(TreeTest, AnOlderTreeGivesWayWhereItCan) {
  EXPECT_NE(0u, oxbSupersedeAmibTree(OXB_TREE));
  load_small_tree();
  OtherProcess other("last");
  other.signal();
  ASSERT_TRUE(other.wait());
  ASSERT_EQ(0u, oxbDeleteAmibTree(OXB_TREE));
  ASSERT_EQ(416u, add("new.def", "newer amibtop.1" + test::leaf));
  const OX_RESULT result = oxbSupersedeAmibTree(OXB_TREE);
  ASSERT_EQ(result == 0 ? 0u : 416u, add("new.def", "newer amibtop.1" + test::leaf));
  other.signal();
  EXPECT_EQ(0, other.result());
  platform::SharedBlock block;
  EXPECT_EQ(result == 0 ? platform::error_none : platform::error_file_not_found,
            block.open("Global\\ox1121", platform::SharedBlock::Mode::read));
  EXPECT_TRUE(result == 0 || result == 416) << result;
}

}  // namespace
}  // namespace ox::amib
