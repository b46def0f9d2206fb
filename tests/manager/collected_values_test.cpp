// Collected values as clients get them: binaries, streams, copies, windows, the ledger, and rounds that they append.
#include "manager/base/attributes.h"
#include "manager/components/stored_value.h"
#include "tests/manager/damage.h"
#include "tests/manager/event_fixture.h"
#include "tests/support/system_root.h"

namespace ox::manager {
namespace {

using test::half, test::text, test::word;

class CollectedValuesTest : public EventManagerTest {
 protected:
  void SetUp() override {
    EventManagerTest::SetUp();
    (void)ask("5 1=logEnt 8=l");
    for (const char* name : {"d1", "d2"}) {
      (void)ask(std::string("5 1=dataEnt 8=") + name);
      (void)ask(std::string("8 4=logEnt-dataEnt 2=logEnt 9=l 3=dataEnt 10=") + name);
      (void)ask(std::string("set dataEnt:") + name + " 11.15.3.0 " + name[1]);
    }
  }

  // A round of node:0, node:1 ...: the agents' clocks say so many seconds; -1 stands for an error of the agent.
  void round(EntryId id, std::uint32_t seconds, std::uint32_t uptime, const std::vector<std::int64_t>& values) {
    SeriesStore& series = manager_->series;
    const std::uint32_t number = series.begin_round(id, seconds * std::int64_t{1000});
    series.expect(id, number, static_cast<std::uint32_t>(values.size()));
    for (std::size_t i = 0; i < values.size(); ++i) {
      const std::uint32_t component = series.item(id, Axis::component, "node:" + std::to_string(i));
      const std::uint32_t one =
          series.series(id, {component, series.item(id, Axis::amib, "1.2.2.1.10"), series.item(id, Axis::item, "1")});
      const std::uint32_t value = __builtin_bswap32(static_cast<std::uint32_t>(values[i]));
      if (values[i] < 0) {
        EXPECT_TRUE(series.put_gap(id, number, one, Gap::agent_error, 5));
      } else {
        const std::uint32_t read = series.add_reading(id, number, component, seconds * 1000 + 3, uptime * 100);
        EXPECT_TRUE(series.put(id, number, one, read, OX_COUNTER, std::as_bytes(std::span(&value, 1))));
      }
    }
    series.end_round(id, number);
    turn();
  }
  // d1 has 60 and 120, d2 180 and 240.
  void fill_both() {
    const EntryId first = manager_->series.make("d1", "");
    round(first, 60, 1000, {10, 100});
    round(first, 120, 1060, {40, -1});
    manager_->series.close(first);
    const EntryId second = manager_->series.make("d2", "");
    round(second, 180, 1110, {4294967290u, 400});
    round(second, 240, 50, {14, 1000});
  }

