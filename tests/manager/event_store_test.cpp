#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <new>
#include <optional>

#include "manager/events/store.h"
#include "tests/manager/damage.h"
#include "tests/support/fault_heap.h"
#include "tests/support/system_root.h"

namespace ox::manager {
namespace {

namespace fs = std::filesystem;

StoredEvent event(Sequence sequence, std::size_t size = 4, std::uint32_t arrived = 1000, bool listed = true) {
  return {sequence, arrived, listed, Bytes(size, static_cast<std::byte>(sequence))};
}

class EventStoreTest : public test::DatabaseTest {
 protected:
  void SetUp() override { reopen(); }
  void close() override { store_.reset(); }
  // As after the death of the manager, on its files of that moment: nothing was said goodbye to.
  void reopen() {
    if (store_) {
      fs::copy(directory_, directory_ + '1');
      directory_ += '1';
    }
    store_.emplace(directory_, Durability::process);
    ASSERT_TRUE(store_->open(noting()));
  }
  // Commits, and dies after it.
  void commit_and_reopen() {
    ASSERT_TRUE(store_->commit());
    reopen();
  }
  // "1 2 4- 6!" is the events in order; one that is not listed has a minus sign, the mark of a dropped one the other.
  [[nodiscard]] std::string shown(const std::vector<StoredEvent>& events) const {
    std::string text;
    for (const StoredEvent& one : events) {
      text += (text.empty() ? "" : " ") + std::to_string(one.sequence) +
              (one.body.empty() ? "!"
               : one.listed     ? ""
                                : "-");
      EXPECT_EQ(Bytes(one.body.size(), static_cast<std::byte>(one.sequence)), one.body);
    }
    return text;
  }
  [[nodiscard]] std::string after(Sequence sequence, std::size_t count, std::size_t bytes) {
    std::vector<StoredEvent> page;
    EXPECT_EQ(Outcome::done, store_->after(sequence, count, bytes, page));
    return shown(page);
  }
  [[nodiscard]] std::string before(Sequence sequence, std::size_t count, std::size_t bytes) {
    std::vector<StoredEvent> page;
    EXPECT_EQ(Outcome::done, store_->before(sequence, count, bytes, page));
    return shown(page);
  }
  [[nodiscard]] std::string all() { return after(0, 100000, 1u << 30); }
  [[nodiscard]] std::optional<StoredEvent> get(Sequence sequence) {
    std::optional<StoredEvent> event;
    EXPECT_EQ(Outcome::done, store_->get(sequence, event));
    return event;
  }
  void tidy(const EventStore::Excess& excess) {
    EXPECT_FALSE(store_->tidy(excess, std::chrono::steady_clock::time_point::max()));
    ASSERT_TRUE(store_->commit());
  }
  void put(Sequence first, Sequence last, std::size_t size = 4) {
    for (Sequence sequence = first; sequence <= last; ++sequence) store_->put(event(sequence, size));
  }

