// Data entries: the record, its texts, and every request about them byte for byte.
#include <oxbase/oxl.h>

#include "platform/environment.h"
#include "tests/entries/entry_peer.h"
#include "tests/support/code_page.h"

namespace ox::test {
namespace {

std::string component(const std::string& type, const std::string& name) {
  return nodes("", "10.7", "1='" + type + "' 8='" + name + "'");
}

class DataTest : public EntryTest {
 protected:
  [[nodiscard]] static Step get_number(std::string_view whose, std::string_view path, std::uint32_t value) {
    return {get_request(whose, path, 0, 20), {.data = node(path, number_value(value))}};
  }
  [[nodiscard]] static Step set_number(std::string_view type, std::string_view name, std::string_view path,
                                       std::uint32_t value) {
    return {set_request(20, node_of(type, name, path, number_value(value)))};
  }
  // The query for the components related to one, answered with their names.
  [[nodiscard]] static Step related(const std::string& type, const std::string& name, std::string_view answer) {
    return {manage_request(
                10, nodes("", "10.7", "4='logEnt-dataEnt'") + component(type, name) + half(4) + text("10.7.7.0")),
            {.error = answer.empty() ? 122u : 0u, .data = nodes("", "10.7", answer)}};
  }
  [[nodiscard]] static Step relation(std::uint32_t code, const std::string& log_entry, const std::string& name) {
    return {manage_request(code, nodes("", "10.7", "4='logEnt-dataEnt'") + between("logEnt", log_entry, name))};
  }
  [[nodiscard]] static std::string between(const std::string& from_type, const std::string& from,
                                           const std::string& to) {
    return nodes("", "10.7", "2='" + from_type + "' 9='" + from + "' 3='dataEnt' 10='" + to + "'");
  }
  // The call fails with each of its steps, and undoes what those before have done.
  void expect_undone(const Steps& all, const std::function<OX_RESULT()>& call,
                     const std::function<void(std::size_t, Steps&)>& undo) {
    for (std::size_t end = 0; end < all.size(); ++end) {
      SCOPED_TRACE(end);
      Steps steps(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(end));
      steps.push_back(failing({all[end].request}));
      undo(end, steps);
      EXPECT_EQ(5u, run(steps, call));
    }
  }
  [[nodiscard]] static Step failing(Step step, std::uint32_t error = 5) {
    step.reply.error = error;
    return step;
  }
};

std::string shown(const DataEntry* record) {
  return fields_of(record, oxlDataEntryGetName, oxlDataEntryGetEntryName, oxlDataEntryGetLogEntryKey,
                   oxlDataEntryGetCompName, oxlDataEntryGetAmibName, oxlDataEntryGetInterval, oxlDataEntryGetLocalTime,
                   oxlDataEntryGetID, oxlDataEntryGetStartTime, oxlDataEntryGetStatus, oxlDataEntryGetPeriodStart,
                   oxlDataEntryGetPeriodEnd, oxlDataEntryGetDataSize);
}

TEST_F(DataTest, OpenReadsWhatTheAnswerHas) {
  const std::string every =
      nodes("dataEnt:d", "11.15", "1='a' 2='b' 3=3 4=t4 5='e' 6='f' 7='g' 8=8 9='i' 10='j' 11=t11 12=t12 13=13 14=14");
  const Steps steps = {{get_request("dataEnt:d", "11.15", 0, 20), {.data = every}}};
  DataEntry* record = nullptr;
  EXPECT_EQ(0u, run(steps, [&] { return oxlGetDataEntry("mgr", "d", &record); }));
  EXPECT_EQ("d d b e f g i 3 4 8 11 12 13 ", shown(record));
  EXPECT_EQ(0u, oxlDataEntryClose(record));
  const std::string name64(64, 'n');
  EXPECT_EQ(59u, run({}, [&] { return oxlDataEntryOpen("mgr", name64.c_str(), &record); }));
  oxdMatrix* matrix = nullptr;
  const char* copied = nullptr;
  EXPECT_EQ(59u, run({}, [&] { return oxlGetDataEntryLogData("mgr", name64.c_str(), &matrix); }));
  EXPECT_EQ(59u, run({}, [&] { return oxlDataEntryCopy("mgr", name64.c_str(), "new", &copied); }));
}

class ComposedDataText : public InBothPages<DataTest> {};
OX_IN_BOTH_PAGES(ComposedDataText);

TEST_P(ComposedDataText, PeriodsAreShownByTheirUnit) {
  ASSERT_EQ(platform::error_none, platform::set_time_zone("UTC0"));
  constexpr std::uint32_t start = 1251936000, same_day = 1252022399, later = 1254355199;  // 3 to 30 September 2009
  constexpr std::uint32_t open_end = 2145916800;                                          // 1 January 2038
  const struct {
    const char* period;
    std::uint32_t end;
    const char* text;
  } cases[] = {{"1D", later, "2009年9月3日"},
               {"1D", open_end, "2009年9月3日"},
               {"2W", later, "2009年9月3日(木)～30日(水)"},
               {"W", open_end, "2009年9月3日(木)～1日(金)"},
               {"1M", later, "2009年9月"},
               {"1Y", later, "2009年9月3日(木)～9月30日(水)"},
               {"", same_day, "2009年9月3日"},
               {"30", open_end, "2009年9月3日～"},
               {"90s", same_day + 1, "2009年9月3日(木)～9月4日(金)"},
               {"1h", start + 365 * 86400, "2009年9月3日(木)～9月3日(金)"},
               {"10x", later, nullptr},
               {" 1D", later, nullptr}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.period);
    DataEntry* record = nullptr;
    const std::string list = "1='T' 10='" + std::string(c.period) + "' 11=1251936000 12=" + std::to_string(c.end);
    const Step step = {get_request("dataEnt:d", "11.15", 0, 20), {.data = nodes("", "11.15", list)}};
    ASSERT_EQ(0u, run({step}, [&] { return oxlDataEntryOpen("mgr", "d", &record); }));
    const char *period = nullptr, *title = "T(-)";
    const OX_RESULT result = c.text != nullptr ? 0 : 195;
    EXPECT_EQ(result, oxlDataEntryGetPeriod(record, &period));
    EXPECT_EQ(result, oxlDataEntryGetTitle(record, &title));
    const std::string shown = in_page(c.text != nullptr ? c.text : "-");
    EXPECT_EQ(shown, period != nullptr ? period : "-");
    EXPECT_EQ("T(" + shown + ')', title);
    EXPECT_EQ(0u, oxlFreeDataEntry(record));
  }
}

TEST_F(DataTest, Lists) {
  const Step ask = related("logEnt", "e", "7='dataEnt:b' 7='logEnt:x' 7='dataEntry' 7='dataEnt:a'");
  const Step b = get_number("dataEnt:b", "11.15.3.0", 8), a = get_number("dataEnt:a", "11.15.3.0", 7);
  DataEntryList* list = nullptr;
  DataEntry* record = nullptr;
  const auto open_list = [&] { return oxlDataEntryListOpen("mgr", "e", &list); };
  const auto next = [&] { return oxlDataEntryNextOpen(list, &record); };
  EXPECT_EQ(5u, run({ask, failing({b.request})}, open_list));
  EXPECT_EQ(0u, run({ask, b, a}, open_list));
  for (const char* const name : {"dataEnt:a", "dataEnt:b"}) {
    EXPECT_EQ(0u, run({{get_request(name, "11.15", 0, 20), {.data = a.reply.data}}}, next));
    EXPECT_EQ(0u, oxlFreeDataEntry(record));
  }
  EXPECT_EQ(0u, run({}, next));
  EXPECT_EQ(nullptr, record);
  EXPECT_EQ(0u, oxlDataEntryListClose(list));
  EXPECT_EQ(0u, run({related("logEnt", "e", "")}, open_list));
  EXPECT_EQ(nullptr, list);

  dnode* names = nullptr;
  const auto get_names = [&] { return oxlGetDataEntryNameList("mgr", "e", &names); };
  EXPECT_EQ(0u, run({ask}, get_names));
  EXPECT_STREQ("dataEnt:b", oxdGetValueByStr(names));
  EXPECT_STREQ("dataEnt:a", oxdGetValueByStr(oxdNext(names)));
  EXPECT_EQ(nullptr, oxdNext(oxdNext(names)));
  oxdFree(names);
  EXPECT_EQ(0u, run({related("logEnt", "e", "")}, get_names));
  EXPECT_EQ(nullptr, names);

  const char* name = "untouched";
  const auto find = [&] { return oxlDataEntryIDtoName("mgr", "e", 8, &name); };
  EXPECT_EQ(183u, run({ask, {b.request, a.reply}, a}, find));
  EXPECT_EQ(183u, run({related("logEnt", "e", "")}, find));
  EXPECT_STREQ("untouched", name);
  EXPECT_EQ(0u, run({ask, b}, find));
  EXPECT_STREQ("b", name);
}

TEST_F(DataTest, Delete) {
  const Step closed = get_number("dataEnt:d", "11.15.8.0", 2);
  const auto remove = [] { return oxlDeleteDataEntry("mgr", "d"); };
  EXPECT_EQ(268u, run({get_number("dataEnt:d", "11.15.8.0", 1)}, remove));
  EXPECT_EQ(84u, run({closed, failing({manage_request(14, component("dataEnt", "d"))}, 84)}, remove));
  EXPECT_EQ(122u, run({failing({closed.request}, 122)}, remove));
}

// Whatever fails, what has been changed before is put back.
TEST_F(DataTest, Move) {
  const auto move = [] { return oxlDataEntryMove("mgr", "d", "new"); };
  const Steps all = {get_number("dataEnt:d", "11.15.8.0", 3),
                     get_number("dataEnt:d", "11.15.3.0", 7),
                     get_number("logEnt:new", "11.14.13.0", 20),
                     set_number("logEnt", "new", "11.14.13.0", 21),
                     set_number("dataEnt", "d", "11.15.3.0", 21),
                     related("dataEnt", "d", "7='node:x' 7='logEnt:old'"),
                     relation(9, "old", "d"),
                     relation(8, "new", "d"),
                     set_number("dataEnt", "d", "11.15.8.0", 3)};
  EXPECT_EQ(0u, run(all, move));
  const Step number_back = set_number("dataEnt", "d", "11.15.3.0", 7);
  expect_undone(all, move, [&](std::size_t end, Steps& steps) {
    if (end > 4) steps.push_back(number_back);
    if (end > 7) steps.push_back(relation(9, "new", "d"));
    if (end > 6) steps.push_back(relation(8, "old", "d"));
  });
  for (const std::uint32_t status : {1u, 2u}) {
    EXPECT_EQ(267u, run({get_number("dataEnt:d", "11.15.8.0", status)}, move));
  }
  Steps orphan = all;
  orphan[5] = related("dataEnt", "d", "");
  orphan.erase(orphan.begin() + 6);
  EXPECT_EQ(0u, run(orphan, move));
}

TEST_P(ComposedDataText, Copy) {
  const auto attributes = [](const std::string& name, const std::string& title, int number, int status, int end) {
    return nodes("dataEnt:" + name, "11.15",
                 "1='" + title + "' 2='key' 3=" + std::to_string(number) + " 8=" + std::to_string(status) + " 12=t" +
                     std::to_string(end));
  };
  const std::string title = in_page("A(コピー)");
  const char* name = "untouched";
  const auto copy = [&] { return oxlDataEntryCopy("mgr", "d", "new", &name); };
  const Step ask = {get_request("dataEnt:d", "11.15.{1,2,3,5,6,7,8,9,10,11,12,13}", 0, 20)};
  const auto answered = [&](int status, int end) {
    return Step{ask.request, {.data = attributes("d", "A", 7, status, end)}};
  };
  const Step add = {manage_request(5, nodes("", "10.7", "1='dataEnt'")), {.data = nodes("", "10.7", "8='c'")}};
  const Step last = get_number("logEnt:new", "11.14.13.0", 20), next = set_number("logEnt", "new", "11.14.13.0", 21);
  const Step write = {set_request(20, attributes("c", title, 21, 3, 99))};
  const Step values = {manage_request(200, between("dataEnt", "d", "c"))};
  const Step relate = relation(8, "new", "c"), remove = {manage_request(14, component("dataEnt", "c"))};
  const Steps all = {answered(1, 2145916800),
                     add,
                     last,
                     next,
                     related("dataEnt", "d", "7='logEnt:old'"),
                     get_number("logEnt:old", "11.14.12.0", 99),
                     write,
                     values,
                     relate};
  expect_undone(all, copy, [&](std::size_t end, Steps& steps) {
    if (end > 1) steps.push_back(remove);
  });
  EXPECT_STREQ("untouched", name);
  EXPECT_EQ(0u, run(all, copy));
  EXPECT_STREQ("c", name);
  const Step as_it_is = {set_request(20, attributes("c", title, 21, 2, 2145916800))};
  EXPECT_EQ(0u, run({answered(2, 2145916800), add, last, next, as_it_is, values, relate}, copy));
  EXPECT_EQ(0u, run({answered(1, 99), add, last, next, write, values, relate}, copy));
}

// Items: the axes of two components, one attribute and one index; a time; a value of the first component.
std::string octets(const std::string& value) {
  return half(8) + word(static_cast<std::uint32_t>(value.size())) + value;
}
const std::string axes = bytes("0001 00000000 0002 'a' 00 0001 00000001 0002 'b' 00 0002 00000000 0001 00") +
                         bytes("0004 00000000 0002 '0' 00");
std::string items_node(const char* path, const std::string& items) {
  return items.empty() ? "" : node(path, octets(items));
}
std::string round_of(std::uint32_t number, std::uint32_t seconds) { return half(3) + word(number) + word(seconds); }
std::string value_of(std::uint32_t component, std::uint32_t time, std::uint32_t value) {
  return half(5) + word(component) + word(0) + word(0) + word(time) + word(1) + word(0) + word(4) + half(4) +
         word(value);
}

// "seconds: value of a, of b; ..."
std::string shown(const oxdMatrix* matrix) {
  if (matrix == nullptr) return "none";
  std::string all;
  std::uint32_t components = 0, seconds = 0;
  EXPECT_EQ(0u, oxdMatrixGetLength(matrix, OXD_MATRIX_COMPONENT, &components));
  for (std::uint32_t t = 0; oxdMatrixGetTime(matrix, t, &seconds) == 0; ++t) {
    all += std::to_string(seconds) + ':';
    for (std::uint32_t c = 0; c < components; ++c) {
      const char* text = "-";
      (void)oxdMatrixGetCellText(matrix, c, 0, 0, t, &text);
      all += std::string(" ") + text;
    }
    all += "; ";
  }
  return all;
}

TEST_F(DataTest, ValuesAtOnce) {
  const std::string header = axes + round_of(5, 100) + round_of(6, 200);
  const Step ask_header = {
      get_request("dataEnt:d", "11.15.14.0", 3, 20),
      {.data = node("11.15.14.0", octets(header)) + node("11.15.14.0", text_value("passed over"))}};
  const Step ask_values = {get_request("dataEnt:d", "11.15.15.0", 3, 20),
                           {.data = node("11.15.15.0", octets(value_of(0, 6, 7) + value_of(1, 5, 8))) +
                                    node("11.15.15.0", octets(value_of(1, 6, 9)))}};
  oxdMatrix* matrix = nullptr;
  const auto get = [&] { return oxlGetDataEntryLogData("mgr", "d", &matrix); };
  EXPECT_EQ(122u, run({ask_header, {ask_values.request, {}}}, get));
  EXPECT_EQ(1u, run({ask_header, {ask_values.request, {.data = half(4) + text("11.15.15.0")}}}, get));
  EXPECT_EQ(1u, run({ask_header, {ask_values.request, {.data = node("11.15.15.0", octets("\x01"))}}}, get));
  EXPECT_EQ(nullptr, matrix);
  EXPECT_EQ(0u, run({ask_header, ask_values}, get));
  EXPECT_EQ("100: - 8; 200: 7 9; ", shown(matrix));
  EXPECT_EQ(0u, oxlFreeDataEntryMatrix(matrix));
  const oxaSelection selection{{100, 200, 60, OXL_RATE, 9}};
  const std::string words = half(1) + word(100) + word(200) + word(60) + word(5) + word(9);
  const std::string asked = get_request("logEnt:d", "11.14.20.0", 0, 20, "mgr", words);
  const auto window = [&] { return oxlGetLogEntryData("mgr", "d", &selection, &matrix); };
  const Step step{asked, {.data = node("11.14.20.0", octets(header)) + node("11.14.20.0", octets(value_of(0, 5, 4)))}};
  EXPECT_EQ(0u, run({step}, window));
  EXPECT_EQ("100: 4 -; 200: - -; ", shown(matrix));
  EXPECT_EQ(0u, oxlFreeDataEntryMatrix(matrix));
  EXPECT_EQ(121u, run({{asked, {.error = 121, .data = step.reply.data}}}, window));
  EXPECT_EQ(195u, oxlGetLogEntryData("mgr", nullptr, &selection, &matrix));
}

class RetrievalTest : public DataTest {
 protected:
  void start() {
    pieces.clear();
    for (int i = 0; i < 2; ++i) peer.answer(reply_bytes({.source_id = 5}));
    peer.otherwise(nothing);
    ASSERT_EQ(0u, oxlDataEntryGetData("mgr", "d", &keep, this, &handle));
    const std::vector<std::string> both = peer.requests();
    for (std::size_t i = 0; i < 2; ++i) {
      ids[i] = number(both.at(i).substr(33, 4));
      EXPECT_EQ(request_bytes({.command = 2,
                               .session = std::string("mgr\0", 4),
                               .source = ids[i],
                               .body = text("dataEnt:d") + text(paths[i]) + word(64) + word(20) + half(0)}),
                both.at(i));
    }
  }
  [[nodiscard]] ReplyFields header(const std::string& items, std::uint32_t error = 0) const {
    return {.command = 2, .error = error, .destination_id = ids[0], .data = items_node(paths[0], items)};
  }
  [[nodiscard]] ReplyFields values(const std::string& items, std::uint32_t error = 0) const {
    return {.command = 2, .error = error, .destination_id = ids[1], .data = items_node(paths[1], items)};
  }
  static void OX_CALL keep(void* request, void* argument, oxdMatrix* matrix, OX_RESULT code) {
    auto& test = *static_cast<RetrievalTest*>(argument);
    EXPECT_EQ(test.handle, request);
    test.pieces += shown(matrix) + '=' + std::to_string(code) + ' ';
    oxlFreeDataEntryMatrix(matrix);
    if (test.stops) test.stop();
  }
  void stop() { EXPECT_EQ(0u, oxlDataEntryGetDataStop(handle)); }
  std::string told_after(const std::vector<ReplyFields>& reports) {
    deliver(reports);
    return std::exchange(pieces, "");
  }