  static void add(oxdMatrix* matrix, const Bytes& data) {
    NodeList nodes;
    EXPECT_EQ(0u, decode_nodes(data, nodes));
    for (dnode* node = nodes.get(); node != nullptr; node = oxdNext(node)) {
      const std::string bytes = value_of(node).bytes;
      EXPECT_EQ(0u, oxdMatrixAdd(matrix, bytes.data(), static_cast<std::uint32_t>(bytes.size()))) << shown(node);
    }
  }
  // "seconds: value of each component; ..."; of a cell without one its status.
  static std::string show(oxdMatrix* matrix, std::uint32_t base = 0) {
    std::string all;
    std::uint32_t components = 0, seconds = 0;
    EXPECT_EQ(0u, oxdTableSet(matrix, base));
    EXPECT_EQ(0u, oxdMatrixGetLength(matrix, OXD_MATRIX_COMPONENT, &components));
    for (std::uint32_t t = 0; oxdMatrixGetTime(matrix, t, &seconds) == 0; ++t) {
      all += std::to_string(seconds) + ':';
      for (std::uint32_t c = 0; c < components; ++c) {
        const oxdMatrixItem* cell = nullptr;
        const char* text = "-";
        if (oxdMatrixGetCell(matrix, c, 0, 0, t, &cell) == OX_OK && cell->type != 0) {
          (void)oxdMatrixGetCellText(matrix, c, 0, 0, t, &text);
        }
        all += ' ' + (cell != nullptr && cell->type == 0 ? '!' + std::to_string(cell->status >> 16) : text);
      }
      all += "; ";
    }
    return all;
  }
  std::string get(const std::string& component, const std::vector<std::string>& names,
                  const std::vector<std::uint32_t>& words = {}) {
    oxdMatrix* const matrix = oxdMatrixAlloc();
    std::string errors;
    for (const std::string& name : names) {
      std::string payload = text(component) + text(name) + word(0) + word(0) + half(words.empty() ? 0 : 1);
      for (const std::uint32_t one : words) payload += word(one);
      const Reply reply = ask(1, 1, payload);
      if (reply.error != 0) errors += std::to_string(reply.error) + ' ';
      if (reply.error == 0) add(matrix, reply.data);
    }
    const std::string all = errors + show(matrix);
    (void)oxdMatrixFree(matrix);
    return all;
  }
  std::string binaries(const std::string& name) { return get("dataEnt:" + name, {"11.15.14.0", "11.15.15.0"}); }
};

TEST_F(CollectedValuesTest, WindowsOverAllDataEntries) {
  fill_both();
  EXPECT_EQ("60: 10 100; 120: 40 !2; ", binaries("d1"));
  EXPECT_EQ("180: 4294967290 400; 240: 14 1000; ", binaries("d2"));
  const std::string all = "60: 10 100; 120: 40 !2; 180: 4294967290 400; 240: 14 1000; ";
  const struct {
    std::vector<std::uint32_t> words;  // from, to, step, function, count
    std::string values;
  } cases[] = {
      {{}, all},
      {{0, 0, 0, 0, 0}, all},
      {{61, 180, 0, 0, 0}, "120: 40 !2; 180: 4294967290 400; "},
      {{0, 0, 0, 0, 3}, all.substr(12)},
      {{0, 0, 0, 0, 9}, all},
      {{1000, 0, 0, 0, 0}, ""},
      {{60, 0, 120, 1, 0}, "60: 10 100; 180: 14 400; "},
      {{60, 0, 120, 2, 0}, "60: 40 100; 180: 4294967290 1000; "},
      {{0, 120, 0, 3, 0}, "60: 25 100; "},
      {{0, 0, 0, 4, 0}, "60: !0 !0; 120: 30 !2; 180: !18 300; 240: !17 !17; "},
      {{180, 0, 60, 4, 0}, "180: !0 !0; 240: !17 !17; "},
      {{0, 180, 0, 5, 0}, "60: !0 !0; 120: 0.5 !2; 180: !18 2.727; "},
  };
  for (const auto& one : cases) EXPECT_EQ(one.values, get("logEnt:l", {"11.14.20.0"}, one.words));
  round(manager_->series.find("d2"), 300, 110, {4294967290u, 1});
  round(manager_->series.find("d2"), 360, 170, {4, 2});
  EXPECT_EQ("300: !0 !0; 360: 10 1; ", get("logEnt:l", {"11.14.20.0"}, {300, 0, 0, 4, 0})) << "a wrap";
  EXPECT_EQ("0; dataEnt:d1 11.15.13.0 = " + std::to_string(3 * 36 + 32 + 2 * 10 + 2 * 15 + 19 + 10),
            ask("get dataEnt:d1 11.15.13.0"));
}

TEST_F(CollectedValuesTest, LedgerAndBooks) {
  fill_both();
  manager_->series.missed(manager_->series.find("d2"), 300000, 900000, 11, 22, Gap::manager_down);
  round(manager_->series.find("d2"), 960, 60, {-1, -1});
  const std::string rows = ask("get logEnt:l 11.14.18");
  for (const char* cell :
       {"18.1.1 = node:1", "18.4.1 = 2", "18.5.1 = 5", "18.6.1 = 1970/01/01.00:02:00", "18.8.1 = 1", "18.10.1 = d1",
        "18.1.2 = *", "18.4.2 = 6", "18.6.2 = 1970/01/01.00:05:00", "18.7.2 = 1970/01/01.00:15:00", "18.8.2 = 11",
        "18.9.2 = 22", "18.7.3 = 1970/01/01.00:16:00", "18.1.4 = node:1"}) {
    EXPECT_NE(std::string::npos, (rows + ';').find(std::string("11.14.") + cell + ';')) << cell << ' ' << rows;
  }
  EXPECT_EQ(std::string::npos, rows.find("18.1.5"));
  EXPECT_EQ(
      "0; logEnt:l 11.14.21.1.0 = 32; logEnt:l 11.14.21.2.0 = 7; logEnt:l 11.14.21.3.0 = 25; "
      "logEnt:l 11.14.21.4.0 = 0; logEnt:l 11.14.21.5.0 = 0",
      ask("get logEnt:l 11.14.21"));
}

// The database is set aside and what can be read of it laid into a new one while a stream is half read: the stream has
// what is left, and does not end as if that were all.
TEST_F(CollectedValuesTest, StreamTellsWhatDamageTakesUnderIt) {
  const EntryId id = manager_->series.make("d1", "");
  const std::vector<std::int64_t> values(100, 1);
  for (std::uint32_t n = 0; n < 300; ++n) round(id, 60 * (n + 1), n, values);
  manager_->series.close(id);
  turn();
  (void)watch("dataEnt:d1", "11.15.15.0", 7);
  ASSERT_EQ(0u, ask(Message{.type = 5, .reference = 0xFFFFFFFF}).error);
  test::change_database(test::work_dir() + "/data/collected.db",
                        "UPDATE blocks SET sum = 0 WHERE id & 0xFFFFFF = 1 AND id >> 24 <> 7");
  damage_is_meant_ = true;
  manager_->collected_file.renew();
  run_until([this] { return !manager_->collected_file.is_away(); });
  std::string told;
  for (int fetched = 0; fetched < 1000 && told.empty(); ++fetched) {
    const Reply reply = ask(Message{.type = 5, .reference = 0xFFFFFFFF});
    turn();
    if (reply.report && reply.error != 0 && reply.error != OX_ENODES) told = std::to_string(reply.error);
  }
  EXPECT_EQ(std::to_string(OX_ERUNTIME), told);
  EXPECT_NE(0u, manager_->series.counts(id).lost);
}

// While the database's log of changes begins anew nothing is read; then whoever has been told that there is nothing
// hears of the rest.
TEST_F(CollectedValuesTest, StreamGoesOnWhenItsDatabaseIsBack) {
  const EntryId id = manager_->series.make("d1", "");
  round(id, 60, 1, {1});
  manager_->series.close(id);
  turn();
  (void)watch("dataEnt:d1", "11.15.15.0", 7);
  const EntryId other = manager_->series.make("d2", "");
  test::fill_log(test::work_dir() + "/data/collected.db");
  for (std::uint32_t n = 0; !manager_->collected_file.is_away() && n < 100000; ++n) {
    round(other, 60 * (n + 1), n, {1});
    manager_->collected_file.commit();
  }
  const auto fetched = [this] {
    const Reply reply = ask(Message{.type = 5, .reference = 0xFFFFFFFF});
    return reply.report ? std::to_string(reply.report->destination_id) : "nothing";
  };
  EXPECT_EQ("nothing", fetched());
  run_until([this] { return !manager_->collected_file.is_away(); });
  EXPECT_EQ("7", fetched());
}

TEST_F(CollectedValuesTest, StreamHasTheHeaderFirstAndEndsWithItsEntry) {
  const EntryId id = manager_->series.make("d1", "");
  round(id, 60, 1000, {1});
  const Reply values = watch("dataEnt:d1", "11.15.15.0", 7);
  const Reply header = watch("dataEnt:d1", "11.15.14.0", 8);
  EXPECT_NE(values.source_id, header.source_id);
  const auto next = [&](std::uint32_t handle, const std::string& expected, std::uint32_t base) {
    const Reply reply = ask(Message{.type = 5, .reference = 0xFFFFFFFF});
    ASSERT_TRUE(reply.report) << expected;
    EXPECT_EQ(handle, reply.report->destination_id) << expected;
    EXPECT_EQ(handle == 7 ? values.source_id : header.source_id, reply.source_id);
    oxdMatrix* const matrix = oxdMatrixAlloc();
    if (handle == 7) add(matrix, ask(message("get dataEnt:d1 11.15.14.0")).data);
    matrix->timeCount = 0;
    add(matrix, reply.data);
    EXPECT_EQ(expected, show(matrix, base));
    (void)oxdMatrixFree(matrix);
  };
  next(8, "", 0);
  next(7, "60: 1; ", 0);
  EXPECT_EQ("nothing", fetch());
  round(id, 120, 1060, {2});
  round(id, 180, 1120, {3});
  next(7, "120: 2; 180: 3; ", 1);
  round(id, 240, 1180, {4, 5});
  next(8, "", 0);
  next(7, "240: 4 5; ", 3);
  EXPECT_EQ("nothing", fetch());
  manager_->series.close(id);
  turn();
  EXPECT_EQ("2>7 !122", fetch());
  EXPECT_EQ("nothing", fetch());
  EXPECT_EQ(OX_EHANDLE, close_request(6, values.source_id, 2).error);
  EXPECT_EQ(1u, close_request(6, values.source_id).error);
  (void)ask("6 1=dataEnt 8=d1");
  turn();
  EXPECT_EQ("2>8 !166", fetch());
}

TEST_F(CollectedValuesTest, WhatSomebodyElseHasWrittenIsCopiedToo) {
  (void)ask("5 1=dataEnt 8=written");
  (void)ask("5 1=dataEnt 8=copy");
  const std::array paths{data_path(DataAttribute::header), data_path(DataAttribute::values)};
  std::vector<Change> batch;
  for (const Oid& path : paths) {
    batch.push_back({.kind = Change::Kind::set,
                     .component = {"dataEnt", "written"},
                     .path = path,
                     .value = {OX_OCTETSTRING, "bytes of " + oid_text(path)}});
  }
  ASSERT_EQ(0u, manager_->commit(batch));
  const std::string copy = "200 2=dataEnt 9=written 3=dataEnt 10=copy";
  expect({{copy, "0"}, {copy, "207"}});
  for (const Oid& path : paths) {
    const Value* const value = manager_->store.value({"dataEnt", "copy"}, path);
    ASSERT_NE(nullptr, value);
    EXPECT_EQ("bytes of " + oid_text(path), value->bytes);
  }
}

TEST_F(CollectedValuesTest, CopyIsAllOrNothing) {
  fill_both();
  const EntryId first = manager_->series.find("d2");
  for (std::uint32_t i = 0; i < 300; ++i) round(first, 300 + i, 60 + i, {i, i % 7 == 0 ? -1 : 2 * i});
  (void)ask("5 1=dataEnt 8=copy");
  const std::string copy = "200 2=dataEnt 9=d2 3=dataEnt 10=";
  EXPECT_EQ("84", ask(copy + "none"));
  EXPECT_EQ("207", ask(copy + "d1"));
  EXPECT_EQ("0", ask(copy + "copy"));
  EXPECT_EQ(binaries("d2"), binaries("copy"));
  EXPECT_FALSE(manager_->series.is_open(manager_->series.find("copy")));
  const Counts source = manager_->series.counts(manager_->series.find("d2"));
  const Counts copied = manager_->series.counts(manager_->series.find("copy"));
  EXPECT_EQ(source.due, copied.due);
  EXPECT_EQ(source.gaps, copied.gaps);
  EXPECT_EQ(source.bytes, copied.bytes);
  restart();
  EXPECT_EQ(binaries("d2"), binaries("copy"));
  (void)ask("6 1=dataEnt 8=copy");
  turn();
  EXPECT_EQ(0u, manager_->series.find("copy"));
  Connection connection;
  ASSERT_EQ(Outcome::done, connection.open(test::work_dir() + "/data/collected.db", Durability::process));
  EXPECT_EQ(2u, connection.ask("SELECT count(*) FROM entries"));
  EXPECT_EQ(0u, connection.ask("SELECT count(*) FROM axes WHERE id >> 34 NOT IN (SELECT id FROM entries)"));
}

TEST_F(CollectedValuesTest, NothingIsCountedForAClientThatHasGone) {
  const EntryId id = manager_->series.make("d1", "");
  const std::vector<std::int64_t> values(2000, 5);
  for (std::uint32_t i = 1; i <= 100; ++i) round(id, i * 60, i, values);
  (void)loop_.run_for(std::chrono::milliseconds(50));  // all of it is safe
  const std::string payload = text("logEnt:l") + text("11.14.20.0") + word(0) + word(0) + half(0);
  bool answered = false;
  send(
      {.type = 1, .command = 1, .data = bytes_of(payload)}, [&](const Reply&) { answered = true; }, 7);
  manager_->end_session(7);
  loop_.restart();
  EXPECT_GE(1u, loop_.poll()) << "turns that count";
  EXPECT_FALSE(answered);
}

TEST_F(CollectedValuesTest, ApplicationsAddRounds) {
  (void)ask("5 1=node 8=r");
  const auto append = [&](std::uint32_t time, const std::string& threes) {
    const Bytes set = message("set " + threes).data;  // its nodes stand behind ten bytes
    const std::string nodes(reinterpret_cast<const char*>(set.data()) + 10, set.size() - 10);
    return ask(1, 21, word(time) + word(9) + text("logEnt:l") + text("") + word(std::uint32_t(nodes.size())) + nodes)
        .error;
  };
  const std::string value = "node:r 11.5.2.0 161";
  EXPECT_EQ(OX_ENOTSTARTABLE, append(100, value));
  (void)ask("set logEnt:l 11.14.10.0 4");
  EXPECT_EQ(0u, append(100, value));
  EXPECT_EQ(OX_EFORMAT, append(100, value)) << "not after the last one";
  EXPECT_EQ(0u, append(200, value + " node:r 11.5.2.0 162")) << "the last one counts";
  EXPECT_EQ(0u, append(0, value)) << "now";
  EXPECT_EQ(0u, get("logEnt:l", {"11.14.20.0"}).find("100: 161; 200: 162; "));
  expect({{"get logEnt:l 11.14.21.{1,2,3}.0",
           "0; logEnt:l 11.14.21.1.0 = 3; logEnt:l 11.14.21.2.0 = 3; logEnt:l 11.14.21.3.0 = 0"}});
  EXPECT_NE(std::string::npos, ask("get dataEnt:dataEnt1 11.15.9.0").find(" +")) << "made as the collector makes them";
  restart();
  EXPECT_EQ(OX_EFORMAT, append(200, value));
  EXPECT_EQ(0u, append(2000000000, value)) << "goes on with the same data entry";
  EXPECT_NE(0u, PayloadReader(ask(1, 22, text("logEnt:l") + text("")).data).u32());
  manager_->held.hold(HeldRequests::components, true);
  for (const std::uint32_t command : {21u, 22u}) {
    bool answered = false;
    const Bytes key = bytes_of(text("logEnt:l") + text(""));
    send({.type = 1, .command = command, .data = key}, [&](const Reply&) { answered = true; });
    EXPECT_FALSE(answered);
    EXPECT_TRUE(manager_->held.next([](const Request&) {})) << command << " waits until the components are there";
  }
}

}  // namespace
}  // namespace ox::manager
