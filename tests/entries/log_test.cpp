// Log entries: the record, and every request about them byte for byte.
#include <oxbase/oxl.h>

#include "tests/entries/entry_peer.h"
#include "tests/support/code_page.h"
#include "tests/support/traced.h"

namespace ox::test {
namespace {

std::string attributes(const std::string& name, std::string_view list) {
  return nodes("logEnt:" + name, "11.14", list);
}
std::string shown(const LogEntry* record) {
  return fields_of(record, oxlLogEntryGetName, oxlLogEntryGetTitle, oxlLogEntryGetKey, oxlLogEntryGetID,
                   oxlLogEntryGetCompName, oxlLogEntryGetAmibName, oxlLogEntryGetStartTime, oxlLogEntryGetInterval,
                   oxlLogEntryGetRotatePeriod, oxlLogEntryGetExpirePeriod, oxlLogEntryGetStatus,
                   oxlLogEntryGetActiveDataEntry, oxlLogEntryGetLastCollectTime, oxlLogEntryGetLastDentID,
                   oxlLogEntryGetAttr15, oxlLogEntryGetSchedule, oxlLogEntryGetScheduleType);
}
const std::string unnamed = nodes("", "10.7", "1='logEnt'");
const ReplyFields added = {.data = nodes("", "10.7", "8='new'")};

class LogTest : public EntryTest {
 protected:
  // What the manager is asked and tells when "e" is opened.
  [[nodiscard]] static Steps opening(ReplyFields answer, std::uint32_t option = 2) {
    return {{lock_request("logEnt:e", option), {.source_id = 9}}, {get_request("logEnt:e", "11.14", 0, 20), answer}};
  }
  [[nodiscard]] LogEntry* opened(const std::string& data) {
    LogEntry* record = nullptr;
    EXPECT_EQ(0u, run(opening({.data = data}), [&] { return oxlLogEntryOpen("mgr", "e", 2, &record); }));
    return record;
  }

