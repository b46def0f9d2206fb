// Trap definition files, the list that they make, and what is found in it.
#include <filesystem>

#include <oxbase/oxc.h>
#include <oxbase/oxd.h>

#include "tests/support/blocks.h"
#include "tests/support/fault_heap.h"
#include "tests/support/faults.h"
#include "tests/support/given.h"
#include "tests/support/registry.h"
#include "tests/support/system_root.h"

namespace ox::test {
namespace {

using namespace std::string_literals;

std::string path_of(const std::string& name) { return work_dir() + "/public/trap/" + name; }

class TrapDefinitions : public testing::Test {
 protected:
  TrapDefinitions() { std::filesystem::remove_all(work_dir() + "/public"); }
  ~TrapDefinitions() override { oxcTrFreeConf(list_); }

  // A list of one file.
  oxcTrConf* read(const std::string& text, const std::string& name = "a.def") {
    oxcTrFreeConf(list_);
    list_ = oxcTrAllocConf();
    write_file(path_of(name), text);
    EXPECT_EQ(0u, oxcTrMakeConfList(list_, path_of(name).c_str()));
    return list_;
  }
  oxcTrConf* create(decltype(&oxcTrCreateList) call = oxcTrCreateList) {
    oxcTrFreeConf(list_);
    list_ = nullptr;
    EXPECT_EQ(0u, call(&list_));
    return list_;
  }

  // The summary of what is found, "-" for nothing.
  std::string find(const char* enterprise, uint32_t generic, uint32_t specific,
                   decltype(&oxcTrSearchTrap) call = oxcTrSearchTagConfList) {
    const oxcTrTag* tag = nullptr;
    const OX_RESULT result = call(list_, enterprise, generic, specific, &tag);
    EXPECT_EQ(tag != nullptr ? 0u : 122u, result);
    return tag != nullptr ? tag->summary : "-";
  }