  std::optional<EventStore> store_;
};

TEST_F(EventStoreTest, WhatWasCommittedIsThereAgainAndNothingElse) {
  put(1, 5);
  store_->put_wait("night watch", {3, 77});
  store_->put_wait("gone", {1, 1});
  ASSERT_TRUE(store_->commit());
  store_->erase(2);
  store_->put(event(4, 9, 1001, false));
  store_->erase_wait("gone");
  ASSERT_TRUE(store_->commit());
  put(6, 7);
  store_->put_wait("night watch", {7, 78});
  reopen();
  EXPECT_EQ("1 3 4- 5", all());
  EXPECT_EQ(4u + 4 + 9 + 4, store_->bytes());
  EXPECT_EQ(5u, store_->last());
  ASSERT_EQ(1u, store_->waits().size());
  EXPECT_EQ(3u, store_->waits().at("night watch").taken);
  EXPECT_EQ(77u, store_->waits().at("night watch").seen);
  EXPECT_EQ(1001u, get(4)->arrived);
  EXPECT_FALSE(get(2));
  EXPECT_FALSE(get(6));

  tidy({.bytes = 4, .passed = 5});
  store_->erase(5);
  commit_and_reopen();
  EXPECT_EQ("", all());
  EXPECT_EQ(0u, store_->bytes());
  EXPECT_EQ(5u, store_->last()) << "numbers are not given twice";
  store_->put(event(6));
  store_->put(event(7, 4, 1000, false));
  ASSERT_TRUE(store_->commit());
  tidy({.bytes = 100, .passed = 7});
  reopen();
  EXPECT_EQ("6", all());
  EXPECT_EQ(7u, store_->last());
  store_->put(event(8));
  ASSERT_TRUE(store_->commit());
  store_->erase(8);
  commit_and_reopen();
  EXPECT_EQ(8u, store_->last());
  EXPECT_TRUE(store_->skip_given());
  reopen();
  EXPECT_EQ(65541u, store_->last()) << "as far as numbers may have been given";
  EXPECT_EQ("", faults_);
}

TEST_F(EventStoreTest, WithoutMemoryAnEventIsKeptOrRefused) {
  std::vector<StoredEvent> kept;
  bool reached = true;
  for (Sequence n = 1; reached; ++n) {
    const StoredEvent tried = event(2 * n, 300);
    bool good = false;
    test::fail_allocation(static_cast<int>(n));
    try {
      store_->put(tried);
      good = store_->commit();
    } catch (const std::bad_alloc&) {  // whoever sends it is told
    }
    reached = test::stop_failing();
    EXPECT_TRUE(good || reached);
    if (good) kept.push_back(tried);
    kept.push_back(event(2 * n + 1));
    store_->put(kept.back());
    ASSERT_TRUE(store_->commit());
  }
  EXPECT_EQ(shown(kept), all());
  std::uint64_t bytes = 0;
  for (const StoredEvent& one : kept) bytes += one.body.size();
  EXPECT_EQ(bytes, store_->bytes());
  reopen();
  EXPECT_EQ(shown(kept), all());
}

TEST_F(EventStoreTest, PagesInBothDirections) {
  put(1, 9, 10);
  store_->put(event(3, 10, 1000, false));
  store_->put(event((Sequence{1} << 32) + 7, 10, 2000));
  ASSERT_TRUE(store_->commit());
  EXPECT_EQ("1 2", after(0, 2, 1000));
  EXPECT_EQ("3- 4 5", after(2, 100, 25));
  EXPECT_EQ("5", after(4, 100, 1)) << "one at least";
  EXPECT_EQ("4294967303", after(9, 100, 1000));
  EXPECT_EQ("4294967303 9", before(~Sequence{0}, 2, 1000));
  EXPECT_EQ("2 1", before(3, 100, 1000));
  EXPECT_EQ("", before(1, 100, 1000));

  tidy({.bytes = 1000, .passed = 2});
  EXPECT_TRUE(get(3));
  tidy({.bytes = 1000, .passed = 3});
  EXPECT_FALSE(get(3));
  EXPECT_EQ(90u, store_->bytes());
  tidy({.bytes = 60, .passed = 4});
  EXPECT_EQ("5 6 7 8 9 4294967303", all());
  tidy({.bytes = 1000, .arrived_before = 1001});
  EXPECT_EQ("4294967303", all());
  reopen();
  EXPECT_EQ(9u, store_->erased());
}

TEST_F(EventStoreTest, WhoHasMostGivesWayAndMarksAreLeftForWaits) {
  for (Sequence sequence = 1; sequence <= 12; ++sequence) {
    StoredEvent one = event(sequence, 10);
    if (sequence == 3 || sequence == 8) one.origin = 7;
    store_->put(one);
  }
  ASSERT_TRUE(store_->commit());
  const struct {
    EventStore::Excess excess;
    const char* left;
  } cases[] = {
      {{.bytes = 70, .passed = 4}, "3 6! 7 8 9 10 11 12"},
      {{.bytes = 50, .passed = 4}, "3 7! 8 9! 10 11 12"},
      {{.bytes = 30, .passed = 7}, "3 8 11! 12"},
      {{.bytes = 20, .passed = 7}, "8 11! 12"},
      {{.bytes = 10, .passed = 7}, "11! 12"},
      {{.bytes = 10, .passed = 11}, "12"},
      {{.bytes = 0, .passed = 11}, "12!"},
  };
  for (const auto& c : cases) {
    tidy(c.excess);
    EXPECT_EQ(c.left, all());
    EXPECT_EQ(c.excess.bytes, store_->bytes());
    reopen();
    EXPECT_EQ(c.left, all());
    EXPECT_EQ(c.excess.bytes, store_->bytes());
  }
  EXPECT_FALSE(get(12));
  EXPECT_EQ("", faults_);
}

// Each has one event, and together they have too much: the oldest go, and no more of them than must.
TEST_F(EventStoreTest, ManyWithLittleLoseNoMoreThanMust) {
  for (Sequence sequence = 1; sequence <= 10; ++sequence) {
    StoredEvent one = event(sequence, 10);
    one.origin = static_cast<Origin>(sequence);
    store_->put(one);
  }
  tidy({.bytes = 90, .passed = 10});
  EXPECT_EQ("2 3 4 5 6 7 8 9 10", all());
}

TEST_F(EventStoreTest, WhatIsDroppedWithoutMemoryOrRoomCountsAsItIs) {
  const auto bytes = [this] {
    std::vector<StoredEvent> page;
    EXPECT_EQ(Outcome::done, store_->after(0, 1000, 1u << 20, page));
    std::uint64_t sum = 0;
    for (const StoredEvent& one : page) sum += one.body.size();
    return sum;
  };
  put(1, 12, 10);
  ASSERT_TRUE(store_->commit());
  bool reached = true;
  for (int n = 1; reached; ++n) {
    test::fail_allocation(n);
    try {
      (void)store_->tidy({.bytes = 60, .passed = 3}, std::chrono::steady_clock::time_point::max());
    } catch (const std::bad_alloc&) {  // the next commit tells what became of it
    }
    (void)store_->commit();
    reached = test::stop_failing();
    EXPECT_EQ(bytes(), store_->bytes());
    ASSERT_LT(n, 10000);
  }
  EXPECT_EQ("6! 7 8 9 10 11 12", all());
}

// The store opens, and what is not there any more has been told.
TEST_F(EventStoreTest, DamageIsToldAndWhatReadsIsKept) {
  constexpr Sequence count = 300;
  for (Sequence sequence = 1; sequence <= count; ++sequence) {
    store_->put(event(sequence, sequence % 50 == 0 ? 9000 : 100));
  }
  for (int i = 0; i < 100; ++i) store_->put_wait("wait " + std::to_string(i), {5, 6});
  ASSERT_TRUE(store_->commit());
  const std::string file = directory_ + "/events.db";
  std::size_t kept_least = count;
  for_every_damage(file, [&](bool certain) {
    reopen();
    if (!test::tables_check(file)) {
      store_->renew([](bool renewed) { EXPECT_TRUE(renewed); });  // as the check beside the work would have it
    }
    std::size_t found = 0;
    for (Sequence sequence = 1; sequence <= count; ++sequence) {
      std::optional<StoredEvent> one;
      if (store_->get(sequence, one) != Outcome::done || !one) continue;
      EXPECT_EQ(sequence % 50 == 0 ? 9000u : 100u, one->body.size());
      ++found;
    }
    std::vector<StoredEvent> page;
    const Outcome all = store_->after(0, 2 * count, 1u << 30, page);
    EXPECT_TRUE(!faults_.empty() || !certain);
    EXPECT_TRUE(!faults_.empty() ||
                (all == Outcome::done && found == count && page.size() == count && store_->waits().size() == 100))
        << found << " events and " << store_->waits().size() << " waits";
    EXPECT_GE(store_->last(), count);
    kept_least = std::min(kept_least, found);
    put(70000, 70000);                         // and it goes on
    if (!store_->commit()) put(70001, 70001);  // the page that it came upon was damaged
    EXPECT_TRUE(store_->commit());
  });
  EXPECT_EQ(0u, kept_least) << "of a file of no bytes";
}

// Of a hundred events that come upon damage each would have a salvage of its own, behind which all others wait.
TEST_F(EventStoreTest, ARenewalThatFailsIsTriedAgainAfterAWhile) {
  const std::string made = directory_ + "/events.db.new";
  fs::create_directories(made);  // where no file can be made
  put(1, 9);
  ASSERT_TRUE(store_->commit());
  int tried = 0;
  bool usable = false;
  const auto renew = [&] {
    store_->renew([&](bool renewed) {
      usable = renewed;
      ++tried;
    });
  };
  for (int i = 0; i < 5; ++i) renew();
  EXPECT_EQ(1, tried);
  EXPECT_EQ(1, std::count(faults_.begin(), faults_.end(), '\n')) << faults_;
  put(10, 10);
  EXPECT_TRUE(store_->commit());
  while (tried == 1) renew();
  EXPECT_FALSE(usable);
  EXPECT_NE(std::string::npos, faults_.find("2 times")) << faults_;
  fs::remove(made);
  while (tried == 2) renew();
  EXPECT_TRUE(usable);
  EXPECT_EQ("1 2 3 4 5 6 7 8 9 10", all());
}

// What a killed manager has left of its log, with its index or without, damaged in every way.
TEST_F(EventStoreTest, DamageOfTheLogIsTold) {
  constexpr Sequence count = 40;
  for (Sequence sequence = 1; sequence <= count; ++sequence) {
    store_->put(event(sequence));
    ASSERT_TRUE(store_->commit());
  }
  const std::string killed = directory_ + "-killed";
  fs::copy(directory_, killed);
  const std::string file = directory_ + "/events.db-wal", sound = test::read_file(file);
  lay(killed, file, sound);
  const auto look_at = [&](bool certain) {
    reopen();
    std::vector<StoredEvent> page;
    EXPECT_EQ(Outcome::done, store_->after(0, 2 * count, 1u << 30, page));
    EXPECT_TRUE(!faults_.empty() || (page.size() == count && !certain)) << page.size();
    EXPECT_GE(store_->last(), count);
  };
  for_every_damage(file, look_at);
  std::string damaged = sound;
  damaged[sound.size() / 2] = static_cast<char>(damaged[sound.size() / 2] ^ 1);
  const struct {
    bool has_index;
    std::string bytes;
    bool tells;
  } rows[] = {{true, sound, false},
              {true, sound + sound.substr(32, 5000), false},  // of a change that was not finished
              {false, sound, false},
              {false, damaged, true}};
  for (const auto& row : rows) {
    if (!row.has_index) fs::remove(killed + "/events.db-shm");
    lay(killed, file, row.bytes);
    look_at(row.tells);
    EXPECT_EQ(row.tells, !faults_.empty()) << faults_;
  }
}

}  // namespace
}  // namespace ox::manager