  const std::string title = attributes("e", "1='t'");
  const Step local_unlock = {unlock_request(9, "")};
  const Step manager_unlock = {unlock_request(9, "mgr"), {.error = 5}};
};

TEST_F(LogTest, OpenReadsWhatTheAnswerHas) {
  const std::string every = attributes(
      "e", "1='a' 2='b' 3=3 4='d' 5='e' 6=t6 7='g' 8='h' 9='i' 10=10 11='k' 12=t12 13=13 14=14 15=15 16='p' 17=17");
  LogEntry* record = opened(every);
  EXPECT_EQ("e a b 3 d e 6 g h i 10 k 12 13 15 p 17 ", shown(record));
  EXPECT_EQ(0u, run({local_unlock}, [&] { return oxlLogEntryClose(record); })) << "nothing has been set";
  const std::string odd = half(0x40) + text_value("x") + attributes("e", "3='abc'") + half(4) + text("11.14.1.0") +
                          node("11.14.1", text_value("x"));
  record = opened(odd + node("11.14.7.0", number_value(5)));
  EXPECT_EQ("e - - 0 - - 0 5 - - 0 - 0 0 0 - 0 ", shown(record)) << "what does not fit is passed over";
  EXPECT_EQ(0u, run({manager_unlock}, [&] { return oxlLogEntryClose2("mgr", record); }));
  const auto snapshot = [&] { return oxlGetLogEntry("mgr", "e", &record); };
  EXPECT_EQ(0u, run(plus(opening({.data = title}, 1), {manager_unlock}), snapshot));
  EXPECT_EQ(0u, run({}, [&] { return oxlLogEntryClose(record); })) << "it has no lock";
}

TEST_F(LogTest, OpenFails) {
  LogEntry* record = nullptr;
  const auto open = [&] { return oxlLogEntryOpen("mgr", "e", 2, &record); };
  const auto snapshot = [&] { return oxlGetLogEntry("mgr", "e", &record); };
  EXPECT_EQ(84u, run({{opening({})[0].request, {.error = 84}}}, open));
  EXPECT_EQ(158u, run(plus(opening({.error = 158}), {manager_unlock}), open));
  EXPECT_EQ(0u, run(plus(opening({.error = 122}), {manager_unlock}), open)) << "success, and no record";
  EXPECT_EQ(0u, run(plus(opening({}, 1), {manager_unlock}), snapshot));
  const std::string name64(64, 'n');
  EXPECT_EQ(59u, run({}, [&] { return oxlLogEntryOpen("mgr", name64.c_str(), 1, &record); }));
  EXPECT_EQ(195u, run({}, [] { return oxlGetLogEntry("mgr", "e", nullptr); }));
  EXPECT_EQ(nullptr, record);
}

// Each setter with what it sends, in the order of the set; whether the manager is to plan anew.
TEST_F(LogTest, ACloseWritesWhatHasBeenSet) {
  const std::tuple<std::function<OX_RESULT(LogEntry*)>, std::string, bool> cases[] = {
      {[](auto* r) { return oxlLogEntrySetTitle(r, "v"); }, "1='v'", false},
      {[](auto* r) { return oxlLogEntrySetCompName(r, ""); }, "4=''", true},
      {[](auto* r) { return oxlLogEntrySetAmibName(r, "v"); }, "5='v'", true},
      {[](auto* r) { return oxlLogEntrySetStartTime(r, 8); }, "6=t8", true},
      {[](auto* r) { return oxlLogEntrySetInterval(r, "v"); }, "7='v'", true},
      {[](auto* r) { return oxlLogEntrySetRotatePeriod(r, "v"); }, "8='v'", false},
      {[](auto* r) { return oxlLogEntrySetExpirePeriod(r, "v"); }, "9='v'", false},
      {[](auto* r) { return oxlLogEntrySetType(r, 1); }, "10=3", false},
      {[](auto* r) { return oxlLogEntrySetSchedule(r, "v"); }, "16='v'", true},
      {[](auto* r) { return oxlLogEntrySetScheduleType(r, 0); }, "17=0", false}};
  LogEntry* const all = opened(title);
  std::string written;
  for (const auto& [set, list, plans] : cases) {
    LogEntry* const record = opened(title);
    EXPECT_EQ(0u, set(record));
    const Steps steps = {{set_request(20, attributes("e", list + (plans ? " 14=1" : "")))}, local_unlock};
    EXPECT_EQ(0u, run(steps, [&] { return oxlLogEntryClose(record); })) << list;
    EXPECT_EQ(0u, set(all));
    written += list + ' ';
  }
  const Steps steps = {{set_request(20, attributes("e", written + "14=1"))}, local_unlock};
  EXPECT_EQ(0u, run(steps, [&] { return oxlLogEntryClose(all); }));

  LogEntry* const record = opened(attributes("e", "1='t' 6=t8 10=2"));
  for (const OX_RESULT result :
       {oxlLogEntrySetTitle(record, "t"), oxlLogEntrySetTitle(record, nullptr), oxlLogEntrySetStartTime(record, 8),
        oxlLogEntrySetType(record, 1), oxlLogEntrySetScheduleType(record, 2)}) {
    EXPECT_EQ(0u, result);
  }
  EXPECT_EQ(0u, run({local_unlock}, [&] { return oxlLogEntryClose(record); })) << "nothing has changed";
}

TEST_F(LogTest, TheTwoClosesWhenWritingFails) {
  const Step write = {set_request(20, attributes("e", "10=4")), {.error = 70}};
  LogEntry* record = opened(title);
  oxlLogEntrySetType(record, 7);
  const auto close = [&] { return oxlLogEntryClose(record); };
  const auto close2 = [&] { return oxlLogEntryClose2("mgr", record); };
  EXPECT_EQ(70u, run({write}, close)) << "the lock stays";
  EXPECT_EQ(70u, run({write, manager_unlock}, close2));
  EXPECT_EQ(70u, run({write}, close2)) << "it has gone";
  EXPECT_EQ(0u, run({{write.request}}, close));
  ASSERT_EQ(0u, oxlAllocLogEntry(&record));
  EXPECT_EQ("- No Title - 0   0 10m 1D 1W 0 - 0 0 0 - 0 ", shown(record));
  EXPECT_EQ(59u, run({}, close)) << "without a name";
  EXPECT_EQ(0u, oxlFreeLogEntry(record));
}

TEST_F(LogTest, SetWritesACopy) {
  const Step add = {manage_request(5, unnamed), added};
  const std::string schedule = get_request("schEnt:LogDefault", "obj.schEnt.schEntSchedule.0", 28, 0);
  const std::string defaults = attributes("new", "1='No Title' 4='' 5='' 7='10m' 8='1D' 9='1W'");
  const std::string planned = attributes("new", "16='* 1' 17=0 14=1");
  for (const bool has_schedule : {true, false}) {
    LogEntry* record = nullptr;
    ASSERT_EQ(0u, oxlAllocLogEntry(&record));
    const ReplyFields default_schedule = {.error = has_schedule ? 0u : 84u,
                                          .data = has_schedule ? node("11.24.1.0", text_value("* 1")) : ""};
    const Step write = {set_request(20, defaults + (has_schedule ? planned : attributes("new", "14=1"))), {.error = 5}};
    const auto set = [&] { return oxlSetLogEntry("mgr", record); };
    EXPECT_EQ(5u, run({add, {schedule, default_schedule}, write}, set));
    EXPECT_EQ(0u, run({{write.request}}, set)) << "it has a name now";
    EXPECT_EQ(0u, oxlFreeLogEntry(record));
  }
  LogEntry* const record = opened(title);
  oxlLogEntrySetTitle(record, "v");
  const Steps write = {{set_request(20, attributes("e", "1='v'"))}};
  EXPECT_EQ(0u, run(write, [&] { return oxlSetLogEntry("mgr", record); })) << "the lock stays the caller's";
  EXPECT_EQ(0u, run(plus(write, {local_unlock}), [&] { return oxlLogEntryClose(record); }));
}

class ComposedLogText : public InBothPages<LogTest> {};
OX_IN_BOTH_PAGES(ComposedLogText);

TEST_P(ComposedLogText, CreateAndCopy) {
  const Step add = {manage_request(5, unnamed), added};
  const Step remove = {manage_request(14, unnamed + added.data)};
  LogEntry* record = nullptr;
  EXPECT_EQ(0u, run({add}, [&] { return oxlLogEntryCreate("mgr", &record); }));
  EXPECT_EQ("new - - 0 - - 0 - - - 0 - 0 0 0 - 0 ", shown(record));
  oxlLogEntrySetTitle(record, "v");
  EXPECT_EQ(0u, run({{set_request(20, attributes("new", "1='v'"), "")}}, [&] { return oxlLogEntryClose(record); }));

  const std::string ask = get_request("logEnt:e", "11.14.{1,4,5,6,7,8,9,10,12,13,16,17}", 26, 20);
  const std::string timed = half(0x27F) + text("e") + text("logEnt") + text("11.14.6.0") + word(1) + word(2) + word(3) +
                            half(0) + number_value(8, 5);
  const auto data = [&](const std::string& status) {
    return attributes("e", "1='A'") + timed + half(4) + text("11.14.4.0") +
           attributes("e", "10=" + status + " 12=5 13=6");
  };
  const auto write = [&](const std::string& status) {
    const std::string rest = " 6=t8 10=" + status + " 12=0 13=0 14=1";
    return set_request(20, attributes("new", in_page("1='A(コピー)'") + rest));
  };
  const char* name = "untouched";
  const auto copy = [&] { return oxlLogEntryCopy("mgr", "e", &name); };
  EXPECT_EQ(84u, run({add, {ask, {.error = 84}}, remove}, copy));
  EXPECT_EQ(5u, run({add, {ask, {.data = data("2")}}, {write("3"), {.error = 5}}, remove}, copy));
  EXPECT_EQ(195u, run({}, [&] { return oxlLogEntryCopy("mgr", "", &name); }));
  EXPECT_STREQ("untouched", name);
  EXPECT_EQ(0u, run({add, {ask, {.data = data("4")}}, {write("4")}}, copy));
  EXPECT_STREQ("new", name);
}

TEST_F(LogTest, DeleteStartAndStop) {
  const Step remove = {manage_request(14, unnamed + added.data), {.error = 84}};
  EXPECT_EQ(84u, run({remove}, [] { return oxlDeleteLogEntry("mgr", "new"); }));
  EXPECT_EQ(269u, run({}, [] { return oxlLogEntryDelete("mgr", "_logEnt1"); }));
  const std::string ask = get_request("logEnt:e", "11.14.10.0", 0, 20);
  for (const auto& [start, status] : {std::pair{&oxlStartLogEntry, "10=2"}, {&oxlStopLogEntry, "10=3"}}) {
    const auto call = [run_it = start] { return run_it("mgr", "e"); };
    const Step write = {set_request(20, attributes("e", status)), {.error = 195}};
    EXPECT_EQ(195u, run({{ask, {.data = node("11.14.10.0", number_value(2))}}, write}, call));
    EXPECT_EQ(279u, run({{ask, {.data = node("11.14.10.0", number_value(4))}}}, call));
    EXPECT_EQ(122u, run({{ask, {.error = 122}}}, call));
  }
}

TEST_F(LogTest, Lists) {
  const std::string ask = get_request("logEnt:*", "11.14.3.0", 0, 20);
  const ReplyFields three = {.data = attributes("late", "3=2147483648") + attributes("e", "3=7") +
                                     nodes("", "11.14", "3=7") + attributes("x", "3='abc'")};
  LogEntryList* list = nullptr;
  const auto open_list = [&] { return oxlLogEntryListOpen("mgr", &list); };
  EXPECT_EQ(0u, run({{ask, three}}, open_list));
  LogEntry* record = nullptr;
  const auto next = [&] { return oxlLogEntryNextOpen(list, 2, &record); };
  EXPECT_EQ(84u, run({{opening({})[0].request, {.error = 84}}}, next));
  EXPECT_EQ(0u, run(opening({.data = title}), next)) << "the same again";
  EXPECT_EQ(0u, run({local_unlock}, [&] { return oxlLogEntryClose(record); }));
  EXPECT_EQ(5u, run({{lock_request("logEnt:late", 2), {.error = 5}}}, next));
  EXPECT_EQ(0u, oxlLogEntryListClose(list));
  EXPECT_EQ(0u, run({{ask, {}}}, open_list));
  EXPECT_EQ(nullptr, list);
  EXPECT_EQ(0u, run({}, next));
  EXPECT_EQ(nullptr, record);

  const char* name = "untouched";
  const auto find = [&] { return oxlLogEntryIDtoName("mgr", 7, &name); };
  EXPECT_EQ(183u, run({{ask, {.error = 122}}}, find));
  EXPECT_EQ(183u, run({{ask, {.data = attributes("x", "3=8")}}}, find));
  EXPECT_STREQ("untouched", name);
  EXPECT_EQ(0u, run({{ask, three}}, find));
  EXPECT_STREQ("e", name);
  dnode* names = nullptr;
  const auto get_names = [&] { return oxlGetLogEntryNameList("mgr", &names); };
  EXPECT_EQ(0u, run({{get_request("logEnt:*", "obj.cmn.cmnName.0", 28, 0), three}}, get_names));
  oxdFree(names);
}

TEST_F(LogTest, FailingCollectionsAreTold) {
  static std::string told;
  told.clear();
  const auto callback = [](std::uint32_t code, const char* name, std::uint32_t zero) {
    told += std::to_string(code) + ':' + name + ':' + std::to_string(zero) + ' ';
  };
  void* handle = nullptr;
  peer.answer(reply_bytes({.source_id = 5}));
  ASSERT_EQ(0u, oxlInit("mgr", callback, &handle));
  take_id();
  EXPECT_EQ(request_bytes({.command = 2,
                           .session = std::string("mgr\0", 4),
                           .source = id,
                           .body = text("system:system") + text("10.6.9.0") + word(88) + word(20) + half(0)}),
            sent);
  std::string lines;
  for (const char* const line : {"ERROR 158 \"log 1\" \"node:a\" 1.3", "ERROR 7", "error 7 x y", "ERROR 12x b",
                                 "ERROR 3 c 4 5 6 7 8 9 10 11 12", "", "ERROR 4 'open"}) {
    lines += node("10.6.9.0", text_value(line));
  }
  deliver({{.command = 2, .data = lines + half(4) + text("10.6.9.0")}, {.command = 2, .error = 166}});
  EXPECT_EQ("158:log 1:0 12:b:0 3:c:0 4:open:0 ", told);
  EXPECT_EQ(195u, oxlInit("mgr", nullptr, &handle));
  EXPECT_EQ(0u, oxaClose(handle));
}

TEST_F(LogTest, EveryAllocationMayFail) {
  const std::string long_text = text_value(std::string(300, 't'));
  peer.otherwise(reply_bytes(
      {.source_id = 9,
       .data = attributes("e", "16='e'") + node_of("logEnt", "e", "11.14.1.0", long_text) + attributes("e", "3=1")}));
  const char* name = nullptr;
  every_allocation_may_fail(oxlFreeLogEntry, [&](LogEntry** record) {
    OX_RESULT result = oxlAllocLogEntry(record);
    if (result == 0) result = oxlSetLogEntry("mgr", *record);
    if (result == 0) result = oxlLogEntryCopy("mgr", "e", &name);
    return result;
  });
  every_allocation_may_fail(oxlFreeLogEntry, [&](LogEntry** record) {
    LogEntryList* list = nullptr;
    OX_RESULT result = oxlLogEntryListOpen("mgr", &list);
    if (result == 0) result = oxlLogEntryNextOpen(list, 1, record);
    oxlLogEntryListClose(list);
    if (result == 0) result = oxlLogEntryIDtoName("mgr", 1, &name);
    return result;
  });
}

TEST_F(LogTest, Traces) {
  const auto run_all = [] {
    (void)oxlLogEntryDelete(nullptr, "_logEnt1");
    (void)oxlStopLogEntry("mgr", nullptr);
  };
  EXPECT_EQ(
      "<S:oxlLogEntryDelete((null),_logEnt1)>\n<S:oxlLogEntryDelete[269]>\n"
      "<S:oxlStopLogEntry(mgr,(null))>\n<S:oxlLogEntryStop(mgr,(null))>\n<E:oxlLogEntryGetData{195]>\n"
      "<E:oxlStopLogEntry[195]>\n",
      traced(0x40, run_all));
}

}  // namespace
}  // namespace ox::test
