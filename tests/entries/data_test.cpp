// Data entries: the record, its texts, and every request about them byte for byte.
#include <oxbase/oxl.h>

#include "platform/environment.h"
#include "tests/entries/entry_peer.h"

namespace ox::test {
namespace {

std::string attribute(std::string_view name, std::string_view path, const std::string& value) {
  return node_of("dataEnt", name, path, value);
}
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
  [[nodiscard]] static Step related(const std::string& type, const std::string& name,
                                    const std::vector<std::string>& answer) {
    std::string nodes;
    for (const std::string& one : answer) nodes += node("10.7.7.0", text_value(one));
    return {manage_request(10, node("10.7.4.0", text_value("logEnt-dataEnt")) + component(type, name) + half(4) +
                                   text("10.7.7.0")),
            {.error = answer.empty() ? 122u : 0u, .data = nodes}};
  }
  [[nodiscard]] static Step relation(std::uint32_t code, std::string_view log_entry, std::string_view name) {
    return {manage_request(
        code, node("10.7.4.0", text_value("logEnt-dataEnt")) + between("logEnt", log_entry, "dataEnt", name))};
  }
  [[nodiscard]] static std::string between(std::string_view from_type, std::string_view from, std::string_view to_type,
                                           std::string_view to) {
    return node("10.7.2.0", text_value(from_type)) + node("10.7.9.0", text_value(from)) +
           node("10.7.3.0", text_value(to_type)) + node("10.7.10.0", text_value(to));
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
  const std::string ask = get_request("dataEnt:d", "11.15", 0, 20);
  const std::string name64(64, 'n');
  for (const auto open : {oxlDataEntryOpen, oxlGetDataEntry}) {
    DataEntry* record = nullptr;
    EXPECT_EQ(0u, run({{ask, {.data = every}}}, [&] { return open("mgr", "d", &record); }));
    EXPECT_EQ("d d b e f g i 3 4 8 11 12 13 ", shown(record));
    EXPECT_EQ(0u, oxlDataEntryClose(std::exchange(record, nullptr)));
    EXPECT_EQ(122u, run({{ask, {.error = 122}}}, [&] { return open("mgr", "d", &record); }));
    EXPECT_EQ(121u, run({{ask, {.error = 84, .data = every}}}, [&] { return open("mgr", "d", &record); }));
    EXPECT_EQ(59u, run({}, [&] { return open("mgr", name64.c_str(), &record); }));
    EXPECT_EQ(nullptr, record);
  }
}

#define Y "\x94\x4E"
#define M "\x8C\x8E"
#define D "\x93\xFA"
#define TO "\x81\x60"
#define SUN "(\x93\xFA)"
#define TUE "(\x89\xCE)"
#define THU "(\x96\xD8)"
#define FRI "(\x8B\xE0)"

TEST_F(DataTest, PeriodsAreShownByTheirUnit) {
  ASSERT_EQ(platform::error_none, platform::set_time_zone("UTC0"));
  constexpr std::uint32_t start = 1251936000, same_day = 1252022399, later = 1254355199;  // 3 to 30 September 2009
  constexpr std::uint32_t open_end = 2145916800;                                          // 1 January 2038
  const struct {
    const char* period;
    std::uint32_t end;
    const char* text;
  } cases[] = {{"1D", later, "2009" Y "9" M "3" D},
               {"1D", open_end, "2009" Y "9" M "3" D},
               {"2W", later, "2009" Y "9" M "3" D THU TO "30" D "(\x90\x85)"},
               {"W", open_end, "2009" Y "9" M "3" D THU TO "1" D FRI},
               {"1M", later, "2009" Y "9" M},
               {"1Y", later, "2009" Y "9" M "3" D THU TO "9" M "30" D "(\x90\x85)"},
               {"", same_day, "2009" Y "9" M "3" D},
               {"30", open_end, "2009" Y "9" M "3" D TO},
               {"30m", same_day + 1, "2009" Y "9" M "3" D THU TO "9" M "4" D FRI},
               {"1h", same_day + 3 * 86400, "2009" Y "9" M "3" D THU TO "9" M "6" D SUN},
               {"90s", same_day + 5 * 86400, "2009" Y "9" M "3" D THU TO "9" M "8" D TUE},
               {"90s", start + 365 * 86400, "2009" Y "9" M "3" D THU TO "9" M "3" D FRI},
               {"10x", later, nullptr},
               {"1DD", later, nullptr},
               {" 1D", later, nullptr}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.period);
    DataEntry* record = nullptr;
    const std::string data = node("11.15.1.0", text_value("T")) + node("11.15.10.0", text_value(c.period)) +
                             node("11.15.11.0", number_value(start)) + node("11.15.12.0", number_value(c.end));
    ASSERT_EQ(0u, run({{get_request("dataEnt:d", "11.15", 0, 20), {.data = data}}},
                      [&] { return oxlDataEntryOpen("mgr", "d", &record); }));
    const char* period = "untouched";
    const char* title = "untouched";
    const bool good = c.text != nullptr;
    EXPECT_EQ(good ? 0u : 195u, oxlDataEntryGetPeriod(record, &period));
    EXPECT_EQ(good ? 0u : 195u, oxlDataEntryGetTitle(record, &title));
    EXPECT_STREQ(good ? c.text : "untouched", period);
    EXPECT_EQ(good ? "T(" + std::string(c.text) + ')' : "untouched", title);
    EXPECT_EQ(0u, oxlFreeDataEntry(record));
  }
}

TEST_F(DataTest, Lists) {
  const Step ask = related("logEnt", "e", {"dataEnt:b", "logEnt:x", "dataEntry", "dataEnt:a"});
  const Step b = get_number("dataEnt:b", "11.15.3.0", 8), a = get_number("dataEnt:a", "11.15.3.0", 7);
  DataEntryList* list = nullptr;
  DataEntry* record = nullptr;
  const auto open_list = [&] { return oxlDataEntryListOpen("mgr", "e", &list); };
  const auto next = [&] { return oxlDataEntryNextOpen(list, &record); };
  EXPECT_EQ(5u, run({ask, failing({b.request})}, open_list));
  EXPECT_EQ(0u, run({ask, b, a}, open_list));
  const std::string first = get_request("dataEnt:a", "11.15", 0, 20);
  EXPECT_EQ(84u, run({{first, {.error = 84}}}, next));
  for (const std::string& request : {first, get_request("dataEnt:b", "11.15", 0, 20)}) {
    EXPECT_EQ(0u, run({{request, {.data = a.reply.data}}}, next));
    EXPECT_EQ(0u, oxlFreeDataEntry(record));
  }
  EXPECT_EQ(0u, run({}, next));
  EXPECT_EQ(nullptr, record);
  EXPECT_EQ(0u, oxlDataEntryListClose(list));
  EXPECT_EQ(0u, run({related("logEnt", "e", {})}, open_list));
  EXPECT_EQ(nullptr, list);
  EXPECT_EQ(84u, run({failing({ask.request}, 84)}, open_list));

  dnode* names = nullptr;
  const auto get_names = [&] { return oxlGetDataEntryNameList("mgr", "e", &names); };
  EXPECT_EQ(0u, run({ask}, get_names));
  EXPECT_STREQ("dataEnt:b", oxdGetValueByStr(names));
  EXPECT_STREQ("dataEnt:a", oxdGetValueByStr(oxdNext(names)));
  EXPECT_EQ(nullptr, oxdNext(oxdNext(names)));
  oxdFree(names);
  EXPECT_EQ(0u, run({related("logEnt", "e", {})}, get_names));
  EXPECT_EQ(nullptr, names);

  const char* name = "untouched";
  const auto find = [&](std::uint32_t wanted) {
    return [&, wanted] { return oxlDataEntryIDtoName("mgr", "e", wanted, &name); };
  };
  EXPECT_EQ(183u, run({ask, b, a}, find(9)));
  EXPECT_EQ(183u, run({related("logEnt", "e", {})}, find(8)));
  EXPECT_STREQ("untouched", name);
  EXPECT_EQ(0u, run({ask, b}, find(8)));
  EXPECT_STREQ("b", name);
}

TEST_F(DataTest, Delete) {
  const Step closed = get_number("dataEnt:d", "11.15.8.0", 2);
  for (const auto remove : {oxlDataEntryDelete, oxlDeleteDataEntry}) {
    const auto call = [&] { return remove("mgr", "d"); };
    EXPECT_EQ(268u, run({get_number("dataEnt:d", "11.15.8.0", 1)}, call));
    EXPECT_EQ(84u, run({closed, failing({manage_request(14, component("dataEnt", "d"))}, 84)}, call));
    EXPECT_EQ(122u, run({failing({closed.request}, 122)}, call));
  }
}

// Whatever fails, what has been changed before is put back.
TEST_F(DataTest, Move) {
  const auto move = [] { return oxlDataEntryMove("mgr", "d", "new"); };
  const Steps all = {get_number("dataEnt:d", "11.15.8.0", 3),
                     get_number("dataEnt:d", "11.15.3.0", 7),
                     get_number("logEnt:new", "11.14.13.0", 20),
                     set_number("logEnt", "new", "11.14.13.0", 21),
                     set_number("dataEnt", "d", "11.15.3.0", 21),
                     related("dataEnt", "d", {"node:x", "logEnt:old"}),
                     relation(9, "old", "d"),
                     relation(8, "new", "d"),
                     set_number("dataEnt", "d", "11.15.8.0", 3)};
  EXPECT_EQ(0u, run(all, move));
  const Step number_back = set_number("dataEnt", "d", "11.15.3.0", 7);
  for (std::size_t last = 0; last < all.size(); ++last) {
    SCOPED_TRACE(last);
    Steps steps(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(last));
    steps.push_back(failing({all[last].request}));
    if (last > 4) steps.push_back(number_back);
    if (last > 7) steps.push_back(relation(9, "new", "d"));
    if (last > 6) steps.push_back(relation(8, "old", "d"));
    EXPECT_EQ(5u, run(steps, move));
  }
  for (const std::uint32_t status : {1u, 2u}) {
    EXPECT_EQ(267u, run({get_number("dataEnt:d", "11.15.8.0", status)}, move));
  }
  Steps orphan = all;
  orphan[5] = related("dataEnt", "d", {});
  orphan.erase(orphan.begin() + 6);
  EXPECT_EQ(0u, run(orphan, move));
  const std::string name64(64, 'n');
  EXPECT_EQ(195u, run({}, [] { return oxlDataEntryMove("mgr", "d", nullptr); }));
  EXPECT_EQ(59u, run({}, [&] { return oxlDataEntryMove("mgr", "d", name64.c_str()); }));
}

TEST_F(DataTest, Copy) {
  const auto attributes = [](std::string_view name, std::string_view title, std::uint32_t number, std::uint32_t status,
                             std::uint32_t end) {
    return attribute(name, "11.15.1.0", text_value(title)) + attribute(name, "11.15.2.0", text_value("key")) +
           attribute(name, "11.15.3.0", number_value(number)) + attribute(name, "11.15.8.0", number_value(status)) +
           attribute(name, "11.15.12.0", number_value(end, 5));
  };
  const std::string title = "A(\x83\x52\x83\x73\x81\x5B)";
  const char* name = "untouched";
  const auto copy = [&] { return oxlDataEntryCopy("mgr", "d", "new", &name); };
  const Step ask = {get_request("dataEnt:d", "11.15.{1,2,3,5,6,7,8,9,10,11,12,13}", 0, 20)};
  const auto answered = [&](std::uint32_t status, std::uint32_t end) {
    return Step{ask.request, {.data = attributes("d", "A", 7, status, end)}};
  };
  const Step add = {manage_request(5, node("10.7.1.0", text_value("dataEnt"))),
                    {.data = node("10.7.8.0", text_value("c"))}};
  const Step last = get_number("logEnt:new", "11.14.13.0", 20), next = set_number("logEnt", "new", "11.14.13.0", 21);
  const Step write = {set_request(20, attributes("c", title, 21, 3, 99))};
  const Step values = {manage_request(200, between("dataEnt", "d", "dataEnt", "c"))};
  const Step relate = relation(8, "new", "c"), remove = {manage_request(14, component("dataEnt", "c"))};
  const Steps all = {answered(1, 2145916800),
                     add,
                     last,
                     next,
                     related("dataEnt", "d", {"logEnt:old"}),
                     get_number("logEnt:old", "11.14.12.0", 99),
                     write,
                     values,
                     relate};
  for (std::size_t end = 0; end < all.size(); ++end) {
    SCOPED_TRACE(end);
    Steps steps(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(end));
    steps.push_back(failing({all[end].request}));
    if (end > 1) steps.push_back(remove);
    EXPECT_EQ(5u, run(steps, copy));
  }
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
  EXPECT_EQ(122u, run({{ask_header.request, {.error = 122}}}, get));
  EXPECT_EQ(122u, run({ask_header, {ask_values.request, {}}}, get));
  EXPECT_EQ(1u, run({ask_header, {ask_values.request, {.data = half(4) + text("11.15.15.0")}}}, get));
  EXPECT_EQ(1u, run({ask_header, {ask_values.request, {.data = node("11.15.15.0", octets("\x01"))}}}, get));
  EXPECT_EQ(nullptr, matrix);
  EXPECT_EQ(0u, run({ask_header, ask_values}, get));
  EXPECT_EQ("100: - 8; 200: 7 9; ", shown(matrix));
  EXPECT_EQ(0u, oxlFreeDataEntryMatrix(matrix));
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
      const char* const path = i == 0 ? "11.15.14.0" : "11.15.15.0";
      ids[i] = number(both.at(i).substr(33, 4));
      EXPECT_EQ(request_bytes({.command = 2,
                               .session = std::string("mgr\0", 4),
                               .source = ids[i],
                               .body = text("dataEnt:d") + text(path) + word(64) + word(20) + half(0)}),
                both.at(i));
    }
  }
  [[nodiscard]] ReplyFields header(const std::string& items, std::uint32_t error = 0) const {
    const std::string nodes = error == 0 ? node("11.15.14.0", octets(items)) : "";
    return {.command = 2, .error = error, .destination_id = ids[0], .data = nodes};
  }
  [[nodiscard]] ReplyFields values(const std::string& items, std::uint32_t error = 0) const {
    const std::string nodes = error == 0 ? node("11.15.15.0", octets(items)) : "";
    return {.command = 2, .error = error, .destination_id = ids[1], .data = nodes};
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
  EXPECT_EQ(195u, oxlDataEntryGetData("mgr", nullptr, &keep, nullptr, &handle));
  EXPECT_EQ(195u, oxlDataEntryGetData("mgr", "d", nullptr, nullptr, &handle));
}

