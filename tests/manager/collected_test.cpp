// Data of applications in the database of collected data.
#include "manager/series/collected.h"

#include <gtest/gtest.h>

#include <asio/executor_work_guard.hpp>
#include <memory>

#include "tests/manager/damage.h"
#include "tests/support/fault_heap.h"

namespace ox::manager {
namespace {

class CollectedTest : public test::DatabaseTest {
 protected:
  void SetUp() override { restart(); }
  void close() override { collected_.reset(); }
  // As after the death of the manager.
  void restart() {
    collected_.reset();
    loop_.poll();
    collected_ = std::make_unique<Kept>(loop_, directory_);
    ASSERT_TRUE(collected_->file.open(noting()));
  }
  // The answers of one turn's appends to the series of the names.
  std::string append(const std::string& names, std::size_t bytes = 8) {
    const std::string values(bytes, 'v');
    answers_.clear();
    for (const char name : names) {
      collected_->data.append({std::string(1, name), "x"}, 1, 2, std::as_bytes(std::span(values)),
                              [this](OX_RESULT result) { answers_ += std::to_string(result) + ' '; });
    }
    EXPECT_EQ("", answers_);
    loop_.poll();
    return answers_;
  }
  // "a20 b-": no such series.
  [[nodiscard]] std::string sizes(const std::string& names) const {
    std::string text;
    for (const char name : names) {
      std::uint32_t bytes = 0;
      const OX_RESULT result = collected_->data.size({std::string(1, name), "x"}, bytes);
      text += name + (result == OX_ENOTFOUND ? "-" : std::to_string(bytes)) + ' ';
    }
    return text;
  }

  static constexpr std::uint32_t most_bytes = 100'000;
  std::string file_ = directory_ + "/collected.db";
  asio::io_context loop_;
  asio::executor_work_guard<asio::io_context::executor_type> working_{loop_.get_executor()};
  struct Kept {
    Kept(asio::io_context& loop, const std::string& directory) : file(loop, directory, Durability::process) {}
    CollectedFile file;
    Collected data{file, {1000000, 100, most_bytes}};
  };
  std::unique_ptr<Kept> collected_;
  std::string answers_;
};

TEST_F(CollectedTest, DiskThatRefusesChangesNothingAndTakesRecordsAgain) {
  EXPECT_EQ("0 0 0 ", append("aba"));
  Connection other;
  ASSERT_EQ(Outcome::done, other.open(file_, Durability::process));
  ASSERT_EQ(Outcome::done, other.run("BEGIN IMMEDIATE"));
  EXPECT_EQ("144 144 144 ", append("aca", most_bytes / 3 - 40)) << "counts for nothing";
  EXPECT_EQ("a40 b20 c- ", sizes("abc"));
  ASSERT_EQ(Outcome::done, other.run("ROLLBACK"));
  EXPECT_EQ("0 0 ", append("ca"));
  EXPECT_EQ("a60 b20 c20 ", sizes("abc"));
  restart();
  EXPECT_EQ("a60 b20 c20 ", sizes("abc"));
  EXPECT_EQ(5u, other.ask("SELECT count(*) FROM records")) << "each has a key of its own";
}

TEST_F(CollectedTest, WithoutMemoryARecordIsKeptOrNot) {
  bool reached = true;
  for (int n = 1; reached; ++n) {
    const std::string before = sizes("ab");
    test::fail_allocation(n);
    try {
      (void)append("ab");
    } catch (const std::bad_alloc&) {
    }
    reached = test::stop_failing();
    loop_.poll();
    const std::string after = sizes("ab");
    EXPECT_TRUE(answers_ == "0 0 " || answers_ == "0 " || after == before) << n << ' ' << answers_;
    restart();
    EXPECT_EQ(after, sizes("ab")) << n;
  }
}

// What is told is what is there, and what is not there any more has been told.
TEST_F(CollectedTest, DamageIsToldAndWhatReadsIsKept) {
  for (int i = 0; i < 12; ++i) EXPECT_EQ("0 0 0 0 ", append("abca", 200));
  EXPECT_EQ("0 ", append("b", 20000));
  const std::string names = "abcdefghijklmnopqrstu";
  (void)append(names);
  const std::string expected = sizes(names);
  for_every_damage(file_, [&](bool certain) {
    const auto quiet = [](const auto&...) {};
    const bool whole = check_database(file_, CollectedFile::tables(), quiet, quiet);
    EXPECT_FALSE(whole && certain);
    restart();
    EXPECT_TRUE(!faults_.empty() || sizes(names) == expected);
    if (!whole && faults_.empty()) collected_->file.check();
    for (int i = 0; i < 1000 && !whole && faults_.empty(); ++i) {
      (void)loop_.run_one_for(std::chrono::milliseconds(10));
    }
    EXPECT_TRUE(!faults_.empty() || whole);
    (void)append("a");  // it may come upon a damaged page
    EXPECT_EQ("0 0 0 ", append("abd"));
    const std::string now = sizes("abcd");
    restart();
    EXPECT_EQ(now, sizes("abcd"));
    Connection connection;
    ASSERT_EQ(Outcome::done, connection.open(file_, Durability::process));
    for (const std::string name : {"a", "b", "c", "d"}) {
      const std::string of = " FROM series WHERE text1 = '" + name + "'";
      const std::string its = "SELECT sum(length(list) + 12) FROM records WHERE id >> 32 = (SELECT id" + of + ')';
      const std::uint64_t left = connection.ask(its.c_str());
      EXPECT_EQ(left, connection.ask(("SELECT bytes" + of).c_str())) << name;
    }
  });
}

}  // namespace
}  // namespace ox::manager
