// The memory image, attaching and giving up, and whether a tree that exists was built from given files.
#include "amib/tree.h"

#include <cstring>

#include "amib/shared_blocks.h"
#include "tests/amib/tree_fixture.h"

namespace ox::amib {
namespace {

using test::error_position, test::inner, test::leaf, test::TreeTest;

TEST_F(TreeTest, ImageHasTheFixedLayout) {
  const std::string name63(63, 'n');
  ASSERT_EQ(0u, add("a.def", "abc amibtop.7 Aggregate read-write SNMP-ACS\nabcd amibtop.8 Gauge read-only EMON-ACS\n" +
                                 name63 + " amibtop.4294967295 Counter64 accessible-for-notify ICMPV6-ACS\n"));
  ASSERT_EQ(0u, add("b.def", "x abc.1 INTEGER write-only CONF-ACS\n"));
  const auto* words = reinterpret_cast<const uint32_t*>(directory());
  EXPECT_EQ(8200u, search_shm_entry(1120)->handles->block.size());
  const uint32_t head[] = {1u << 21, 2u << 21, 0, 1121, 1122, 0};  // root, newest, unused, keys
  EXPECT_EQ(0, std::memcmp(head, words, sizeof head));

  // number, type, access, interface, parent, child, prev, next, created before, name
  const uint32_t base = 1u << 21;
  const uint32_t first_block[] = {
      0, 0,  0, 0, 0,    base + 44, 0,         0,          0,         0x62696d61, 0x00706f74,  // "amibtop"
      7, 15, 3, 3, base, 2u << 21,  0,         base + 84,  base,      0x00636261,              // "abc": 40 bytes
      8, 3,  1, 4, base, 0,         base + 44, base + 128, base + 44, 0x64636261, 0            // "abcd": 44 bytes
  };
  EXPECT_EQ(0, std::memcmp(first_block, block_base[1], sizeof first_block));
  const Node& longest = node_at(base + 128);
  EXPECT_EQ(name63, longest.name());
  EXPECT_EQ(100u, record_size(63));
  EXPECT_EQ(4294967295u, longest.number);
  const uint32_t second_block[] = {1, 1, 2, 1, base + 44, 0, 0, 0, base + 128, 0x00000078};
  EXPECT_EQ(0, std::memcmp(second_block, block_base[2], sizeof second_block));
}

TEST_F(TreeTest, AccessorsReadTheRecord) {
  load_small_tree();
  const uint32_t state = node("obj.cmn.cmnState");
  EXPECT_EQ(std::tuple(2u, uint32_t{OX_INTEGER}, uint32_t{OXB_READ}, uint32_t{OXB_SNMP}),
            std::tuple(oxbNumber(state), oxbAmibType(state), oxbAccessControl(state), oxbAmibInterface(state)));
  EXPECT_STREQ("cmnName", oxbName(oxbPrev(state)));
  EXPECT_STREQ("cmnList", oxbName(oxbNext(state)));
  EXPECT_EQ(oxbPrev(state), oxbChild(oxbParent(state)));
  EXPECT_EQ(1u, oxbIsLeaf(state));
  EXPECT_EQ(0u, oxbIsLeaf(oxbParent(state)));
  EXPECT_EQ(1u, oxbIsAggre(node("obj.cmn.cmnList.cmnItem")));
  for (uint32_t other : {state, node(""), 0u}) EXPECT_EQ(0u, oxbIsAggre(other));
}

TEST_F(TreeTest, AttachingWithoutATreeLeavesNothingMapped) {
  EXPECT_EQ(193u, oxbInit(OXB_TREE));
  EXPECT_EQ(193u, oxbDeleteAmibTree(OXB_TREE));
  ShmView block;
  ASSERT_EQ(0u, shm_create(OXB_TREE, 16, block));  // a block of that name that is no tree
  EXPECT_EQ(193u, oxbInit(OXB_TREE));
  EXPECT_EQ(nullptr, search_shm_entry(OXB_TREE));
  ASSERT_EQ(0u, shm_create(OXB_TREE, sizeof(Directory), block));
  EXPECT_EQ(12u, shm_create(OXB_TREE, 16, block));
  static_cast<Directory*>(block.base)->key[5] = 1125;
  EXPECT_EQ(193u, oxbInit(OXB_TREE));  // lists a block that is gone
  EXPECT_EQ(nullptr, search_shm_entry(OXB_TREE));
  EXPECT_FALSE(is_attached());
}

TEST_F(TreeTest, ScratchTreeGivesWayToTheTreeBefore) {
  load_small_tree();
  const uint32_t item = node("obj.cmn.cmnList.cmnItem");
  oxbInitAmibTree(OXB_SCRATCH_TREE);
  ASSERT_EQ(0u, add("scratch.def", "other amibtop.1 INTEGER read-only CONF-ACS\n"));
  EXPECT_EQ(125u, entry_result("obj.cmn"));
  EXPECT_EQ(0u, entry_result("other"));
  EXPECT_EQ(0u, oxbDeleteAmibTree(OXB_SCRATCH_TREE));
  EXPECT_EQ(item, node("obj.cmn.cmnList.cmnItem"));
  EXPECT_STREQ("cmnItem", oxbName(item));
  EXPECT_EQ(125u, entry_result("other"));
  EXPECT_EQ(193u, oxbDeleteAmibTree(OXB_SCRATCH_TREE));

  oxbInitAmibTree(OXB_TREE);
  EXPECT_EQ(0u, oxbDeleteAmibTree(OXB_TREE));
  EXPECT_EQ(14u, entry_result("obj"));
  EXPECT_EQ(193u, oxbInit(OXB_TREE));
}

class VerifyTest : public TreeTest {
 protected:
  static OX_RESULT verify(const std::vector<std::string>& paths) {
    test::FileEntries files(paths);
    return oxbUseAlreadyExistAmibTree(files.list());
  }

