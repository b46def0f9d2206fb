// Written paths: what they name and how they are written otherwise.
#include <vector>

#include <oxbase/oxc.h>

#include "tests/amib/tree_fixture.h"

namespace ox::amib {
namespace {

using PathTest = test::SmallTreeTest;

struct PathCase {
  const char* path;
  const char* node;  // named path; null: 125
  const char* named;
  const char* numeric;
};

const PathCase cases[] = {
    {"11.1.1.0", "obj.cmn.cmnName", "obj.cmn.cmnName.0", "11.1.1.0"},
    {"obj.cmn.1.0", "obj.cmn.cmnName", "obj.cmn.cmnName.0", "11.1.1.0"},
    {"obj.cmn.cmnName.0.5", "obj.cmn.cmnName", "obj.cmn.cmnName.0.5", "11.1.1.0.5"},
    {"obj.cmn.*", "obj.cmn", "obj.cmn.*", "11.1.*"},
    {"obj.cmn.77", "obj.cmn", "obj.cmn.77", "11.1.77"},
    {"011.01.0001", "obj.cmn.cmnName", "obj.cmn.cmnName", "11.1.1"},
    {"obj..cmn.", "obj.cmn", "obj.cmn", "11.1"},
    {"obj.cmn..*..0.", "obj.cmn", "obj.cmn.*.0", "11.1.*.0"},
    {"\"obj\".c'm'n.cmn\\Name", "obj.cmn.cmnName", "obj.cmn.cmnName", "11.1.1"},
    {".1.1.0", "iso.org.dod.internet.mgmt.mib-2.system.sysDescr", "iso.org.dod.internet.mgmt.mib-2.system.sysDescr.0",
     "1.3.6.1.2.1.1.1.0"},
    {".system", "iso.org.dod.internet.mgmt.mib-2.system", "iso.org.dod.internet.mgmt.mib-2.system", "1.3.6.1.2.1.1"},
    {"~64312.2", "iso.org.dod.internet.private.enterprises", "iso.org.dod.internet.private.enterprises.64312.2",
     "1.3.6.1.4.1.64312.2"},
    {"11.4294967297", "obj", "obj.4294967297", "11.4294967297"},  // no number of a node
    // "%d" of a number from 2^31 on: such a path does not lead back.
    {"11.4294967295.0", "obj.large", "obj.large.0", "11.-1.0"},
    {"11.-1.0", nullptr, nullptr, nullptr},
    {"99.1", nullptr, "99.1", "99.1"},
    {"obj.cmn.nosuch", nullptr, nullptr, nullptr},
    {"obj.cmn.CMNNAME", nullptr, nullptr, nullptr},
    {"obj.cmn.cmnNam", nullptr, nullptr, nullptr},
    {"obj.cmn.cmnName1", nullptr, nullptr, nullptr},
    {"obj.cmn.0.cmnName", nullptr, nullptr, nullptr},
    {"obj.11a", nullptr, nullptr, nullptr},
    {"obj.\"cmn.cmnName\"", nullptr, nullptr, nullptr},  // one component, with a dot in it
    {"obj.''", nullptr, nullptr, nullptr},
    {"obj.\"cmn", nullptr, nullptr, nullptr},
};

TEST_F(PathTest, FormsOfAPath) {
  ASSERT_EQ(0u, add("large.def", "large obj.4294967295" + test::leaf));
  for (const PathCase& c : cases) {
    SCOPED_TRACE(c.path);
    const OX_RESULT result = c.node != nullptr ? 0 : 125;
    uint32_t found = 0x5eed;
    const char* text = "untouched";
    const char* instance = nullptr;
    ASSERT_EQ(result, oxbEntry(c.path, &found));
    EXPECT_EQ(c.named != nullptr ? 0u : 125u, oxbStrName(c.path, &text));
    EXPECT_STREQ(c.named != nullptr ? c.named : text, text);
    EXPECT_EQ(c.numeric != nullptr ? 0u : 125u, oxbNumName(c.path, &text));
    EXPECT_STREQ(c.numeric != nullptr ? c.numeric : text, text);
    ASSERT_EQ(result, oxbSplit(c.path, &text, &instance));
    if (result != 0) {
      EXPECT_EQ(0x5eedu, found);
      continue;
    }
    EXPECT_STREQ(c.node, text);
    EXPECT_EQ(c.named, *instance == '\0' ? text : std::string(text) + "." + instance);
    EXPECT_EQ(0u, oxbSplit(text, &text, &instance));  // a result is a good argument
    EXPECT_STREQ(c.node, text);
    EXPECT_STREQ("", instance);
    EXPECT_EQ(0u, oxbApToStr(found, &text));
    EXPECT_STREQ(c.node, text);
  }
  const char* base = nullptr;
  for (const auto& [path, expected] : {std::pair{"obj.cmn.cmnName.0", "cmnName.0"},
                                       {"11.1.1.0.7", "cmnName.0.7"},
                                       {"obj", "obj"},
                                       {"99.1", "99.1"},
                                       {"obj.cmn.*", "*"}}) {
    ASSERT_EQ(0u, oxbBasename(path, &base));
    EXPECT_STREQ(expected, base);
  }
}

TEST_F(PathTest, RootAndMissingArguments) {
  uint32_t found = 0;
  const char* text = nullptr;
  EXPECT_EQ(node(""), node(nullptr));
  EXPECT_EQ(0u, oxbApToStr(node(""), &text));
  EXPECT_STREQ("", text);
  EXPECT_EQ(125u, oxbApToStr(0, &text));
  EXPECT_EQ(125u, oxbStrName("", &text));
  EXPECT_EQ(125u, oxbNumName(nullptr, &text));
  EXPECT_EQ(125u, oxbSplit("", &text, nullptr));
  EXPECT_EQ(1u, oxbEntry("obj", nullptr));
  EXPECT_EQ(1u, oxbStrName("obj", nullptr));
  EXPECT_EQ(0u, oxbSplit("obj", nullptr, nullptr));
  ASSERT_EQ(0u, oxbDeleteAmibTree(OXB_TREE));
  EXPECT_EQ(14u, oxbEntry("obj", &found));
  for (auto convert : {oxbStrName, oxbNumName, oxbBasename}) EXPECT_EQ(14u, convert("obj", &text));
  EXPECT_EQ(14u, oxbSplit("obj", &text, nullptr));
}

TEST_F(PathTest, Limits) {
  const auto components = [](int count) {
    std::string path = "11";
    while (--count > 0) path += ".1";
    return path;
  };
  EXPECT_EQ(0u, entry_result(components(64).c_str()));
  EXPECT_EQ(127u, entry_result(components(65).c_str()));
  EXPECT_EQ(127u, entry_result(("obj.nosuch." + components(63)).c_str()));
  EXPECT_EQ(0u, entry_result(("~" + components(58)).c_str()));
  EXPECT_EQ(127u, entry_result(("~" + components(59)).c_str()));

  const char* text = nullptr;
  const std::string digits(4095 - 3, '7');
  EXPECT_EQ(0u, oxbNumName(("11." + digits).c_str(), &text));
  EXPECT_EQ("11." + digits, text);
  EXPECT_EQ(126u, oxbStrName(("11." + digits).c_str(), &text));  // a name is longer than its number
  EXPECT_EQ(126u, entry_result(("11.7" + digits).c_str()));
  const std::string after_prefix(4095 - 12, '7');
  EXPECT_EQ(0u, entry_result(("~" + after_prefix).c_str()));
  EXPECT_EQ(126u, entry_result((".7" + after_prefix).c_str()));
}

TEST_F(PathTest, DeepNodesHaveNoPath) {
  std::string text = "d1 obj.9" + test::inner;
  for (int depth = 2; depth <= 64; ++depth) {
    text += "d" + std::to_string(depth) + " d" + std::to_string(depth - 1) + ".1" + test::inner;
  }
  ASSERT_EQ(0u, add("deep.def", text));
  uint32_t deep = node("obj.9");
  const char* path = nullptr;
  while (oxbChild(oxbChild(deep)) != 0) deep = oxbChild(deep);
  EXPECT_EQ(0u, oxbApToNum(deep, &path));
  EXPECT_EQ(127u, oxbApToNum(oxbChild(deep), &path));
}

TEST_F(PathTest, Matching) {
  const struct {
    const char* a;
    const char* b;
    uint32_t mode;
    uint32_t result;
  } rows[] = {{nullptr, nullptr, 0, 1}, {"a", nullptr, 0, 0},  {"a.b", "a.b", 0, 1}, {"a.b", "a", 0, 0},
              {"a.b.c", "a.b", 1, 1},   {"a.bc", "a.b", 1, 0}, {"a.b", "a.b", 1, 1}, {"a", "a.b", 1, 0},
              {nullptr, "a", 1, 0},     {"a", nullptr, 2, 0}};
  for (const auto& row : rows) EXPECT_EQ(row.result, oxbMatch(row.a, row.b, row.mode));
}

TEST_F(PathTest, TraversalKeepsToTheSubtree) {
  // A leaf's type does not keep it from having children.
  ASSERT_EQ(0u, add("inner.def", "hollow cmn.4" + test::inner + "below cmnName.1" + test::leaf + "last obj.2" +
                                     test::inner + "end last.1" + test::inner + "leaf end.1" + test::leaf));
  const auto leaves = [](const char* top) {
    std::string names;
    uint32_t current = 0;
    while ((current = oxbTraverse(node(top), current)) != 0) names += std::string(oxbName(current)) + " ";
    return names;
  };
  EXPECT_EQ("below cmnState cmnItem ", leaves("obj.cmn"));
  EXPECT_EQ("below cmnState cmnItem leaf ", leaves("obj"));
  EXPECT_EQ("below cmnState cmnItem leaf sysDescr ", leaves(""));
  EXPECT_EQ("cmnState ", leaves("obj.cmn.cmnState"));
  EXPECT_EQ("", leaves("obj.cmn.hollow"));
  EXPECT_EQ(0u, oxbTraverse(0, 0));
}

// Nodes that share a place in the cache of resolved components must not be taken for each other.
TEST_F(PathTest, EveryOneOfManyResolves) {
  std::string text;
  for (int i = 0; i < 100; ++i) text += "p" + std::to_string(i) + " obj." + std::to_string(i + 50) + test::inner;
  for (int i = 0; i < 20000; ++i) {
    const std::string number = std::to_string(i / 100);
    text += "n" + number + " p" + std::to_string(i % 100) + "." + number + test::leaf;
  }
  ASSERT_EQ(0u, add("many.def", text));
  for (int i = 0; i < 2 * 20000; i += 7) {
    const std::string number = std::to_string(i % 20000 / 100), parent = std::to_string(i % 100);
    const uint32_t found = node(("obj.p" + parent + ".n" + number + ".0").c_str());
    ASSERT_EQ("n" + number, oxbName(found));
    ASSERT_EQ("p" + parent, oxbName(oxbParent(found)));
    ASSERT_EQ(found, node(("11." + std::to_string(i % 100 + 50) + "." + number).c_str()));
  }
}

}  // namespace
}  // namespace ox::amib
