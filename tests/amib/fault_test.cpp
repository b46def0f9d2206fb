// Memory running out at every point of loading, verifying and attaching.
#include "amib/shared_blocks.h"
#include "amib/tree.h"
#include "common/trace.h"
#include "tests/amib/tree_fixture.h"
#include "tests/support/fault_heap.h"

namespace ox::amib {
namespace {

using AmibFaultTest = test::TreeTest;

TEST_F(AmibFaultTest, BuildingVerifyingAndAttaching) {
  const std::string first = define("small.def", test::small_tree);
  const std::string second = define("more.def",
                                    "more obj.5 INTEGER read-only CONF-ACS\n"
                                    "cmnState cmn.2 INTEGER write-only SNMP-ACS\n");
  test::FileEntries files({first, second});
  test::every_allocation_may_fail([&] {
    for (oxbFileEntry* file = files.list(); file != nullptr; file = file->next) file->done = 0;
    OX_RESULT result = OX_OK;
    const auto failed = [&result](OX_RESULT step) { return (result = step) != OX_OK; };
    if (failed(oxbAddAmibTree(first.c_str()))) {
      EXPECT_FALSE(is_attached());
      EXPECT_EQ(nullptr, search_shm_entry(OXB_TREE));
      EXPECT_EQ(0u, oxbAddAmibTree(first.c_str()));
    } else if (failed(oxbAddAmibTree(second.c_str()))) {
      EXPECT_EQ(125u, entry_result("obj.more"));
      EXPECT_EQ(1u, oxbAccessControl(node("obj.cmn.cmnState")));
      EXPECT_EQ(0u, oxbAddAmibTree(second.c_str()));
    } else if (failed(oxbUseAlreadyExistAmibTree(files.list()))) {
      EXPECT_EQ(3u, oxbAccessControl(node("obj.cmn.cmnState")));
    } else {
      use_view({});
      const bool attached = !failed(oxbInit(OXB_TREE));  // otherwise it gives up every block of the process
      EXPECT_EQ(attached, is_attached());
      EXPECT_EQ(attached, search_shm_entry(OXB_TREE) != nullptr);
    }
    EXPECT_EQ(nullptr, search_shm_entry(OXB_SCRATCH_TREE));
    EXPECT_TRUE(result != OX_OK || !failed(oxbDeleteAmibTree(OXB_TREE)) || entry_result("obj.more") == OX_OK);
    if (result != OX_OK) (void)oxbDeleteAmibTree(OXB_TREE);
    return result;
  });
}

TEST_F(AmibFaultTest, LoadingAroundAFaultyFile) {
  test::FileEntries files(
      {define("faulty.def", "lost obj.5 AMIB read-only CONF-ACS\na nobody.1 NULL read-only CONF-ACS\n"),
       define("small.def", test::small_tree)});
  test::every_allocation_may_fail([&] {
    for (oxbFileEntry* file = files.list(); file != nullptr; file = file->next) file->done = 0;
    const OX_RESULT result = oxbLoadAmibFiles(files.list(), nullptr, nullptr);
    EXPECT_EQ(files[1].done != 0, is_attached());
    EXPECT_EQ(result == OX_EVALUETYPE || result == OX_ENOMEM, true) << result;
    const OX_RESULT deleted = oxbDeleteAmibTree(OXB_TREE);
    if (deleted == OX_ENOMEM) (void)oxbDeleteAmibTree(OXB_TREE);
    return result == OX_EVALUETYPE ? deleted : result;
  });
}

}  // namespace
}  // namespace ox::amib
