// Collected values: the books, what is safe, and what is read again.
#include <gtest/gtest.h>

#include <asio/executor_work_guard.hpp>
#include <memory>
#include <random>
#include <set>
#include <thread>

#include "manager/series/books.h"
#include "manager/series/store.h"
#include "tests/manager/damage.h"

namespace ox::manager {
namespace {

using namespace std::string_literals;

class SeriesTest : public test::DatabaseTest {
 protected:
  void SetUp() override { restart(); }
  void close() override { kept_.reset(); }
  // As after the death of the manager: what was not safe is gone.
  void restart() {
    kept_.reset();
    kept_ = std::make_unique<Kept>(directory_);
    ASSERT_TRUE(kept_->file.open(noting()));
    kept_->loop.poll();
  }
  SeriesStore& store() { return kept_->store; }

  // A value of each of some series in one round; 'g' stands for a gap, '-' for none.
  void put(EntryId id, std::uint32_t round, const std::string& values) {
    for (std::size_t i = 0; i < values.size(); ++i) {
      const std::uint32_t component = store().item(id, Axis::component, "node:r" + std::to_string(i / 4));
      const std::uint32_t amib = store().item(id, Axis::amib, "1.2.2.1.10");
      const std::uint32_t series =
          store().series(id, {component, amib, store().item(id, Axis::item, std::to_string(i))});
      const std::byte value[4]{std::byte{0}, std::byte{1}, std::byte(values[i]), std::byte(round)};
      if (values[i] == 'g') {
        EXPECT_TRUE(store().put_gap(id, round, series, Gap::agent_error, 5));
      } else if (values[i] != '-') {
        const std::uint32_t reading = store().add_reading(id, round, component, 1000 + round, 77 + round);
        EXPECT_TRUE(store().put(id, round, series, reading, OX_COUNTER, value));
      }
    }
  }
  // "due stored gaps open"
  std::string books(EntryId id) {
    const Counts counts = store().counts(id);
    EXPECT_TRUE(counts.balanced());
    std::string text;
    for (const std::uint64_t count : {counts.due, counts.stored, counts.gaps, counts.open}) {
      text += std::to_string(count) + ' ';
    }
    return text;
  }

  // "round series reading type status value" of each, in order.
  using Texts = std::set<std::string>;
  Texts all_cells(EntryId id) {
    Texts texts;
    const auto view = store().view(id);
    CellCursor cursor(store(), view, 0, view->rounds);
    while (const Cell* const cell = cursor.next()) {
      if (cursor.series() == round_series) continue;
      Bytes value;
      cell->append_value(value);
      std::string text = std::to_string(cell->place) + ' ' + std::to_string(cursor.series()) + ' ';
      for (const std::uint32_t number : {cell->form == Cell::gap ? 0 : cell->reading, cell->type, cell->status}) {
        text += std::to_string(number) + ' ';
      }
      texts.insert(text.append(reinterpret_cast<const char*>(value.data()), value.size()));
    }
    EXPECT_FALSE(cursor.lost());
    return texts;
  }
  static std::span<const std::byte> as_bytes(const std::string& text) { return std::as_bytes(std::span(text)); }