// One answer to everything: a number, a data entry and a log entry.
TEST_F(DataTest, EveryAllocationMayFail) {
  peer.otherwise(reply_bytes({.data = attribute("d", "11.15.3.0", number_value(3)) +
                                      attribute("d", "11.15.1.0", text_value("dataEnt:" + std::string(300, 'b'))) +
                                      attribute("d", "11.15.1.0", text_value("logEnt:old"))}));
  const char* text = nullptr;
  every_allocation_may_fail([&] {
    DataEntry* record = nullptr;
    OX_RESULT result = oxlDataEntryOpen("mgr", "e", &record);
    if (result == 0) result = oxlDataEntryGetTitle(record, &text);
    oxlFreeDataEntry(record);
    return result;
  });
  every_allocation_may_fail([&] {
    DataEntryList* list = nullptr;
    dnode* nodes = nullptr;
    OX_RESULT result = oxlGetDataEntryNameList("mgr", "e", &nodes);
    if (result == 0) result = oxlDataEntryListOpen("mgr", "e", &list);
    if (result == 0) result = oxlDataEntryIDtoName("mgr", "e", 3, &text);
    oxdFree(nodes);
    oxlDataEntryListClose(list);
    return result;
  });
  every_allocation_may_fail([&] {
    OX_RESULT result = oxlDataEntryMove("mgr", "d", "new");
    if (result == 0) result = oxlDataEntryCopy("mgr", "d", "new", &text);
    return result;
  });
  peer.otherwise(reply_bytes({.data = node("11.15.14.0", octets(axes + round_of(0, 1) + value_of(0, 0, 1)))}));
  every_allocation_may_fail([&] {
    oxdMatrix* matrix = nullptr;
    void* request = nullptr;
    OX_RESULT result = oxlGetDataEntryLogData("mgr", "d", &matrix);
    oxlFreeDataEntryMatrix(matrix);
    const auto callback = [](void*, void*, oxdMatrix*, OX_RESULT) {};
    if (result == 0) result = oxlDataEntryGetData("mgr", "d", callback, nullptr, &request);
    if (request != nullptr) (void)oxlDataEntryGetDataStop(request);
    return result;
  });
}

}  // namespace
}  // namespace ox::test
