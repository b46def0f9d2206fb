// Memory running out at every point of loading, attaching, verifying and reading files.
#include <oxbase/oxc.h>

#include "amib/enumeration.h"
#include "amib/shared_blocks.h"
#include "amib/tree.h"
#include "common/trace.h"
#include "tests/amib/tree_fixture.h"
#include "tests/support/fault_heap.h"

namespace ox::amib {
namespace {

using test::TreeTest;

class AmibFaultTest : public TreeTest {
 protected:
  // Runs `op` on a freshly loaded tree with its first, second, ... allocation failing, until it does not get that far;
  // `check` looks at what each run left. No run leaves a block behind once the tree is gone.
  template <class Op, class Check>
  void each_allocation_fails(Op op, Check check, bool gets_by = false) {
    bool reached = true;
    for (int n = 1; reached; ++n) {
      SCOPED_TRACE(n);
      const uint32_t blocks = oxcGetMemValue(1);
      ASSERT_EQ(0u, oxbAddAmibTree(first_.c_str()));
      test::fail_allocation(n);
      const OX_RESULT result = op();
      reached = test::stop_failing();
      EXPECT_TRUE(result == (reached ? OX_ENOMEM : OX_OK) || (result == OX_OK && gets_by)) << result;
      check(result == 0);
      (void)oxbDeleteAmibTree(OXB_TREE);
      EXPECT_EQ(nullptr, search_shm_entry(OXB_SCRATCH_TREE));
      EXPECT_EQ(blocks, oxcGetMemValue(1));
      ASSERT_LT(n, 10000);
    }
  }

  const std::string first_ = define("small.def", test::small_tree);
  const std::string second_ = define("more.def",
                                     "more obj.5 INTEGER read-only CONF-ACS\n"
                                     "cmnState cmn.2 INTEGER write-only SNMP-ACS\n");
};

TEST_F(AmibFaultTest, FirstFile) {
  each_allocation_fails(
      [&] {
        give_up_tree(OXB_TREE);
        return oxbAddAmibTree(first_.c_str());
      },
      [&](bool loaded) {
        EXPECT_EQ(loaded, is_attached());
        EXPECT_EQ(loaded, search_shm_entry(OXB_TREE) != nullptr);
        EXPECT_EQ(0u, loaded ? 0u : oxbAddAmibTree(first_.c_str()));
      });
}

TEST_F(AmibFaultTest, LaterFile) {
  each_allocation_fails([&] { return oxbAddAmibTree(second_.c_str()); },
                        [&](bool added) {
                          EXPECT_EQ(added ? 0u : 125u, entry_result("obj.more"));
                          EXPECT_EQ(added ? 3u : 1u, oxbAccessControl(node("obj.cmn.cmnState")));
                          EXPECT_EQ(0u, oxbAddAmibTree(second_.c_str()));  // and once more does no harm
                        });
}

// A failed attach gives up every block of the process, and with them this tree.
TEST_F(AmibFaultTest, Attaching) {
  each_allocation_fails(
      [&] {
        use_view({});
        return oxbInit(OXB_TREE);
      },
      [](bool attached) {
        EXPECT_EQ(attached, is_attached());
        EXPECT_EQ(attached, search_shm_entry(OXB_TREE) != nullptr);
      });
}

TEST_F(AmibFaultTest, Verifying) {
  oxbFileEntry file{};
  file.path = first_.c_str();
  (void)oxbUseAlreadyExistAmibTree(nullptr);
  each_allocation_fails(
      [&] {
        oxbFileEntry list = file;
        return oxbUseAlreadyExistAmibTree(&list);
      },
      [&](bool) { EXPECT_EQ(0u, entry_result("obj.cmn.cmnState")); });
}

TEST_F(AmibFaultTest, Enumerations) {
  const std::string path = define("test.enm", "obj.cmn.cmnState:\n{\nup(1)\na text of some length(2)\n}\nobj:\n{\n}\n");
  const auto read = [&] {
    EnumTable table;
    const OX_RESULT result = read_enum_file(path.c_str(), table);
    order_enumerations(table);  // a sort does without its buffer
    return result;
  };
  each_allocation_fails([&] { return guarded(read); }, [](bool) {}, true);
}

}  // namespace
}  // namespace ox::amib
