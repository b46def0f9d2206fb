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
            oxcmdCmdEntSetAllValues(record, 1, name, "cmd", "arg", 2, 3, 4, 1, 6, 7, 8, 9, 0, "me", "* 1", "no", "x"));
  return record;
}

// What is sent for it: the eight main attributes, and all.
std::string attributes(const std::string& name, std::string_view list) {
  return nodes("cmdEnt:" + name, "11.23", list);
}
std::string main_nodes(const std::string& name, const std::string& mode = "1") {
  return attributes(name, "9='me' 1='cmd' 2='arg' 3=t3 4=4 8=" + mode + " 7=0 5=1");
}
std::string all_nodes(const std::string& name) {
  return attributes(name, "9='me' 1='cmd' 2='arg' 3=t3 4=4 8=0 7=8 5=1 10='* 1' 11='no' 12='x'");
}
const std::string unnamed = nodes("", "10.7", "1='cmdEnt'");
std::string named(const std::string& name) { return unnamed + nodes("", "10.7", "8='" + name + "'"); }
ReplyFields added(const std::string& name) { return {.data = nodes("", "10.7", "8='" + name + "'")}; }
std::string entry_name(const std::string& name) { return nodes("cmdEnt:" + name, "10.7", "30='" + name + "'"); }

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
}

TEST_F(CommandTest, AttributesAreWritten) {
  const Steps text = {{set_request(30, attributes("e", "10=''")), {.error = 5}}};
  EXPECT_EQ(5u, run(text, [] { return oxcmdSetSchedule("mgr", "e", nullptr); }));
  const Steps number = {{set_request(30, attributes("e", "3=t2147483649"))}};
  EXPECT_EQ(0u, run(number, [] { return oxcmdSetStartTime("mgr", "e", 0x80000001); }));
  EXPECT_EQ(59u, run({}, [] { return oxcmdSetMode("mgr", "", 1); }));
  const Steps all = {{set_request(30, main_nodes("e"), "")}};
  EXPECT_EQ(0u, run(all, [] { return oxcmdSetAllData(nullptr, "e", "me", "cmd", "arg", 3, 4, 1, 1); }));
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
  EXPECT_EQ(1u, run({}, [&] { return oxcmdCreateCmdEntry("mgr", "me", "cmd", "arg", 3, 4, 1, 2, &name); }));
  EXPECT_EQ(1u, run({}, [&] { return oxcmdCreateCmdEntry("mgr", "me", "cmd", nullptr, 3, 4, 1, 1, &name); }));
  EXPECT_STREQ("untouched", name);
  EXPECT_EQ(0u, run({add, {write}}, create));
  EXPECT_STREQ("n1", name);
}

TEST_F(CommandTest, CreateFromARecord) {
  const auto create = [&](const char* name, Steps steps, OX_RESULT result) {
    cmdEntry* const record = full_record(name);
    cmdEntry* made = nullptr;
    EXPECT_EQ(result, run(steps, [&] { return oxcmdCreateNewCmdEntry("mgr", record, &made); }));
    const std::string all = made != nullptr ? shown(made) : "";
    oxcmdEntryFree(record);
    oxcmdEntryFree(made);
    return all;
  };
  const Step write = {set_request(30, all_nodes("N"))};
  const Step add_named = {manage_request(39, named("n")), added("N")};
  const std::string copy = "0 N cmd arg 2 3 4 1 6 7 8 9 0 me * 1 no x ";
  EXPECT_EQ(copy, create("n", {add_named, write}, 0));
  EXPECT_EQ(copy, create(nullptr, {{manage_request(39, unnamed), added("N")}, write}, 0));
  EXPECT_EQ("", create("n", {{add_named.request, {.error = 207}}}, 207));
  const Steps undone = {add_named, {write.request, {.error = 70}}, {manage_request(6, named("N"))}};
  EXPECT_EQ("", create("n", undone, 70));
}

