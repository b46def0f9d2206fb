// Lists of component types and relation types, and their files.
#include <functional>
#include <memory>

#include <oxbase/oxd.h>
#include <oxbase/oxf.h>

#include "tests/support/blocks.h"
#include "tests/support/fault_heap.h"
#include "tests/support/system_root.h"
#include "tests/support/texts.h"

namespace {

using ox::test::SameBlocks, ox::test::split, ox::test::work_dir, ox::test::write_file;

struct Lists {
  oxfType* types = nullptr;
  oxfRelt* relations = nullptr;
  Lists() = default;
  Lists(const Lists&) = delete;
  Lists& operator=(const Lists&) = delete;
  ~Lists() {  // relations keep their types
    EXPECT_EQ(0u, oxfTypeFree(types));
    EXPECT_EQ(0u, oxfReltFree(relations));
  }
  [[nodiscard]] std::string type(const char* name) const {
    const char* own = oxfTypeName(oxf_type_search(types, name));
    return own != nullptr ? own : "none";
  }
  // "source>destination class"
  [[nodiscard]] std::string relation(const char* name) const {
    const oxfRelt* found = oxf_relt_search(relations, name);
    if (found == nullptr) return "none";
    const auto text = [](const oxfType* end) { return end != nullptr ? std::string(oxfTypeName(end)) : "*"; };
    return text(oxfReltSource(found)) + ">" + text(oxfReltDestination(found)) + " " +
           std::to_string(oxfReltClass(found));
  }
};

OX_RESULT read_types(oxfType** list) {
  return oxf_type_read(list, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
}

// "path=value|path=value"
std::unique_ptr<dnode, OX_RESULT(OX_CALL*)(dnode*)> nodes_of(const std::string& text) {
  dnode* list = nullptr;
  for (const std::string& one : split(text)) {
    const std::size_t bar = one.find('=');
    if (bar == std::string::npos) continue;
    EXPECT_EQ(0u, oxdSetAllData(&list, nullptr, nullptr, one.substr(0, bar).c_str(), 0, 0, 0, OX_DISPLAYSTRING,
                                reinterpret_cast<uintptr_t>(one.c_str() + bar + 1), 0));
  }
  return {list, oxdFree};
}

TEST(Types, BuiltInOnesAndThoseOfTheFiles) {
  const SameBlocks same_blocks;
  write_file(
      work_dir() + "/public/comptype/b.def",
      "# mine\ncomptype:\trouter\nsupertype: x y\nalias:\tgateway gw\nalias: L3\ncomptype: modem\ncomptype: map\n"
      "alias: chart\n");
  write_file(work_dir() + "/public/reltype/a.def",
             "reltype:\tmap-icon\nsrctype:\tnone\nreltype:\tlink\nsrctype:\tgw\ndsttype:\tprinter\nrelclass:\trefered\n"
             "reltype: free\nreltype: link\nrelclass: include\n");
  Lists lists;
  oxfType* system = nullptr;
  oxfType* media = nullptr;
  EXPECT_EQ(
      0u, oxf_type_read(&lists.types, &system, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &media));
  std::string all;
  for (const oxfType* type = lists.types; type != nullptr; type = oxfTypeNext(type)) {
    all += std::string(oxfTypeName(type)) + (oxfTypeIsBuiltIn(type) != 0 ? " " : "+ ");
  }
  EXPECT_EQ("system map rmap icon node net if arc media logEnt dataEnt ruleList ruleEnt cmdEnt router+ ", all);
  EXPECT_STREQ("system", oxfTypeName(system));
  EXPECT_STREQ("media", oxfTypeName(media));
  const std::pair<const char*, const char*> names[] = {{"printer", "node"}, {"gw", "router"}, {"L3", "router"},
                                                       {"chart", "map"},    {"Map", "none"},  {"", "none"}};
  for (const auto& [name, own] : names) EXPECT_EQ(own, lists.type(name)) << name;
  oxfRelt* object_interface = nullptr;
  EXPECT_EQ(0u, oxf_relt_read(&lists.relations, lists.types, nullptr, nullptr, &object_interface));
  EXPECT_STREQ("obj-if", oxfReltName(object_interface));
  const std::pair<const char*, const char*> relations[] = {{"map-icon", "map>icon 1"},
                                                           {"icon-obj", "icon>* 5"},
                                                           {"obj-if", "*>if 1"},
                                                           {"media-net", "media>net 3"},
                                                           {"busconn4", "icon>icon 7"},
                                                           {"arc-icon-dst", "icon>icon 2"},
                                                           {"system-map", "system>map 0"},
                                                           {"map-cmdEnt", "map>cmdEnt 1"},
                                                           {"logEnt-dataEnt", "logEnt>dataEnt 1"},
                                                           {"link", "router>node 4"},
                                                           {"free", "*>* 0"},
                                                           {"none", "none"}};
  for (const auto& [name, expected] : relations) EXPECT_EQ(expected, lists.relation(name)) << name;
  char kind[] = "commserver";
  EXPECT_TRUE(oxf_type_cnvCompType(kind) == 1 && std::string(kind) == "node" && oxf_type_cnvCompType(kind) == 0);
  EXPECT_TRUE(oxf_type_CompTypeMatch("mo*") == 1 && oxf_type_CompTypeMatch("node") == 0);
}

TEST(Types, NodesAddAndRemove) {
  const SameBlocks same_blocks;
  Lists lists;
  EXPECT_EQ(0u, oxfAddBuiltInTypes(&lists.types));
  EXPECT_EQ(0u, oxfAddBuiltInRelts(&lists.relations, lists.types));
  const auto add_type = [&](const dnode* n) { return oxf_type_add(&lists.types, n); };
  const auto del_type = [&](const dnode* n) { return oxf_type_del(&lists.types, n); };
  const auto add_relation = [&](const dnode* n) { return oxf_relt_add(&lists.relations, lists.types, n); };
  const auto del_relation = [&](const dnode* n) { return oxf_relt_del(&lists.relations, n); };
  const std::string longest(63, 'a');
  const std::tuple<std::function<OX_RESULT(const dnode*)>, std::string, OX_RESULT> rows[] = {
      {add_type, "", 56},
      {add_type, "10.7.1.0=vlan", 0},
      {add_type, "10.7.1.0=x|10.7.1.0=vlan", 20},
      {add_type, "10.7.1.0=printer", 20},
      {add_type, "10.7.1.0=" + longest, 0},
      {add_type, "10.7.1.0=" + longest + "a", 93},
      {add_type, "10.7.1.0=a b", 93},
      {add_type, "10.7.1.0=", 93},
      {add_type, "10.7.1.0=x|10.7.2.0=x", 125},
      {add_relation, "10.7.5.0=map", 56},
      {add_relation, "10.7.4.0=r|10.7.5.0=vlan|10.7.6.0=host|10.7.28.0=coexist", 0},
      {add_relation, "10.7.4.0=r", 21},
      {add_relation, "10.7.4.0=s|10.7.6.0=none", 57},
      {add_relation, "10.7.4.0=s|10.7.28.0=refers", 252},
      {add_relation, "10.7.4.0=s/t", 94},
      {add_relation, "10.7.4.0=s|10.7.1.0=t", 125},
      {del_type, "10.7.1.0=vlan", 0},
      {del_type, "10.7.1.0=vlan", 57},
      {del_relation, "10.7.4.0=free", 57},
      {del_relation, "10.7.4.0=busconn1", 0}};
  for (const auto& [call, nodes, result] : rows) EXPECT_EQ(result, call(nodes_of(nodes).get())) << nodes;
  EXPECT_EQ("none", lists.type("vlan"));
  EXPECT_EQ("vlan>node 7", lists.relation("r")) << "a relation keeps its types";
  EXPECT_EQ("none", lists.relation("busconn1"));
}

TEST(Types, AFaultyFileAddsNothingAndTellsAll) {
  const SameBlocks same_blocks;
  const std::string path = work_dir() + "/public/x.def";
  // Contents of a file of types, of relations; the first code and line; all of them.
  const std::tuple<bool, const char*, const char*, const char*> rows[] = {
      {true, "alias: a\ncomptype: a b\ncomptype:\ncomptype: x/y\nalias:\ncomptype: good\nalias: a/b\nno colon\nx: 'y\n",
       "4@1", "4@1 4@2 4@3 93@4 4@5 93@7 4@8 68@9 "},
      {false,
       "srctype: map\nreltype: r\nrelclass: refers\nreltype: good\nreltype: s\nsrctype: nothing\ncolour: red\n"
       "dsttype: a b\nreltype: t/u\n",
       "4@1", "4@1 252@2 77@7 4@8 57@5 94@9 "},
      {true, "\n", "0@0", ""}};
  for (const auto& [types, contents, first, all] : rows) {
    write_file(path, contents);
    Lists lists;
    EXPECT_EQ(0u, oxfAddBuiltInTypes(&lists.types));
    std::string told;
    const auto tell = [](void* to, const char*, std::uint32_t line, OX_RESULT code, const char*) {
      *static_cast<std::string*>(to) += std::to_string(code) + "@" + std::to_string(line) + " ";
    };
    for (const oxfFault fault : {oxfFault{nullptr}, oxfFault{tell}}) {
      const OX_RESULT result = types ? oxfReadTypeFile(&lists.types, path.c_str(), fault, &told)
                                     : oxfReadReltFile(&lists.relations, lists.types, path.c_str(), fault, &told);
      std::uint32_t line = 99;
      EXPECT_EQ(0u, oxfGetErrorFile(nullptr, &line));
      EXPECT_EQ(first, std::to_string(result) + "@" + std::to_string(line)) << contents;
    }
    EXPECT_EQ(all, told) << contents;
    EXPECT_EQ("none", lists.type("good"));
    EXPECT_EQ("none", lists.relation("good"));
  }
  Lists lists;
  EXPECT_EQ(142u, oxfReadTypeFile(&lists.types, (path + "x").c_str(), nullptr, nullptr));
  write_file(work_dir() + "/public/reltype/a.def", "reltype: r\nrelclass: refers\n");
  EXPECT_EQ(0u, oxfAddBuiltInTypes(&lists.types));
  EXPECT_EQ(252u, oxf_relt_read(&lists.relations, lists.types, nullptr, nullptr, nullptr));
}

// The samples that ship say nothing until their marks are taken away.
TEST(Types, TheSamplesAreSound) {
  for (const char* kind : {"comptype", "reltype"}) {
    std::string sample = ox::test::read_file(std::string(OX_SHARE_DIR "/public/") + kind + "/sample.def");
    EXPECT_EQ(std::string::npos, ("\n" + sample).find("\ncomptype")) << "it is a comment";
    for (std::size_t at = 0; (at = sample.find("#:", at)) != std::string::npos;) sample.erase(at, 2);
    write_file(work_dir() + "/public/" + kind + "/user.def", sample);
  }
  Lists lists;
  EXPECT_EQ(0u, read_types(&lists.types));
  EXPECT_EQ(0u, oxf_relt_read(&lists.relations, lists.types, nullptr, nullptr, nullptr));
  EXPECT_EQ("router", lists.type("gateway"));
  EXPECT_EQ("router>net 3", lists.relation("router-net"));
}

TEST(Types, EveryAllocationMayFail) {
  write_file(work_dir() + "/public/comptype/a.def", "comptype: a\nalias: b c\n");
  write_file(work_dir() + "/public/reltype/a.def", "reltype: a\nsrctype: b\n");
  ox::test::every_allocation_may_fail([] {
    oxfType* types = nullptr;
    oxfRelt* relations = nullptr;
    OX_RESULT result = read_types(&types);
    if (result == OX_OK) result = oxf_relt_read(&relations, types, nullptr, nullptr, nullptr);
    (void)oxfReltFree(relations);
    (void)oxfTypeFree(types);
    return result;
  });
}

}  // namespace