  struct Kept {
    explicit Kept(const std::string& directory) : file(loop, directory, Durability::process) {}
    asio::io_context loop;
    asio::executor_work_guard<asio::io_context::executor_type> working{loop.get_executor()};
    CollectedFile file;
    SeriesStore store{file};
  };
  std::unique_ptr<Kept> kept_;
};

TEST_F(SeriesTest, WhatIsSafeIsReadAgainAndWhatWasUnderWayIsAGap) {
  const EntryId id = store().make("d1", "key");
  const std::uint32_t first = store().begin_round(id, 1000);
  store().expect(id, first, 4);
  put(id, first, "a-gc");
  EXPECT_EQ("4 2 1 1 ", books(id));
  store().end_round(id, first, Gap::overrun);
  store().missed(id, 2000, 5000, 4, 16, Gap::clock_stepped);
  const std::uint32_t next = store().begin_round(id, 6000);
  store().expect(id, next, 3);
  put(id, next, "d");
  OX_RESULT safe = 1;
  store().when_safe([&](OX_RESULT result) { safe = result; });
  kept_->loop.poll();
  EXPECT_EQ(OX_OK, safe);
  EXPECT_EQ("23 3 18 2 ", books(id));
  put(id, next, "-----e");  // not safe
  restart();
  const EntryId again = store().find("d1");
  EXPECT_EQ("23 3 20 0 ", books(again)) << "the open round has ended";
  EXPECT_EQ(6000, store().last_due(again));
  EXPECT_FALSE(store().put_gap(again, next, 1, Gap::no_answer)) << "it is not open";
  restart();
  EXPECT_EQ("23 3 20 0 ", books(store().find("d1")));
  EXPECT_EQ("", faults_);
}

// Cells wait for those that come with them, not for ever, and not until they are many.
TEST_F(SeriesTest, CellsOfAnOpenRoundAreSafeInAMoment) {
  const EntryId id = store().make("d1", "key");
  const std::uint32_t round = store().begin_round(id, 1000);
  store().expect(id, round, 8);
  put(id, round, "ab");
  kept_->loop.run_for(std::chrono::milliseconds(200));
  put(id, round, "--" + std::string("cd"));
  const std::string much(40000, 'x');
  for (const char* const item : {"8", "9", "10"}) {
    const std::uint32_t series = store().series(id, {0, 0, store().item(id, Axis::item, item)});
    EXPECT_TRUE(store().put(id, round, series, 0, OX_DISPLAYSTRING, as_bytes(much)));
  }
  kept_->loop.poll();
  put(id, round, "----e");  // not safe
  restart();
  EXPECT_EQ("8 7 1 0 ", books(store().find("d1")));
}

// Values of all forms, gaps, series that join and that pause, over segments that become blocks meanwhile; the manager
// dies now and then.
TEST_F(SeriesTest, EveryCellIsReadAgainAsItWasPut) {
  const std::string values[]{"\0\0\0\1"s, "\xFF\xFF\xFF\xFF"s, "12345678", "", "text", std::string(70000, 'x')};
  std::mt19937 random(7);
  Texts expected;
  EntryId id = store().make("d1", "key");
  for (std::uint32_t n = 0; n < 400; ++n) {
    const std::uint32_t round = store().begin_round(id, 60000 * (n + 1));
    ASSERT_EQ(n, round);
    for (std::uint32_t i = 0; i < 12; ++i) {
      if (i > n / 20 || random() % 5 == 0) continue;
      const std::uint32_t series = store().series(id, {i, i, i});
      const std::uint64_t kind = i == 3 ? 99 : i % 2 == 0 ? i / 2 : random() % 7;
      const std::string value = kind == 99 ? std::string("\0\0"s) + char(n / 256) + char(n) : values[kind % 6];
      const auto reading = static_cast<std::uint32_t>(random() % 20 == 0);
      const auto type = static_cast<std::uint32_t>(kind % 3 + 1);
      const std::string place = std::to_string(n) + ' ' + std::to_string(series) + ' ';
      if (kind == 6) {
        EXPECT_TRUE(store().put_gap(id, round, series, Gap::agent_error, reading));
        expected.insert(place + "0 0 " + std::to_string(status_word(Gap::agent_error, reading)) + ' ');
      } else {
        EXPECT_TRUE(store().put(id, round, series, reading, type, as_bytes(value), n % 3 == 0));
        expected.insert(place + (value.size() > 65535 ? "0 0 327680 "
                                                      : std::to_string(reading) + ' ' + std::to_string(type) + ' ' +
                                                            std::to_string(n % 3 == 0) + ' ' + value));
      }
    }
    store().end_round(id, round);
    if (n % 50 == 49) kept_->loop.poll();
    if (n == 130 || n == 300) {
      kept_->loop.poll();
      restart();
      id = store().find("d1");
      EXPECT_EQ(expected, all_cells(id)) << n;
    }
  }
  kept_->loop.poll();
  EXPECT_EQ(expected, all_cells(id));
  store().close(id);
  kept_->loop.poll();
  EXPECT_FALSE(store().is_open(id));
  EXPECT_EQ(expected, all_cells(id));
  const std::string books_before = books(id);
  restart();
  EXPECT_EQ(expected, all_cells(store().find("d1")));
  EXPECT_EQ(books_before, books(store().find("d1")));
  Connection connection;
  ASSERT_EQ(Outcome::done, connection.open(directory_ + "/collected.db", Durability::process));
  EXPECT_EQ(0u, connection.ask("SELECT count(*) FROM staged"));
  std::string told;
  EXPECT_EQ("", check_books(connection, told));
  EXPECT_EQ(0u, told.find("of the rounds in blocks ")) << told;
  ASSERT_EQ(Outcome::done, connection.run("DELETE FROM blocks WHERE id = (SELECT max(id) FROM blocks)"));
  EXPECT_EQ("1 chunks lack cells", check_books(connection, told));
  EXPECT_EQ("", faults_);
}

// A file whose pages do not all read is set aside; what it has lost is told and counted, and no answer hides it.
TEST_F(SeriesTest, WhatDamageHasTakenIsCounted) {
  EntryId id = store().make("d1", "key");
  for (std::uint32_t n = 0; n < 300; ++n) {
    const std::uint32_t round = store().begin_round(id, 60000 * (n + 1));
    put(id, round, "abcd");
    store().end_round(id, round);
  }
  kept_->loop.poll();
  kept_.reset();
  const std::string file = directory_ + "/collected.db";
  test::change_database(file, "UPDATE blocks SET sum = 0 WHERE id & 0xFFFFFF = 1");
  test::change_database(file, "UPDATE row_counts SET rows = 1");  // the start does not read all rows
  restart();
  id = store().find("d1");
  ASSERT_NE(0u, id);
  EXPECT_NE(std::string::npos, faults_.find("was damaged")) << faults_;
  EXPECT_EQ(256u, store().counts(id).lost);
  EXPECT_EQ(256u, store().view(id)->lost);
  restart();
  EXPECT_EQ(256u, store().counts(store().find("d1")).lost) << "once";
}

// docs/files.md has these bytes.
TEST(BlockTest, BytesAreFixedAndEveryCutIsRefused) {
  std::vector<Cell> cells;
  for (const std::uint64_t number : {1000, 1010, 1020, 1030, 1041, 1051, 1061}) {
    cells.push_back({.place = static_cast<std::uint32_t>(cells.size()),
                     .type = OX_COUNTER,
                     .form = Cell::four_bytes,
                     .number = number});
  }
  Bytes block;
  BlockWriter().write(cells, block);
  const std::string expected = "\x0f\x07\0\0\x09\x01\xd0\x0f\x05\x94\x52\x4b\x29"s;
  EXPECT_EQ(expected, std::string(reinterpret_cast<const char*>(block.data()), block.size()));
  BlockReader reader;
  EXPECT_TRUE(reader.read(block, 7, cells));
  EXPECT_EQ(1061u, cells.at(6).number);
  EXPECT_FALSE(reader.read(block, 6, cells)) << "a place too many";
  for (std::size_t cut = 0; cut < block.size(); ++cut) {
    EXPECT_FALSE(reader.read(Bytes(block.begin(), block.begin() + static_cast<std::ptrdiff_t>(cut)), 7, cells)) << cut;
  }
  block.push_back(std::byte{0});
  EXPECT_FALSE(reader.read(block, 7, cells)) << "a byte too many";
}

// A change of a row is one of the connection's.
TEST_F(SeriesTest, WhatAFullDiskRefusesIsNotWrittenInEveryTurn) {
  const EntryId id = store().make("d1", "key");
  const std::uint32_t round = store().begin_round(id, 1000);
  kept_->loop.poll();
  Connection& connection = kept_->file.database().connection();
  ASSERT_EQ(Outcome::done, connection.run("PRAGMA max_page_count = 1"));  // no page more than there are
  const auto put_much = [&](std::uint32_t first, std::uint32_t last) {
    const std::string large(60000, 'x');
    for (std::uint32_t item = first; item < last; ++item) {
      const std::uint32_t series = store().series(id, {0, 0, item});
      EXPECT_TRUE(store().put(id, round, series, 0, OX_OCTETSTRING, std::as_bytes(std::span(large))));
    }
    kept_->loop.poll();
  };
  put_much(0, 8);
  const std::uint64_t before = connection.ask("SELECT total_changes()");
  for (std::uint32_t turn = 8; turn < 108; ++turn) put_much(turn, turn + 1);
  EXPECT_GT(before + 600, connection.ask("SELECT total_changes()")) << "a hundred turns";
  ASSERT_EQ(Outcome::done, connection.run("PRAGMA max_page_count = 1000000"));
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  store().end_round(id, round);
  kept_->loop.poll();
  EXPECT_EQ(108u, store().view(id)->rounds == 1 ? store().counts(id).stored : 0);
}

TEST_F(SeriesTest, DiskThatRefusesLosesNothing) {
  const EntryId id = store().make("d1", "key");
  kept_->loop.poll();
  Connection other;
  ASSERT_EQ(Outcome::done, other.open(directory_ + "/collected.db", Durability::process));
  ASSERT_EQ(Outcome::done, other.run("BEGIN IMMEDIATE"));
  const std::uint32_t round = store().begin_round(id, 1000);
  put(id, round, "abc");
  OX_RESULT safe = 0;
  store().when_safe([&](OX_RESULT result) { safe = result; });
  kept_->loop.poll();
  EXPECT_EQ(OX_EWRITE, safe);
  store().end_round(id, round);
  kept_->loop.poll();
  EXPECT_EQ(0u, store().view(id)->rounds) << "what is not safe is not shown";
  const std::string large(60000, 'x');
  int rounds = 0;
  for (std::uint32_t next = 0; next != SeriesStore::no_round && rounds < 1000; ++rounds) {
    next = store().begin_round(id, 2000 + rounds);
    for (std::uint32_t item = 0; item < 2; ++item) {
      const bool taken =
          store().put(id, next, store().series(id, {0, 0, item}), 0, OX_OCTETSTRING, std::as_bytes(std::span(large)));
      EXPECT_EQ(next != SeriesStore::no_round, taken);
    }
    store().end_round(id, next);
    if (rounds % 50 == 0) kept_->loop.poll();
  }
  EXPECT_GT(240, rounds) << "what the disk does not take is not kept without end";
  ASSERT_EQ(Outcome::done, other.run("ROLLBACK"));
  store().end_round(id, round);
  kept_->loop.poll();
  restart();
  const Counts all = store().counts(store().find("d1"));
  EXPECT_TRUE(all.balanced() && all.stored == 1u + 2u * static_cast<unsigned>(rounds) && all.gaps == 0) << all.stored;
  EXPECT_NE(SeriesStore::no_round, store().begin_round(store().find("d1"), 9999));
}

}  // namespace
}  // namespace ox::manager