TEST_F(CommandTest, ListsOfRecords) {
  const auto names_and_errors = [](cmdEntry* list) {
    std::string all;
    for (Queue* link = reinterpret_cast<Queue*>(list); link != nullptr; link = link->next) {
      const std::string one = shown(reinterpret_cast<cmdEntry*>(link));
      all += one.substr(0, one.find(' ', one.find(' ') + 1)) + ", ";
    }
    oxcmdEntryFree(list);
    return all;
  };
  using Form = OX_RESULT(OX_CALL*)(const char*, cmdEntry*, cmdEntry**);
  const auto apply = [&](Form form, const Steps& steps, bool wanted) {
    cmdEntry *list = nullptr, *results = nullptr;
    for (const char* const name : {"a", static_cast<const char*>(nullptr), "c"}) {
      cmdEntry* const record = full_record(name);
      if (name == nullptr) oxcmdCmdEntSetCmdName(record, nullptr);
      oxcQueueAdd(&list, record);
    }
    const OX_RESULT result = run(steps, [&] { return form("mgr", list, wanted ? &results : nullptr); });
    return std::to_string(result) + ": " + names_and_errors(list) + "-> " + names_and_errors(results);
  };
  const Steps create = {{manage_request(39, unnamed), added("N")},
                        {manage_request(41, entry_name("N") + main_nodes("N", "2"))},
                        {manage_request(39, unnamed), {.error = 84}}};
  EXPECT_EQ("121: 0 a, 1 -, 84 c, -> 0 N, 1 -, 84 c, ", apply(oxcmdCreate, create, true));
  const Steps remove = {{manage_request(6, named("a")), {.error = 3}}, {manage_request(6, named("c"))}};
  EXPECT_EQ("3: 3 a, 1 -, 0 c, -> 3 a, 1 -, 0 c, ", apply(oxcmdDelete, remove, true));
  const Steps write = {{set_request(30, all_nodes("a"))}, {set_request(30, all_nodes("c"))}};
  EXPECT_EQ("121: 0 a, 1 -, 0 c, -> ", apply(oxcmdSet, write, false));
}

TEST_F(CommandTest, EntriesAreOpenedOneAfterTheOther) {
  const std::string ask = get_request("cmdEnt:*", "11.1.1.0", 0, 0);
  const ReplyFields two = {.data = node_of("cmdEnt", "b", "11.1.1.0", text_value("other")) + half(4) +
                                   text("11.1.1.0") + node("11.1.1.0", text_value("a"))};
  cmdEntryList* list = nullptr;
  cmdEntry* record = nullptr;
  EXPECT_EQ(0u, run({{ask, two}}, [&] { return oxcmdEntryListOpen("mgr", &list); }));
  const auto next = [&] { return oxcmdEntryNextOpen(list, &record); };
  for (const std::string name : {"b", "a"}) {
    const Steps steps = {{get_request("cmdEnt:" + name, "11.23", 0, 0), {.data = attributes(name, "7=7")}}};
    EXPECT_EQ(0u, run(steps, next));
    oxcmdEntryFree(record);
  }
  EXPECT_EQ(0u, run({}, next));
  EXPECT_EQ(nullptr, record);
  oxcmdEntryListClose(list);
  EXPECT_EQ(0u, run({{ask, {.error = 122}}}, [&] { return oxcmdEntryListOpen("mgr", &list); }));
  EXPECT_EQ(nullptr, list);
}

TEST_F(CommandTest, EveryAllocationMayFail) {
  const std::string long_text = text_value(std::string(300, 'c'));
  peer.otherwise(reply_bytes({.data = node_of("cmdEnt", "n1", "11.23.2.0", text_value("n1")) +
                                      node_of("cmdEnt", "n2", "11.23.1.0", long_text)}));
  cmdEntry* const record = full_record("e");
  every_allocation_may_fail(oxcmdEntryFree,
                            [&](cmdEntry** made) { return oxcmdCreateNewCmdEntry("mgr", record, made); });
  every_allocation_may_fail(oxcmdEntryFree, [&](cmdEntry** made) { return oxcmdCreate("mgr", record, made); });
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
    (void)oxcmdEntryOpen("mgr", nullptr, nullptr);
    (void)oxcmdCmdEntGetOwner(nullptr, nullptr);
  };
  EXPECT_EQ(
      "<S:oxcmdEntryOpen(mgr,(null),0x0)>\n<E:oxcmdEntryOpen[195]>\n"
      "<S:oxcmdCmdEntGetOwner(0x0)>\n<E:oxcmdCmdEntGetOwner[1]>\n",
      traced(0x4, run_all));
}

}  // namespace
}  // namespace ox::test