  const SameBlocks same_blocks_;
  oxcTrConf* list_ = nullptr;
};

// All of a record in one line; texts that are missing are left out.
std::string print(const oxcTrTag& tag) {
  std::string text = tag.enterprise + " "s;
  text += tag.anyGeneric != 0 ? "*" : std::to_string(tag.genericCode);
  text += "/" + (tag.anySpecific != 0 ? "*" : std::to_string(tag.specificCode)) + " " + std::to_string(tag.severity);
  for (const char* field : {tag.summary, tag.detail, tag.deal, tag.action, tag.alertType, tag.kind, tag.source,
                            tag.timeStamp[0], tag.timeStamp[1]}) {
    if (field != nullptr) text += "|"s + field;
  }
  return text + " " + std::to_string(tag.logging) + "," + std::to_string(tag.eventId) +
         (tag.userDefined != 0 ? ",user" : "");
}

std::string print(const oxcTrConf* list) {
  std::string text;
  for (const oxcTrTag* tag = oxcTrFirstTag(list); tag != nullptr; tag = tag->next) text += print(*tag) + "\n";
  return text;
}

TEST_F(TrapDefinitions, LinesAreTakenAsTheyAreMeant) {
  const std::string long_text(1021 - 8, 'x');
  const std::pair<std::string, std::string> cases[] = {
      {"Enterprise 1.3.6.1.4.1.64312.2\nGenericCode 6\nSpecificCode *\nSeverity 9\nLogging 0\n",
       "1.3.6.1.4.1.64312.2 6/* 1 0,0\n"},
      {"Enterprise\t1.3\r\nGenericCode *\r\nSpecificCode 0x10\r\nSeverity 4\r\nSummary two words\r\n"
       "Detail\t\"a 'quoted' text\"\r\nDeal 'do it' now\r\nLogging -1\r\nAction run \"x\"\r\nAlertType t\r\n"
       "TESKind k\r\nSource s\r\nEventID 4294967295",
       "1.3 */16 4|two words|a 'quoted' text|'do it' now|run \"x\"|t|k|s -1,4294967295\n"},
      {"Summary lost\nEnterprise 1.3\n# comment\nsummary other case\n  Summary  kept \nSummary \"open\nUnknown x\n\n",
       "1.3 0/0 1|kept 1,0\n"},
      {"Enterprise 1.3\nGenericCode 010\nSpecificCode 9x\nSeverity high\nEventID -1\nSpecificCode 7\nSpecificCode *\n"
       "SpecificCode 5\n",
       "1.3 8/5 1 1,0\n"},
      {"\xEF\xBB\xBF"
       "Enterprise 1.3\n\xEF\xBB\xBFSeverity 4\n",
       "1.3 0/0 1 1,0\n"},  // an editor's mark
      {"Enterprise 1.3\nTimeStamp 1\n",
       "1.3 0/0 1|1.3.6.1.4.1.64312.2.3.26.1.5.0|1.3.6.1.4.1.64312.2.3.26.1.6.0 1,0\n"},
      {"Enterprise 1.3\nTimeStamp \"1 1.1\t1.2\"\n", "1.3 0/0 1|1.1|1.2 1,0\n"},
      {"Enterprise 1.3\nTimeStamp 0\nEnterprise 1.4\nTimeStamp 1 1.1\nEnterprise 1.5\nTimeStamp 1 2 3 4\nEnterprise\n",
       "1.3 0/0 1 1,0\n1.4 0/0 1 1,0\n1.5 0/0 1 1,0\n 0/0 1 1,0\n"},
      {"Enterprise 1.3\nSummary " + long_text + "Enterprise 1.4\nSeverity 2\nSummary " + long_text + "\r\nLogging 1",
       "1.3 0/0 2|" + long_text + " 1,0\n"},
      {"", ""}};
  for (const auto& [text, list] : cases) EXPECT_EQ(list, print(read(text))) << text;
  EXPECT_EQ("1.3 0/0 1 1,0,user\n", print(read("Enterprise 1.3\n", "User.Def")));
  EXPECT_EQ("1.3 0/0 1 1,0\n", print(read("Enterprise 1.3\n", "xuser.def")));
  EXPECT_EQ(142u, oxcTrMakeConfList(list_, path_of("none.def").c_str()));
}

TEST_F(TrapDefinitions, TheFirstOfTheListThatMatchesIsFound) {
  const auto define = [](const char* enterprise, const char* codes, const char* summary) {
    const std::string text = codes;
    return "Enterprise "s + enterprise + "\nGenericCode " + text[0] + "\nSpecificCode " + text.substr(1) +
           "\nSeverity 2\nSummary " + summary + "\n";
  };
  write_file(path_of("OXBASE.DEF"), define("1.1", "61", "base 6/1") + define("1.1", "62", "base 6/2") +
                                        define("1.3.6.1.6.3.1.1.5", "2*", "linkDown"));
  write_file(path_of("user.def"), define("1.1", "**", "user any") + define("1.1", "62", "user 6/2"));
  write_file(path_of("b.def"), define("1.1", "*3", "b any/3") + define("1.1", "6*", "b 6/any"));
  write_file(path_of("A.def"), define("1.2", "6*", "A 6/any") + define("1.1", "61", "A 6/1"));
  write_file(path_of("other.txt"), define("1.9", "61", "other"));
  write_file(work_dir() + "/public/alblock/user.def", define("1.1", "6*", "block 6/any"));
  create();
  std::string order;
  for (const oxcTrTag* tag = oxcTrFirstTag(list_); tag != nullptr; tag = tag->next) order += tag->summary + ";"s;
  EXPECT_EQ("user 6/2;A 6/1;base 6/1;base 6/2;b any/3;b 6/any;user any;A 6/any;linkDown;", order);

  using Row = std::tuple<const char*, const char*, uint32_t, uint32_t>;
  const Row exact[] = {{"user 6/2", "1.1", 6, 2}, {"A 6/1", "1.1", 6, 1},    {"b any/3", "1.1", 6, 3},
                       {"b 6/any", "1.1", 6, 4},  {"user any", "1.1", 2, 4}, {"A 6/any", "1.2", 6, 0xFFFFFFFF},
                       {"-", "1.2", 2, 0},        {"-", "1.9", 6, 1},        {"-", "1.1.0", 6, 1}};
  for (const auto& [found, enterprise, generic, specific] : exact)
    EXPECT_EQ(found, find(enterprise, generic, specific));
  const Row standard[] = {
      {"-", "", 2, 0}, {"-", nullptr, 2, 0}, {"linkDown", "1.2", 2, 9}, {"user any", "1.1", 2, 9}, {"-", "1.2", 3, 0}};
  for (const auto& [found, enterprise, generic, specific] : standard) {
    EXPECT_EQ(found, find(enterprise, generic, specific, oxcTrSearchTrap));
  }
  EXPECT_EQ("2", given<uint32_t>(oxcTrSearchSeverity, list_, "1.1", 6u, 1u));
  EXPECT_EQ("!122", given<uint32_t>(oxcTrSearchSeverity, list_, "1.2", 2u, 9u));

  create(oxcTrCreateList3);
  EXPECT_EQ("block 6/any", find("1.1", 6, 3));
  EXPECT_EQ("user any", find("1.1", 2, 4));

  // A user's record that comes last still goes before the others of its kind.
  oxcTrTag* tag = oxcTrAllocTag();
  for (char** text : {&tag->enterprise, &tag->summary}) *text = static_cast<char*>(block_of("1.1\0"s));
  tag->anySpecific = tag->userDefined = 1;
  tag->genericCode = 6;
  EXPECT_EQ(1u, oxcTrAddConfList(nullptr, tag));
  EXPECT_EQ(0u, oxcTrAddConfList(list_, tag));
  EXPECT_EQ("block 6/any", find("1.1", 6, 3));
  EXPECT_STREQ("block 6/any", tag->prev->summary);
  EXPECT_STREQ("b any/3", tag->next->summary);

  read("Enterprise 1.3.6.1.6.3.1.1.5\nGenericCode *\nSummary any standard trap\n");
  EXPECT_EQ("any standard trap", find("1.9", 5, 0, oxcTrSearchTrap));
  EXPECT_EQ("-", find("1.9", 6, 0, oxcTrSearchTrap));
}

TEST_F(TrapDefinitions, TheReloadFlagIsTakenBackByWhoReads) {
  EXPECT_EQ("0", given<uint32_t>(oxcTrGetReloadFlag));
  EXPECT_EQ(0u, oxcTrSetReloadFlag());
  create(oxcTrCreateList);
  EXPECT_EQ("1", given<uint32_t>(oxcTrGetReloadFlag));
  create(oxcTrCreateList2);
  EXPECT_EQ("0", given<uint32_t>(oxcTrGetReloadFlag));
  EXPECT_EQ("False", registry_value("TrapConfReloadFlag"));
  EXPECT_EQ(0u, oxcTrSetReloadFlag());
  create(oxcTrCreateList3);
  EXPECT_EQ("0", given<uint32_t>(oxcTrGetReloadFlag));
}

TEST(TrapDetail, HoldsTheValuesOfTheBindings) {
  dnode* bindings = oxdAlloc(2);
  oxdSetAmibName(bindings, "1.3.6.1.2.1.2.2.1.1.3");
  oxdSetLong(bindings, 3);
  oxdSetAmibName(oxdNext(bindings), "1.3.6.1.2.1.31.1.1.1.1.3");
  oxdSetText(oxdNext(bindings), "eth *%1*");
  const std::pair<const char*, const char*> cases[] = {
      {"values: *%all*.", "values: 3, eth *%1*."},
      {"*%allnum*", "1.3.6.1.2.1.2.2.1.1.3=3, 1.3.6.1.2.1.31.1.1.1.1.3=eth *%1*"},
      {"*%allleaf*", "1.3.6.1.2.1.2.2.1.1.3=3, 1.3.6.1.2.1.31.1.1.1.1.3=eth *%1*"},
      {"*%2* on *%1* *%3**%0*", "eth *%1* on 3 *%0*"},
      {"50*%1* *%alle* *%all 100%*", "503 *%alle* *%all 100%*"},
      {"*%*%1*", "*%3"},
      {"*%", "*%"},
      {nullptr, ""}};
  oxcTrTag tag{};
  const auto made = [&](const char* detail, dnode* list) {
    tag.detail = const_cast<char*>(detail);
    char* text = nullptr;
    EXPECT_EQ(0u, oxcTrReMakeDetail(&tag, list, &text));
    const std::string result = text;
    oxcMemFree(text);
    return result;
  };
  for (const auto& [detail, text] : cases) EXPECT_EQ(text, made(detail, bindings));
  EXPECT_EQ("all: ", made("all: *%all*", nullptr));
  oxdSetText(bindings, "a text that no string keeps in itself");
  every_allocation_may_fail([&] {
    char* text = nullptr;
    const OX_RESULT result = oxcTrReMakeDetail(&tag, bindings, &text);
    oxcMemFree(text);
    return result;
  });
  oxdFree(bindings);
}

TEST_F(TrapDefinitions, ACheckNamesEveryFault) {
  const std::string text =
      "Severity 1\n# \"comment\nEnterprise .1.3\nGenericCode x\nSpecificCode 0x100000000\nSeverity 9\nSevrity 1\n"
      "Summary \"open\nSample 30\nEnterprise 1.3\nSummary " +
      std::string(1021, 'x') + "\nEventID 1.5\nTimeStamp 1 2\nGenericCode:\t1\n";
  write_file(path_of("a.def"), text);
  Told told;
  EXPECT_EQ(0u, oxcTrCheckFile(path_of("a.def").c_str(), Told::note, &told));
  EXPECT_EQ(
      "a.def:1 4 Severity\na.def:3 125 .1.3\na.def:4 70 GenericCode\na.def:5 88 SpecificCode\na.def:6 88 Severity\n"
      "a.def:7 77 Sevrity\na.def:8 68 Summary\na.def:11 87 \na.def:12 70 EventID\na.def:13 70 TimeStamp\n"
      "a.def:14 77 GenericCode:\na.def:10 195 GenericCode\na.def:10 195 SpecificCode\na.def:10 195 Severity\n",
      told.text);
  EXPECT_EQ(142u, oxcTrCheckFile(path_of("none.def").c_str(), Told::note, &told));
}

TEST_F(TrapDefinitions, EveryAllocationMayFail) {
  std::string text;
  for (const char* enterprise : {"1.3", "1.4", "1.3"}) {
    text += "Enterprise "s + enterprise + "\nGenericCode 6\nSpecificCode 1\nSummary s\nDetail *%all*\nTimeStamp 1\n";
  }
  write_file(path_of("a.def"), text);
  every_allocation_may_fail([] {
    oxcTrConf* list = nullptr;
    const OX_RESULT result = oxcTrCreateList3(&list);
    oxcTrFreeConf(list);
    return result;
  });
}

}  // namespace
}  // namespace ox::test
