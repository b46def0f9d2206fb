// Whether a tree that exists was built from given files.
#include <vector>

#include <oxbase/oxc.h>

#include "amib/shared_blocks.h"
#include "amib/tree.h"
#include "tests/amib/tree_fixture.h"

namespace ox::amib {
namespace {

using test::inner, test::leaf, test::TreeTest;

class VerifyTest : public TreeTest {
 protected:
  static OX_RESULT verify(const std::vector<std::string>& paths) {
    std::vector<oxbFileEntry> files(paths.size());
    oxbFileEntry* list = nullptr;
    for (std::size_t i = 0; i < paths.size(); ++i) {
      files[i].path = paths[i].c_str();
      (void)oxcQueueAdd(&list, &files[i]);
    }
    return oxbUseAlreadyExistAmibTree(list);
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
  EXPECT_EQ(0u, verify({first_, second_, third_}));
  EXPECT_EQ(0u, verify({third_, second_, first_}));
  EXPECT_EQ(0u, verify({second_, first_, third_}));
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
  EXPECT_EQ(183u, oxbUseAlreadyExistAmibTree(nullptr));
  expect_clean();
  EXPECT_EQ(0u, entry_result("obj.group.member"));
  EXPECT_EQ(nullptr, search_shm_entry(1121)->handles->next);
  EXPECT_EQ(0u, verify({first_, second_}));
}

TEST_F(VerifyTest, WithoutATreeNothingIsAttached) {
  EXPECT_EQ(193u, verify({first_}));
  expect_clean();
  EXPECT_FALSE(is_attached());
  EXPECT_EQ(0u, oxbAddAmibTree(first_.c_str()));  // and one can be built
}

// A tree whose owner has gone is still held by others: its directory is empty then.
TEST_F(VerifyTest, OrphanedTreeIsTakenOver) {
  for (const std::string& path : {first_, second_}) ASSERT_EQ(0u, oxbAddAmibTree(path.c_str()));
  directory()->key[1] = directory()->key[2] = 0;
  use_view({});
  EXPECT_EQ(14u, entry_result("obj"));
  EXPECT_EQ(190u, verify({first_}));
  EXPECT_EQ(14u, entry_result("obj"));
  EXPECT_EQ(0u, verify({second_, first_}));
  EXPECT_EQ(1122u, directory()->key[2]);
  EXPECT_EQ(0u, entry_result("obj.group.member"));
}

}  // namespace
}  // namespace ox::amib
