// Definition files: what is accepted, what is refused and where, and that a refused file leaves no trace.
#include <cstring>
#include <thread>

#include "amib/shared_blocks.h"
#include "amib/tree.h"
#include "tests/amib/tree_fixture.h"

namespace ox::amib {
namespace {

using test::error_position, test::inner, test::leaf, test::TreeTest;

class LoaderTest : public TreeTest {
 protected:
  // Everything that readers can see of the tree.
  static std::string image() {
    std::string bytes(reinterpret_cast<const char*>(directory()), sizeof(Directory));
    for (uint32_t i = 1; i < block_slots; ++i) {
      if (block_base[i] == nullptr) continue;
      bytes.append(block_base[i], search_shm_entry(view_key() + i)->handles->block.size());
    }
    return bytes;
  }
};

TEST_F(LoaderTest, FaultsAreToldAndLeaveTheTreeAsItWas) {
  load_small_tree();
  const std::string before = image();
  std::string too_many;
  for (int i = 0; i < 21000; ++i) too_many += std::string(60, 'n') + " obj." + std::to_string(i) + leaf;
  // Line 0: none is recorded.
  const std::tuple<const char*, OX_RESULT, int, std::string> faults[] = {
      {"four fields", 4, 2, "# comment\na obj.5 INTEGER read-only\n"},
      {"no dot", 4, 1, "a obj INTEGER read-only CONF-ACS\n"},
      {"no number", 70, 1, "a obj." + leaf},
      {"signed number", 70, 1, "a obj.-1" + leaf},
      {"dots in the number", 70, 1, "a obj.1.2" + leaf},
      {"number too large", 88, 1, "a obj.4294967296" + leaf},
      {"type", 61, 3, "\n\na obj.5 integer read-only CONF-ACS\n"},
      {"access", 132, 1, "a obj.5 INTEGER readonly CONF-ACS\n"},
      {"interface", 133, 1, "a obj.5 INTEGER read-only CONF\n"},
      {"the last line loses its last character", 133, 1, "a obj.5 INTEGER read-only CONF-ACS"},
      {"name of 64 characters", 125, 1, std::string(64, 'n') + " obj.5" + leaf},
      {"name beginning with a digit", 125, 1, "1a obj.5" + leaf},
      {"underscore in a name", 125, 1, "a_b obj.5" + leaf},
      {"number used", 130, 2, "a obj.5" + leaf + "b obj.5" + leaf},
      {"number used by the same name of another type", 130, 1, "cmnState cmn.2 Counter read-only SNMP-ACS\n"},
      {"name used", 129, 1, "cmnName cmn.9" + leaf},
      {"number of an earlier sibling, name of a later one", 130, 1, "cmnState cmn.1" + leaf},
      {"name of an earlier sibling, number of a later one", 129, 1, "cmnName cmn.2" + leaf},
      {"no parent", 131, 1, "a nobody.1" + leaf},
      {"no parent, after a node", 356, 2, "a obj.5" + leaf + "b nobody.1" + leaf},
      {"no parent, after a repeated line", 356, 2, "cmn obj.1" + inner + "b nobody.1" + leaf},
      {"no parent, after a name that stood before", 356, 2, "cmnList obj.5" + inner + "b nobody.1" + leaf},
      {"line of 8191 characters with its end", 87, 2, "\n#" + std::string(8189, '.') + "\n"},
      {"line without end", 87, 1, std::string(20000, 'a')},
      {"too many definitions", 191, 0, too_many}};
  for (const auto& [what, result, line, text] : faults) {
    SCOPED_TRACE(what);
    EXPECT_EQ(result, add("fault.def", text));
    EXPECT_EQ(line == 0 ? "" : "fault.def:" + std::to_string(line), error_position());
    EXPECT_TRUE(before == image());
    EXPECT_EQ(nullptr, search_shm_entry(1122));
  }
  EXPECT_EQ(5002u, oxbAddAmibTree((test::system_root() + "/none.def").c_str()));
  EXPECT_EQ("none.def:0", error_position());
  EXPECT_EQ(138u, oxbAddAmibTree(test::work_dir().c_str()));
  EXPECT_EQ(0u, add("more.def", "under cmnList.9" + leaf));
  EXPECT_EQ(9u, oxbNumber(node("obj.cmn.cmnList.under")));
}

// In any order; the faulty files are left out, with all of their faults told but those that only follow from others.
TEST_F(LoaderTest, FilesAreLoadedAsFarAsTheyAreSound) {
  const std::string long_line(20000, 'x');
  test::FileEntries files({
      define("child.def", "child group.1" + leaf),
      define("faulty.def", "lost obj.20 AMIB not-accessible NULL-ACS\nbelow lost.1" + leaf + "under below.1" + leaf +
                               "four fields only here\n" + long_line + "\nsound obj.21" + leaf + "a nobody.1" + leaf +
                               "b nobody.2" + leaf + "c obj.x" + leaf + "d obj.22 INTEGER read CONF-ACS\n" +
                               "e obj.21" + leaf + "f obj INTEGER read-only CONF-ACS\n"),
      define("orphan.def", "g sound.1" + leaf + "h sound.2" + leaf),
      define("empty.def", "# nothing but\nthree fields here\n"),
      define("small.def", test::small_tree),
      define("group.def", "group obj.2" + inner),
      test::system_root() + "/none.def",
  });
  test::Told told;
  EXPECT_EQ(61u, oxbLoadAmibFiles(files.list(), test::Told::note, &told));
  EXPECT_EQ(
      "faulty.def:1 61 AMIB\nfaulty.def:4 4 four\nfaulty.def:5 87 \nfaulty.def:7 356 nobody\nfaulty.def:9 70 c\n"
      "faulty.def:10 132 read\nfaulty.def:11 130 e\nfaulty.def:12 4 f\norphan.def:1 131 sound\n"
      "empty.def:2 4 three\nnone.def:0 5002 \n",
      told.text);
  std::string done;
  for (std::size_t i = 0; i < 7; ++i) done += std::to_string(files[i].done);
  EXPECT_EQ("1000110", done);
  EXPECT_EQ(0u, entry_result("obj.group.child"));
  EXPECT_EQ(125u, entry_result("obj.sound"));
  EXPECT_EQ(3u,
            std::count_if(std::begin(directory()->key), std::end(directory()->key), [](auto key) { return key != 0; }));
}

TEST_F(LoaderTest, AcceptedLines) {
  load_small_tree();
  const std::string longest = "#" + std::string(8188, '.') + "\r\n";
  ASSERT_EQ(0u, add("more.def",
                    "  a\tobj.010U   INTEGER read-only CONF-ACS and more fields\n"  // decimal, though it begins with 0
                    " \t \n"
                    "'b' obj.11 INTEGER read-only \"CONF-ACS\"\n"
                    "c obj.12 INTEGER read-only CONF-ACS \"an open quote\n"
                    "crlf obj.13 INTEGER read-only CONF-ACS\r\n\r\n" +
                        longest + "twins obj.20" + inner + "twins twins.1" + inner + "under twins.2" + leaf));
  EXPECT_EQ(10u, oxbNumber(node("obj.a")));
  // A parent is the later one of that name.
  for (const char* path : {"obj.b", "obj.c", "obj.crlf", "obj.twins.twins.under"}) EXPECT_EQ(0u, entry_result(path));
}

TEST_F(LoaderTest, RepeatedLinesMergeTheirAccess) {
  load_small_tree();
  EXPECT_EQ(0u, add("none.def", "# nothing\n\n"));  // makes no block
  ASSERT_EQ(0u, add("again.def",
                    "cmnState cmn.2 INTEGER read-only SNMP-ACS\n"
                    "cmnState cmn.2 INTEGER write-only SNMP-ACS\n"
                    "next cmn.9 INTEGER read-only SNMP-ACS\n"));
  const uint32_t state = node("obj.cmn.cmnState");
  EXPECT_EQ(3u, oxbAccessControl(state));
  EXPECT_EQ(make_ref(2, 2 * record_size(8)), node("obj.cmn.next"));  // the repeated lines keep their records
  EXPECT_EQ(356u, add("late.def", "cmnState cmn.2 INTEGER accessible-for-notify SNMP-ACS\na nobody.1" + leaf));
  EXPECT_EQ(3u, oxbAccessControl(state));
}

TEST_F(LoaderTest, OnlyTheBuilderAddsToATree) {
  load_small_tree();
  const std::string before = image();
  OX_RESULT result = 0;
  std::thread([&] { result = add("other.def", "a obj.5" + leaf); }).join();
  EXPECT_EQ(416u, result);
  EXPECT_EQ(nullptr, search_shm_entry(OXB_TREE)->handles->next);
  EXPECT_TRUE(before == image());
  EXPECT_EQ(0u, add("other.def", "a obj.5" + leaf));
}

TEST_F(LoaderTest, EverySlotCanBeUsed) {
  load_small_tree();
  for (int i = 2; i < 2048; ++i) {
    ASSERT_EQ(0u, add("slot.def", "s" + std::to_string(i) + " obj." + std::to_string(i) + leaf)) << i;
  }
  EXPECT_EQ(13u, add("slot.def", "more obj.3000" + leaf));
  EXPECT_EQ("", error_position());
  EXPECT_EQ((2047u << 21), node("obj.s2047"));
}

// 30,000 children of one parent in three files: every look-up of the loader has to stay one. What is taken back and
// what is repeated leaves nothing.
TEST_F(LoaderTest, ManySiblingsAcrossFiles) {
  load_small_tree();
  for (int file = 0; file < 3; ++file) {
    std::string text;
    for (int i = file * 10000; i < (file + 1) * 10000; ++i) {
      text += "child" + std::to_string(i) + " obj." + std::to_string(i + 100) + leaf;
    }
    ASSERT_EQ(131u, add("fault.def", "a nobody.1" + leaf));
    ASSERT_EQ(356u, add("fault.def", text + "a nobody.1" + leaf));
    ASSERT_EQ(0u, add("many.def", text));
    ASSERT_EQ(0u, add("again.def", text));
  }
  int count = -1;  // the first is cmn
  uint32_t prev = 0;
  for (uint32_t child = oxbChild(node("obj")); child != 0; prev = child, child = oxbNext(child)) {
    ASSERT_EQ(prev, oxbPrev(child));
    ASSERT_EQ(count < 0 ? "cmn" : "child" + std::to_string(count), oxbName(child));
    ++count;
  }
  EXPECT_EQ(30000, count);
  uint32_t chain = 0;
  for (uint32_t ref = directory()->newest; ref != 0; ref = node_at(ref).created_before) ++chain;
  EXPECT_EQ(30017u, chain);
  EXPECT_EQ(130u, add("fault.def", "x obj.30099" + leaf));
  EXPECT_EQ(129u, add("fault.def", "child29999 obj.99" + leaf));
}

}  // namespace
}  // namespace ox::amib
