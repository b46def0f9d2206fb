// Collected values: the books, what is safe, and what is read again.
#include <gtest/gtest.h>

#include <asio/executor_work_guard.hpp>
#include <filesystem>
#include <memory>

#include "manager/series/store.h"
#include "tests/support/system_root.h"

namespace ox::manager {
namespace {

namespace fs = std::filesystem;

class SeriesTest : public testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(directory_);
    restart();
  }
  // As after the death of the manager: what was not safe is gone.
  void restart() {
    kept_.reset();
    loop_.restart();
    kept_ = std::make_unique<Kept>(loop_, directory_);
    ASSERT_TRUE(kept_->file.open(
        [this](const std::string&, std::uint32_t, const std::string& text) { faults_ += text + '\n'; }));
    loop_.poll();
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

  struct Kept {
    Kept(asio::io_context& loop, const std::string& directory) : file(loop, directory, Durability::process) {}
    CollectedFile file;
    SeriesStore store{file};
  };
  std::string directory_ = test::work_dir() + "/data";
  asio::io_context loop_;
  asio::executor_work_guard<asio::io_context::executor_type> working_{loop_.get_executor()};
  std::unique_ptr<Kept> kept_;
  std::string faults_;
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
  loop_.poll();
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

TEST_F(SeriesTest, DiskThatRefusesLosesNothing) {
  const EntryId id = store().make("d1", "key");
  loop_.poll();
  Connection other;
  ASSERT_EQ(Outcome::done, other.open(directory_ + "/collected.db", Durability::process));
  ASSERT_EQ(Outcome::done, other.run("BEGIN IMMEDIATE"));
  const std::uint32_t round = store().begin_round(id, 1000);
  put(id, round, "abc");
  OX_RESULT safe = 0;
  store().when_safe([&](OX_RESULT result) { safe = result; });
  loop_.poll();
  EXPECT_EQ(OX_EWRITE, safe);
  ASSERT_EQ(Outcome::done, other.run("ROLLBACK"));
  store().end_round(id, round);
  loop_.poll();
  restart();
  EXPECT_EQ("3 3 0 0 ", books(store().find("d1")));
}

}  // namespace
}  // namespace ox::manager
