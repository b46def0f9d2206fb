// Command entries: the record, and every request about them byte for byte.
#include <oxbase/oxcmd.h>

#include "tests/entries/entry_peer.h"
#include "tests/support/traced.h"

namespace ox::test {
namespace {

using CommandTest = EntryTest;

std::string shown(const cmdEntry* record) {
  return fields_of(record, oxcmdCmdEntGetError, oxcmdCmdEntGetCmdEntryName, oxcmdCmdEntGetCmdName,
                   oxcmdCmdEntGetArgument, oxcmdCmdEntGetNextStartTime, oxcmdCmdEntGetStartTime, oxcmdCmdEntGetInterval,
                   oxcmdCmdEntGetAdminStatus, oxcmdCmdEntGetOperStatus, oxcmdCmdEntGetAttributeChange, oxcmdCmdEntGetID,
                   oxcmdCmdEntGetProcess, oxcmdCmdEntGetMode, oxcmdCmdEntGetOwner, oxcmdCmdEntGetSchedule,
                   oxcmdCmdEntGetInvalidCmdName, oxcmdCmdEntGetInvalidCmdArg);
}

cmdEntry* full_record(const char* name) {
  cmdEntry* const record = oxcmdEntryAlloc();
  EXPECT_EQ(0u,
            oxcmdCmdEntSetAllValues(record, 1, name, "cmd", "arg", 2, 3, 4, 1, 6, 7, 8, 9, 1, "me", "* 1", "no", "x"));
  return record;
}

// What is sent for it: the eight main attributes, and all.
std::string attributes(const std::string& name, std::string_view list) {
  return nodes("cmdEnt:" + name, "11.23", list);
}
std::string main_nodes(const std::string& name) {
  return attributes(name, "9='me' 1='cmd' 2='arg' 3=t3 4=4 8=1 7=0 5=1");
}
std::string all_nodes(const std::string& name, const char* mode = "1") {
  const std::string numbers = std::string(" 3=t3 4=4 8=") + mode + " 7=8 5=1";
  return attributes(name, "9='me' 1='cmd' 2='arg'" + numbers + " 10='* 1' 11='no' 12='x'");
}
const std::string unnamed = nodes("", "10.7", "1='cmdEnt'");
std::string named(const std::string& name) { return unnamed + nodes("", "10.7", "8='" + name + "'"); }
ReplyFields added(const std::string& name) { return {.data = nodes("", "10.7", "8='" + name + "'")}; }
std::string entry_name(const std::string& name) { return nodes("cmdEnt:" + name, "10.7", "30='" + name + "'"); }

TEST_F(CommandTest, FieldsAreSetTogetherAndOneByOne) {
  cmdEntry* const record = full_record("e");
  const std::string all = "1 e cmd arg 2 3 4 1 6 7 8 9 1 me * 1 no x ";
  EXPECT_EQ(all, shown(record));
  const char* owner = nullptr;
  oxcmdCmdEntGetOwner(record, &owner);
  EXPECT_EQ(0u, oxcmdCmdEntSetOwner(record, owner + 1)) << "a text of its own";
  EXPECT_EQ(0u, oxcmdCmdEntSetSchedule(record, nullptr));
  EXPECT_EQ(0u, oxcmdCmdEntSetMode(record, 0xFFFFFFFF));
  EXPECT_EQ("1 e cmd arg 2 3 4 1 6 7 8 9 4294967295 e - no x ", shown(record));
  const auto set_all = [&] {
    return oxcmdCmdEntSetAllValues(record, 0, "a", "b", "c", 0, 0, 0, 0, 0, 0, 0, 0, 0, "d", "e", "f", "g");
  };
  fail_allocation(3);
  EXPECT_EQ(3u, set_all());
  (void)stop_failing();
  EXPECT_EQ("1 e cmd arg 2 3 4 1 6 7 8 9 4294967295 e - no x ", shown(record));
  every_allocation_may_fail(set_all);
  oxcmdEntryFree(record);
}

TEST_F(CommandTest, OpenReadsWhatTheAnswerHas) {
  const std::string name63(63, 'n');
  const auto open = [&](const std::string& name, std::uint32_t error, const std::string& data) {
    cmdEntry* record = nullptr;
    const Steps steps = {{get_request("cmdEnt:" + name, "11.23", 0, 0), {.error = error, .data = data}}};
    const OX_RESULT result = run(steps, [&] { return oxcmdEntryOpen("mgr", name.c_str(), &record); });
    const std::string all = record != nullptr ? shown(record) : "";
    oxcmdEntryFree(record);
    return result == 0 ? all : '!' + std::to_string(result) + all;
  };
  const std::string every = attributes("e", "12='j' 11='i' 10='h' 9='g' 8=t8 7=7 6=6 5=5 4=4 3=t3 2='b' 1='a'");
  EXPECT_EQ("0 " + name63 + " a b 0 3 4 5 6 0 7 0 8 g h i j ", open(name63, 0, every));
  // A number as text, not four bytes as a number, no value, no type that has a text, paths of others.
  const std::string odd = node("11.23.1.0", number_value(5)) + node("11.23.4.0", half(8) + word(3) + "abc") + half(4) +
                          text("11.23.9.0") + node("11.23.2.0", half(99) + word(1) + "x") +
                          node("11.23.1", text_value("x")) + node("11.23.13.0", text_value("x"));
  EXPECT_EQ("0 e 5 - 0 0 0 0 0 0 0 0 0 - - - - ", open("e", 122, odd));
  EXPECT_EQ("!1", open("e", 0, node("11.23.1.0", text_value("c")) + half(0x40) + number_value(1)));
  EXPECT_EQ("!121", open("e", 84, every));
  EXPECT_EQ("!84", open("e", 84, ""));
  EXPECT_EQ("!122", open("e", 0, ""));
  cmdEntry* record = nullptr;
  EXPECT_EQ(59u, run({}, [&] { return oxcmdEntryOpen("mgr", (name63 + 'n').c_str(), &record); }));
  EXPECT_EQ(195u, run({}, [&] { return oxcmdEntryOpen("mgr", nullptr, &record); }));
  EXPECT_EQ(195u, run({}, [&] { return oxcmdEntryOpen("mgr", "e", nullptr); }));
}

TEST_F(CommandTest, EveryAttributeIsWrittenAlone) {
  using SetText = OX_RESULT(OX_CALL*)(const char*, const char*, const char*);
  using SetNumber = OX_RESULT(OX_CALL*)(const char*, const char*, std::uint32_t);
  const std::tuple<int, SetText> texts[] = {{1, oxcmdSetCmdName},         {2, oxcmdSetArgument},
                                            {9, oxcmdSetOwner},           {10, oxcmdSetSchedule},
                                            {11, oxcmdSetInvalidCmdName}, {12, oxcmdSetInvalidCmdArg}};
  const std::tuple<int, SetNumber> numbers[] = {{3, oxcmdSetStartTime},   {4, oxcmdSetInterval},
                                                {5, oxcmdSetAdminStatus}, {6, oxcmdSetOperStatus},
                                                {7, oxcmdSetID},          {8, oxcmdSetMode}};
  const auto path = [](int number) { return "11.23." + std::to_string(number) + ".0"; };
  for (const auto& [number, set] : texts) {
    for (const char* const value : {"v", static_cast<const char*>(nullptr)}) {
      const std::string nodes = node_of("cmdEnt", "e", path(number), text_value(value != nullptr ? value : ""));
      EXPECT_EQ(5u, run({{set_request(30, nodes), {.error = 5}}}, [&] { return set("mgr", "e", value); }));
    }
    EXPECT_EQ(1u, run({}, [&] { return set("mgr", nullptr, "v"); }));
  }
  for (const auto& [number, set] : numbers) {
    const std::string nodes = node_of("cmdEnt", "e", path(number), number_value(0x80000001, number == 3 ? 5 : 1));
    EXPECT_EQ(0u, run({{set_request(30, nodes)}}, [&] { return set("mgr", "e", 0x80000001); }));
    EXPECT_EQ(59u, run({}, [&] { return set("mgr", "", 1); }));
  }
  const Steps all = {{set_request(30, main_nodes("e"), "")}};
  EXPECT_EQ(0u, run(all, [] { return oxcmdSetAllData(nullptr, "e", "me", "cmd", "arg", 3, 4, 1, 1); }));
  EXPECT_EQ(1u, run({}, [] { return oxcmdSetAllData("mgr", nullptr, "me", "cmd", "arg", 3, 4, 1, 1); }));
}

// The entry is made, then written, and deleted again when that fails.
TEST_F(CommandTest, CreateAndDelete) {
  const Step add = {manage_request(39, unnamed), added("n1")};
  const std::string write = manage_request(41, entry_name("n1") + main_nodes("n1"));
  const Step remove = {manage_request(6, named("n1")), {.error = 84}};
  const char* name = "untouched";
  const auto create = [&] { return oxcmdCreateCmdEntry("mgr", "me", "cmd", "arg", 3, 4, 1, 1, &name); };
  EXPECT_EQ(70u, run({add, {write, {.error = 70}}, remove}, create));
  EXPECT_EQ(5u, run({{add.request, {.error = 5, .data = added("n1").data}}}, create));
  EXPECT_EQ(1u, run({{add.request, {.data = half(4) + text("10.7.8.0")}}}, create));
  EXPECT_EQ(1u, run({{add.request, {}}}, create));
  EXPECT_EQ(59u, run({{add.request, added(std::string(64, 'n'))}}, create));
  EXPECT_STREQ("untouched", name);
  EXPECT_EQ(0u, run({add, {write}}, create));
  EXPECT_STREQ("n1", name);
  for (const std::uint32_t missing : {0u, 1u, 2u, 3u, 4u}) {
    const auto unless = [&](std::uint32_t number, const char* text) { return missing == number ? nullptr : text; };
    EXPECT_EQ(1u, run({}, [&] {
                return oxcmdCreateCmdEntry("mgr", unless(1, "me"), unless(2, "cmd"), unless(3, "arg"), 3, 4, 1,
                                           missing == 0 ? 2 : 1, missing == 4 ? nullptr : &name);
              }));
  }
  EXPECT_EQ(0u, run({{remove.request}}, [] { return oxcmdDeleteCmdEntry("mgr", "n1"); }));
  EXPECT_EQ(1u, run({}, [] { return oxcmdDeleteCmdEntry("mgr", nullptr); }));
}

TEST_F(CommandTest, CreateFromARecord) {
  const auto create = [&](const char* name, Steps steps, OX_RESULT result) {
    cmdEntry* const record = full_record(name);
    cmdEntry* made = nullptr;
    EXPECT_EQ(result, run(steps, [&] { return oxcmdCreateNewCmdEntry("mgr", record, &made); }));
    EXPECT_EQ("1 " + std::string(name != nullptr ? name : "-") + " cmd arg 2 3 4 1 6 7 8 9 1 me * 1 no x ",
              shown(record));
    const std::string all = made != nullptr ? shown(made) : "";
    oxcmdEntryFree(record);
    oxcmdEntryFree(made);
    return all;
  };
  const Step write = {set_request(30, all_nodes("N"))};
  const Step add_named = {manage_request(39, named("n")), added("N")};
  const std::string copy = "0 N cmd arg 2 3 4 1 6 7 8 9 1 me * 1 no x ";
  EXPECT_EQ(copy, create("n", {add_named, write}, 0));
  EXPECT_EQ(copy, create(nullptr, {{manage_request(39, unnamed), added("N")}, write}, 0));
  EXPECT_EQ("", create("n", {{add_named.request, {.error = 207}}}, 207));
  const Steps undone = {add_named, {write.request, {.error = 70}}, {manage_request(6, named("N"))}};
  EXPECT_EQ("", create("n", undone, 70));
}

TEST_F(CommandTest, ListsOfRecords) {
  const auto records = [] {  // three: complete, without command and name, with no more than a name and what is needed
    cmdEntry* list = nullptr;
    cmdEntry* const first = full_record("a");
    oxcmdCmdEntSetMode(first, 0);
    cmdEntry* const second = full_record(nullptr);
    oxcmdCmdEntSetCmdName(second, nullptr);
    cmdEntry* const third = oxcmdEntryAlloc();
    oxcmdCmdEntSetCmdEntryName(third, "c");
    for (const auto set : {oxcmdCmdEntSetOwner, oxcmdCmdEntSetArgument, oxcmdCmdEntSetCmdName}) set(third, "");
    for (cmdEntry* const record : {first, second, third}) oxcQueueAdd(&list, record);
    return list;
  };
  const auto names_and_errors = [](const cmdEntry* list) {
    std::string all;
    for (const Queue* link = reinterpret_cast<const Queue*>(list); link != nullptr; link = link->next) {
      const std::string one = shown(reinterpret_cast<const cmdEntry*>(link));
      all += one.substr(0, one.find(' ', one.find(' ') + 1)) + ", ";
    }
    return all;
  };
  using Form = OX_RESULT(OX_CALL*)(const char*, cmdEntry*, cmdEntry**);
  const auto apply = [&](Form form, const Steps& steps, bool wanted) {
    cmdEntry* const list = records();
    cmdEntry* results = nullptr;
    const OX_RESULT result = run(steps, [&] { return form("mgr", list, wanted ? &results : nullptr); });
    const std::string all = std::to_string(result) + ": " + names_and_errors(list) + "-> " + names_and_errors(results);
    oxcmdEntryFree(list);
    oxcmdEntryFree(results);
    return all;
  };
  const std::string first = attributes("N", "9='me' 1='cmd' 2='arg' 3=t3 4=4 8=2 7=0 5=1");
  const Steps create = {{manage_request(39, unnamed), added("N")},
                        {manage_request(41, entry_name("N") + first)},
                        {manage_request(39, unnamed), {.error = 84}}};
  EXPECT_EQ("121: 0 a, 1 -, 84 c, -> 0 N, 1 -, 84 c, ", apply(oxcmdCreate, create, true));
  const Steps remove = {{manage_request(6, named("a")), {.error = 3}}, {manage_request(6, named("c"))}};
  EXPECT_EQ("3: 3 a, 1 -, 0 c, -> 3 a, 1 -, 0 c, ", apply(oxcmdDelete, remove, true));
  const std::string third = attributes("c", "9='' 1='' 2='' 3=t0 4=0 8=0 7=0 5=0");
  const Steps write = {{set_request(30, all_nodes("a", "0"))}, {set_request(30, third)}};
  EXPECT_EQ("121: 0 a, 1 -, 0 c, -> ", apply(oxcmdSet, write, false));
  EXPECT_EQ(1u, run({}, [] { return oxcmdSet("mgr", nullptr, nullptr); }));
}

TEST_F(CommandTest, EntriesAreOpenedOneAfterTheOther) {
  const std::string ask = get_request("cmdEnt:*", "11.1.1.0", 0, 0);
  const ReplyFields two = {.data = node_of("cmdEnt", "b", "11.1.1.0", text_value("other")) + half(4) +
                                   text("11.1.1.0") + node("11.1.1.0", text_value("a"))};
  const ReplyFields seven = {.data = node("11.23.7.0", number_value(7))};
  cmdEntryList* list = nullptr;
  EXPECT_EQ(0u, run({{ask, two}}, [&] { return oxcmdEntryListOpen("mgr", &list); }));
  const auto next = [&](const Steps& steps, OX_RESULT result) {
    cmdEntry* record = oxcmdEntryAlloc();
    cmdEntry* const before = record;
    EXPECT_EQ(result, run(steps, [&] { return oxcmdEntryNextOpen(list, &record); }));
    const std::string all = record == nullptr ? "none" : shown(record).substr(0, 4);
    if (record != before) oxcmdEntryFree(record);
    oxcmdEntryFree(before);
    return all;
  };
  const std::string first = get_request("cmdEnt:b", "11.23", 0, 0);
  EXPECT_EQ("0 - ", next({{first, {.error = 84}}}, 84));
  EXPECT_EQ("0 b ", next({{first, seven}}, 0));
  EXPECT_EQ("0 a ", next({{get_request("cmdEnt:a", "11.23", 0, 0), seven}}, 0));
  EXPECT_EQ("none", next({}, 0));
  oxcmdEntryListClose(list);
  EXPECT_EQ(121u, run({{ask, {.error = 84, .data = two.data}}}, [&] { return oxcmdEntryListOpen("mgr", &list); }));
  EXPECT_EQ(0u, run({{ask, {.error = 122}}}, [&] { return oxcmdEntryListOpen("mgr", &list); }));
  EXPECT_EQ(nullptr, list);
  EXPECT_EQ("none", next({}, 0));
  EXPECT_EQ(195u, oxcmdEntryListOpen("mgr", nullptr));
  EXPECT_EQ(195u, oxcmdEntryNextOpen(nullptr, nullptr));
}

TEST_F(CommandTest, EveryAllocationMayFail) {
  const std::string long_text = text_value(std::string(300, 'c'));
  peer.otherwise(reply_bytes({.data = node_of("cmdEnt", "n1", "11.23.2.0", text_value("n1")) +
                                      node_of("cmdEnt", "n2", "11.23.1.0", long_text)}));
  cmdEntry* const record = full_record("e");
  every_allocation_may_fail(oxcmdEntryFree, [](cmdEntry** made) { return oxcmdEntryOpen("mgr", "e", made); });
  every_allocation_may_fail(oxcmdEntryFree,
                            [&](cmdEntry** made) { return oxcmdCreateNewCmdEntry("mgr", record, made); });
  every_allocation_may_fail(oxcmdEntryFree, [&](cmdEntry** made) { return oxcmdCreate("mgr", record, made); });
  every_allocation_may_fail(oxcmdEntryFree, [&](cmdEntry** made) { return oxcmdSet("mgr", record, made); });
  every_allocation_may_fail(oxcmdEntryFree, [](cmdEntry** made) {
    cmdEntryList* list = nullptr;
    OX_RESULT result = oxcmdEntryListOpen("mgr", &list);
    if (result == 0) result = oxcmdEntryNextOpen(list, made);
    oxcmdEntryListClose(list);
    return result;
  });
  oxcmdEntryFree(record);
}

TEST_F(CommandTest, Traces) {
  const auto run_all = [] {
    const char* name = nullptr;
    (void)oxcmdEntryOpen("mgr", nullptr, nullptr);
    (void)oxcmdCreateCmdEntry(nullptr, "me", "c", "a", 1, 2, 3, 4, nullptr);
    (void)oxcmdSetMode("mgr", nullptr, 2);
    (void)oxcmdCmdEntGetOwner(nullptr, &name);
  };
  EXPECT_EQ(
      "<S:oxcmdEntryOpen(mgr,(null),0x0)>\n<E:oxcmdEntryOpen[195]>\n"
      "<S:oxcmdCreateCmdEntry((null),me,c,a,1,2,3,4,0x0)>\n<E:oxcmdCreateCmdEntry[1]>\n"
      "<S:oxcmdSetMode(mgr,(null),2)>\n<E:oxcmdSetMode[1]>\n"
      "<S:oxcmdCmdEntGetOwner(0x0)>\n<E:oxcmdCmdEntGetOwner[1]>\n",
      traced(0x4, run_all));
}

}  // namespace
}  // namespace ox::test
