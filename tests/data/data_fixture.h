// Nodes for the tests: with every block accounted for, and with a tree of a few attributes and one enumeration.
#pragma once

#include <oxbase/oxd.h>

#include "platform/environment.h"
#include "tests/amib/tree_fixture.h"
#include "tests/support/blocks.h"
#include "tests/support/texts.h"

namespace ox::test {

inline void fill(dnode* node) {
  oxdSetCompName(node, "top");
  oxdSetCompType(node, "map");
  oxdSetAmibName(node, "11.1.1.0");
  oxdSetReqTime(node, 1251973230);
  oxdSetRspTime(node, 0x80000000);
  oxdSetDnodeId(node, 7);
  oxdSetErrCode(node, 0x10002);  // of 16 bits
  oxdSetText(node, "value");
}

inline std::string arcs(int count) { return "1" + repeated(".1", count - 1); }

inline OX_RESULT encode(const dnode* list, std::string* bytes = nullptr) {
  void* buffer = nullptr;
  uint32_t length = 0;
  const OX_RESULT result = oxdEncode(list, &buffer, &length);
  if (bytes != nullptr) bytes->assign(static_cast<const char*>(buffer), length);
  oxcMemFree(buffer);
  return result;
}

inline std::string encoded(const dnode* list) {
  std::string bytes;
  EXPECT_EQ(0u, encode(list, &bytes));
  return bytes;
}

class CountedNodeTest : public testing::Test {
 protected:
  ~CountedNodeTest() override { oxdFree(node_); }

  const SameBlocks same_blocks_;
  dnode* node_ = oxdAlloc(1);
};

class TreeNodeTest : public TreeTest {
 protected:
  TreeNodeTest() { EXPECT_EQ(0u, platform::set_time_zone("UTC0")); }
  ~TreeNodeTest() override { oxdFree(node_); }
  void SetUp() override {
    TreeTest::SetUp();
    load_small_tree();
    ASSERT_EQ(0u, add("more.def",
                      "sysUpTime system.3 TimeTicks read-only SNMP-ACS\n"
                      "maker enterprises.64312 AMIBNONE not-accessible NULL-ACS\n"));
    write_file(work_dir() + "/public/amib/oxbase.enm", "11.1.2:\n{\n up(1)\n down(2)\n}\n");
  }

  dnode* node_ = oxdAlloc(1);
};

}  // namespace ox::test