  static constexpr const char* paths[] = {"11.15.14.0", "11.15.15.0"};
  void* handle = nullptr;
  std::uint32_t ids[2] = {};
  std::string pieces;
  bool stops = false;
};

TEST_F(RetrievalTest, PiecesFollowEachOther) {
  start();
  EXPECT_EQ("", told_after({values(round_of(0, 100) + value_of(0, 0, 1)), values(round_of(1, 200))}));
  EXPECT_EQ("100: 1 -; 200: - -; =0 ", told_after({header(axes)})) << "what came before the header";
  EXPECT_EQ("300: - 3; =0 400: 4 -; =0 ",
            told_after({values(round_of(2, 300) + value_of(1, 2, 3)), values(round_of(3, 400) + value_of(0, 3, 4))}));
  EXPECT_EQ("500: - - 5; =0 ", told_after({header(axes + bytes("0001 00000002 0002 'c' 00")),
                                           values(round_of(4, 500) + value_of(2, 4, 5))}));
  EXPECT_EQ("none=1 600: - - -; =0 ", told_after({values("x"), values(round_of(5, 600))}));
  EXPECT_EQ("none=122 none=158 ", told_after({values("", 122), header("", 158)}));
  EXPECT_EQ("none=17 100: 1 - -; =0 ", told_after({values("", 17), values(round_of(0, 100) + value_of(0, 0, 1))}))
      << "a new connection begins anew";
  stop();
  EXPECT_EQ(63u, oxlDataEntryGetDataStop(handle));
}

TEST_F(RetrievalTest, ItEndsInItsCallback) {
  start();
  stops = true;
  EXPECT_EQ("", told_after({header(axes)}));
  answer(values(round_of(0, 100)));
  dispatch();
  EXPECT_EQ("100: - -; =0 ", pieces);
  EXPECT_EQ(63u, oxlDataEntryGetDataStop(handle));
  EXPECT_EQ(195u, oxlDataEntryGetData("mgr", "d", nullptr, nullptr, &handle));
}

// One answer to everything: a number, a data entry and a log entry.
TEST_F(DataTest, EveryAllocationMayFail) {
  const std::string texts = " 1='dataEnt:" + std::string(300, 'b') + "' 1='logEnt:old'";
  peer.otherwise(reply_bytes({.data = nodes("dataEnt:d", "11.15", "3=3" + texts)}));
  const char* text = nullptr;
  every_allocation_may_fail([&] {
    DataEntry* record = nullptr;
    DataEntryList* list = nullptr;
    dnode* names = nullptr;
    OX_RESULT result = oxlDataEntryOpen("mgr", "e", &record);
    if (result == 0) result = oxlDataEntryGetTitle(record, &text);
    if (result == 0) result = oxlGetDataEntryNameList("mgr", "e", &names);
    if (result == 0) result = oxlDataEntryListOpen("mgr", "e", &list);
    if (result == 0) result = oxlDataEntryIDtoName("mgr", "e", 3, &text);
    if (result == 0) result = oxlDataEntryMove("mgr", "d", "new");
    if (result == 0) result = oxlDataEntryCopy("mgr", "d", "new", &text);
    oxlFreeDataEntry(record);
    oxdFree(names);
    oxlDataEntryListClose(list);
    return result;
  });
  peer.otherwise(reply_bytes({.data = node("11.15.14.0", octets(axes + round_of(0, 1) + value_of(0, 0, 1)))}));
  every_allocation_may_fail([&] {
    oxdMatrix* matrix = nullptr;
    void* request = nullptr;
    OX_RESULT result = oxlGetDataEntryLogData("mgr", "d", &matrix);
    oxlFreeDataEntryMatrix(std::exchange(matrix, nullptr));
    if (result == 0) result = oxlGetLogEntryData("mgr", "d", nullptr, &matrix);
    oxlFreeDataEntryMatrix(matrix);
    const auto callback = [](void*, void*, oxdMatrix*, OX_RESULT) {};
    if (result == 0) result = oxlDataEntryGetData("mgr", "d", callback, nullptr, &request);
    if (request != nullptr) (void)oxlDataEntryGetDataStop(request);
    return result;
  });
}

}  // namespace
}  // namespace ox::test