  // Nothing but the tree itself is mapped, once, and the selection is the one before.
  static void expect_clean() {
    EXPECT_EQ(nullptr, search_shm_entry(OXB_SCRATCH_TREE));
    EXPECT_EQ(nullptr, search_shm_entry(OXB_SCRATCH_TREE + 1));
    EXPECT_EQ(static_cast<uint32_t>(OXB_TREE), selection().key);
  }

  const std::string second_text_ = "group obj.2" + inner + "member group.1" + leaf;
  const std::string first_ = define("first.def", test::small_tree);
  const std::string second_ = define("second.def", second_text_);
  // One that needs another file, after a node; and one that adds to a node.
  const std::string third_ = define(
      "third.def", "loose obj.3" + leaf + "other group.2" + leaf + "cmnState cmn.2 INTEGER write-only SNMP-ACS\n");
};

TEST_F(VerifyTest, AnyOrderOfTheFilesWillDo) {
  for (const std::string& path : {first_, second_, third_}) ASSERT_EQ(0u, oxbAddAmibTree(path.c_str()));
  const uint32_t member = node("obj.group.member");
  const std::vector<std::string> orders[] = {
      {first_, second_, third_}, {third_, second_, first_}, {second_, first_, third_}};
  for (const auto& order : orders) EXPECT_EQ(0u, verify(order));
  expect_clean();
  EXPECT_EQ(member, node("obj.group.member"));
  EXPECT_EQ(0u, oxbAddAmibTree(define("fourth.def", "a obj.9" + leaf).c_str()));
}

TEST_F(VerifyTest, DifferencesAreFound) {
  for (const std::string& path : {first_, second_}) ASSERT_EQ(0u, oxbAddAmibTree(path.c_str()));
  const std::string fault = define("fault.def", "a nobody.1" + leaf);
  const std::string longer = define("longer.def", second_text_ + "more group.2" + leaf);
  const std::string changed =
      define("changed.def", "group obj.2" + inner + "member group.1 INTEGER read-write CONF-ACS\n");
  const std::vector<std::string> others[] = {
      {first_}, {first_, second_, third_}, {first_, changed}, {first_, longer}, {fault}};
  for (const auto& files : others) EXPECT_EQ(190u, verify(files)) << files.back();
  EXPECT_EQ(5002u, verify({first_, test::system_root() + "/none.def"}));
  EXPECT_EQ("none.def:0", error_position());
  expect_clean();
  EXPECT_EQ(0u, entry_result("obj.group.member"));
  EXPECT_EQ(nullptr, search_shm_entry(1121)->handles->next);
  EXPECT_EQ(0u, verify({first_, second_}));
}

// A tree whose owner has gone is still held by others: its directory is empty then.
TEST_F(VerifyTest, OrphanedTreeIsTakenOver) {
  for (const std::string& path : {first_, second_}) ASSERT_EQ(0u, oxbAddAmibTree(path.c_str()));
  directory()->key[1] = directory()->key[2] = 0;
  use_view({});
  EXPECT_EQ(14u, entry_result("obj"));
  EXPECT_EQ(190u, verify({first_}));
  EXPECT_EQ(14u, entry_result("obj"));
  EXPECT_EQ(0u, oxbTakeOverAmibTree(OXB_TREE));  // as it is, whatever it was built of
  EXPECT_EQ(0u, entry_result("obj.group.member"));
  EXPECT_EQ(1121u, directory()->key[1]);
  EXPECT_EQ(193u, oxbTakeOverAmibTree(OXB_TREE + 5000));
  EXPECT_EQ(0u, entry_result("obj.group.member"));
  directory()->key[1] = directory()->key[2] = 0;
  EXPECT_EQ(0u, verify({second_, first_}));
  EXPECT_EQ(1122u, directory()->key[2]);
  EXPECT_EQ(0u, entry_result("obj.group.member"));
}

}  // namespace
}  // namespace ox::amib
