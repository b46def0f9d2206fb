// Written paths: what they name, how they are written otherwise, and what stands for several.
#include "tests/amib/tree_fixture.h"
#include "tests/support/blocks.h"
#include "tests/support/fault_heap.h"
#include "tests/support/given.h"
#include "tests/support/texts.h"

namespace ox::amib {
namespace {

using PathTest = test::SmallTreeTest;
using test::inner, test::leaf, test::repeated;

constexpr auto text_of = [](auto call, const char* path) { return test::given<const char*>(call, path); };

constexpr char none[] = "!125";
// Path, the node's path, named form, numeric form.
const std::tuple<const char*, std::string, std::string, std::string> cases[] = {
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
    {"99.1", none, "99.1", "99.1"}};

TEST_F(PathTest, FormsOfAPath) {
  ASSERT_EQ(0u, add("large.def", "large obj.4294967295" + leaf));
  for (const auto& [path, own, named, numeric] : cases) {
    SCOPED_TRACE(path);
    const char* instance = "";
    EXPECT_EQ(named, text_of(oxbStrName, path));
    EXPECT_EQ(numeric, text_of(oxbNumName, path));
    const auto split = [&](const char* of, const char** text) { return oxbSplit(of, text, &instance); };
    ASSERT_EQ(own, text_of(split, path));
    EXPECT_EQ(own == none ? 125u : 0u, entry_result(path));
    if (own == none) continue;
    EXPECT_EQ(named, *instance == '\0' ? own : own + "." + instance);
    const char* text = nullptr;
    EXPECT_EQ(0u, oxbSplit(path, &text, nullptr));
    EXPECT_EQ(own, text_of(split, text));  // a result is a good argument
    EXPECT_STREQ("", instance);
    EXPECT_EQ(own, test::given<const char*>(oxbApToStr, node(path)));
  }
  // Of the last two the first has one component, with a dot in it.
  for (const char* path : {"11.-1.0", "obj.cmn.nosuch", "obj.cmn.CMNNAME", "obj.cmn.cmnNam", "obj.cmn.cmnName1",
                           "obj.cmn.0.cmnName", "obj.11a", "obj.''", "obj.\"cmn.cmnName\"", "obj.\"cmn"}) {
    EXPECT_EQ(none, test::given<uint32_t>(oxbEntry, path)) << path;
    for (const auto call : {oxbStrName, oxbNumName}) EXPECT_EQ(none, text_of(call, path)) << path;
    EXPECT_EQ(125u, oxbSplit(path, nullptr, nullptr)) << path;
  }
  for (const auto& [path, base] : {std::pair{"obj.cmn.cmnName.0", "cmnName.0"},
                                   {"11.1.1.0.7", "cmnName.0.7"},
                                   {"obj", "obj"},
                                   {"99.1", "99.1"},
                                   {"obj.cmn.*", "*"}}) {
    EXPECT_EQ(base, text_of(oxbBasename, path));
  }
}

TEST_F(PathTest, RootAndMissingArguments) {
  EXPECT_EQ(node(""), node(nullptr));
  EXPECT_EQ("", test::given<const char*>(oxbApToStr, node("")));
  EXPECT_EQ(none, test::given<const char*>(oxbApToStr, 0u));
  EXPECT_EQ(none, text_of(oxbStrName, ""));
  EXPECT_EQ(125u, oxbSplit("", nullptr, nullptr));
  EXPECT_EQ(0u, oxbSplit("obj", nullptr, nullptr));
  ASSERT_EQ(0u, oxbDeleteAmibTree(OXB_TREE));
  EXPECT_EQ("!14", test::given<uint32_t>(oxbEntry, "obj"));
  for (auto convert : {oxbStrName, oxbNumName, oxbBasename}) EXPECT_EQ("!14", text_of(convert, "obj"));
  EXPECT_EQ(14u, oxbSplit("obj", nullptr, nullptr));
}

TEST_F(PathTest, Limits) {
  const auto components = [](int count) { return "11" + repeated(".1", count - 1); };
  EXPECT_EQ(0u, entry_result(components(64).c_str()));
  EXPECT_EQ(127u, entry_result(components(65).c_str()));
  EXPECT_EQ(127u, entry_result(("obj.nosuch." + components(63)).c_str()));
  EXPECT_EQ(0u, entry_result(("~" + components(58)).c_str()));
  EXPECT_EQ(127u, entry_result(("~" + components(59)).c_str()));

  const std::string digits(4095 - 3, '7');
  EXPECT_EQ("11." + digits, text_of(oxbNumName, ("11." + digits).c_str()));
  EXPECT_EQ("!126", text_of(oxbStrName, ("11." + digits).c_str()));  // a name is longer than its number
  EXPECT_EQ(126u, entry_result(("11.7" + digits).c_str()));
  const std::string after_prefix(4095 - 12, '7');
  EXPECT_EQ(0u, entry_result(("~" + after_prefix).c_str()));
  EXPECT_EQ(126u, entry_result((".7" + after_prefix).c_str()));
}

TEST_F(PathTest, DeepNodesHaveNoPath) {
  std::string text = "d1 obj.9" + inner;
  for (int depth = 2; depth <= 64; ++depth) {
    text += "d" + std::to_string(depth) + " d" + std::to_string(depth - 1) + ".1" + inner;
  }
  ASSERT_EQ(0u, add("deep.def", text));
  uint32_t deep = node("obj.9");
  const char* path = nullptr;
  while (oxbChild(oxbChild(deep)) != 0) deep = oxbChild(deep);
  EXPECT_EQ(0u, oxbApToNum(deep, &path));
  EXPECT_EQ(127u, oxbApToNum(oxbChild(deep), &path));
}

TEST_F(PathTest, Matching) {
  const std::tuple<const char*, const char*, uint32_t, uint32_t> rows[] = {
      {nullptr, nullptr, 0, 1}, {"a", nullptr, 0, 0},  {"a.b", "a.b", 0, 1}, {"a.b", "a", 0, 0},
      {"a.b.c", "a.b", 1, 1},   {"a.bc", "a.b", 1, 0}, {"a.b", "a.b", 1, 1}, {"a", "a.b", 1, 0},
      {nullptr, "a", 1, 0},     {"a", nullptr, 2, 0}};
  for (const auto& [a, b, mode, result] : rows) EXPECT_EQ(result, oxbMatch(a, b, mode));
}

TEST_F(PathTest, TraversalKeepsToTheSubtree) {
  // A leaf's type does not keep it from having children.
  ASSERT_EQ(0u, add("inner.def", "hollow cmn.4" + inner + "below cmnName.1" + leaf + "last obj.2" + inner +
                                     "end last.1" + inner + "leaf end.1" + leaf));
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
  for (int i = 0; i < 100; ++i) text += "p" + std::to_string(i) + " obj." + std::to_string(i + 50) + inner;
  for (int i = 0; i < 20000; ++i) {
    const std::string number = std::to_string(i / 100);
    text += "n" + number + " p" + std::to_string(i % 100) + "." + number + leaf;
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

constexpr uint32_t room = 10000;

// The results, each ended by "|", or the result code and the count.
std::string deploy(const std::string& pattern, uint32_t capacity = room) {
  std::vector<char*> results(room);
  uint32_t count = 77;
  const OX_RESULT result = oxbDeploy(pattern.c_str(), &count, results.data(), capacity);
  std::string text = result != 0 ? std::to_string(result) + ":" + std::to_string(count) : "";
  for (uint32_t i = 0; i < count; ++i) {
    text += std::string(results[i]) + "|";
    (void)oxcMemFree(results[i]);
  }
  return text;
}

TEST(Deploy, CombinationsWithinLimits) {
  const test::SameBlocks same_blocks;
  const std::string longest(4095, 'x');
  const std::tuple<std::string, std::string, uint32_t> rows[] = {
      {"sys.a", "sys.a|", room},
      {"sys.{a,b}.x{1,2}", "sys.a.x1|sys.a.x2|sys.b.x1|sys.b.x2|", room},
      {"a,b.{1,2}", "a|b.1|b.2|", room},
      {"a{b{c,d},e}f", "abcf|abdf|aef|", room},
      {"{{a,b},{c,d{1,2}}}{x,y}", "ax|ay|bx|by|cx|cy|d1x|d1y|d2x|d2y|", room},
      {"a{,b}", "a|ab|", room},
      {"", "|", room},
      {"a,,b", "a||b|", room},
      {"{}", "|", room},
      {"{a,b", "128:0", room},
      {"a,b}", "128:0", room},
      {"}{", "128:0", room},
      {"{a}}", "128:0", room},
      {longest, longest + "|", room},
      {"{a,b}," + longest + "{,y}", "126:0", room},
      {"{a,b}", "a|b|", 2},
      {"{a,b},c", "85:0", 2},
      {repeated("{,,}", 200), "85:0", room},
      {std::string(100000, '{'), "128:0", room},
      {std::string(100000, '{') + "a" + std::string(100000, '}'), "a|", room}};
  for (const auto& [pattern, expected, capacity] : rows) {
    EXPECT_EQ(expected, deploy(pattern, capacity)) << pattern.substr(0, 60);
  }
  EXPECT_EQ(20000u, deploy("a" + repeated(",a", 9999)).size());
}

TEST(Deploy, EveryAllocationMayFail) {
  test::every_allocation_may_fail([] {
    uint32_t count = 7;
    char* results[4];
    const OX_RESULT result = oxbDeploy("{a,b}.{c,d}", &count, results, 4);
    EXPECT_EQ(result == 0 ? 4u : 0u, count);
    while (count != 0) (void)oxcMemFree(results[--count]);
    return result;
  });
}

}  // namespace
}  // namespace ox::amib
