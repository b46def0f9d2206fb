#include <gtest/gtest.h>

#include <filesystem>
#include <new>

#include "manager/events/store.h"
#include "tests/support/fault_heap.h"
#include "tests/support/system_root.h"

namespace ox::manager {
namespace {

namespace fs = std::filesystem;

StoredEvent event(Sequence sequence, std::size_t size = 4, std::uint32_t arrived = 1000, bool listed = true) {
  return {sequence, arrived, listed, Bytes(size, static_cast<std::byte>(sequence))};
}

// Both kinds of store keep the same promises.
class EventStoreTest : public testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    directory_ = test::work_dir() + "/log";
    fs::create_directories(directory_);
    reopen();
  }
  // As after the death of the manager: nothing was said goodbye to.
  void reopen() {
    store_.reset();
    store_ = GetParam() ? make_file_event_store(directory_, 4096) : make_event_store(directory_);
    ASSERT_TRUE(store_->open([&](const std::string&, std::uint32_t, const std::string& text) { faults_ += text; }));
  }
  // Commits, and dies after it.
  void commit_and_reopen() {
    ASSERT_TRUE(store_->commit());
    reopen();
  }
  // "1 2 4-" is the events in order; one that is not listed has a minus sign.
  [[nodiscard]] std::string shown(const std::vector<StoredEvent>& events) const {
    std::string text;
    for (const StoredEvent& one : events) {
      text += (text.empty() ? "" : " ") + std::to_string(one.sequence) + (one.listed ? "" : "-");
      EXPECT_EQ(Bytes(one.body.size(), static_cast<std::byte>(one.sequence)), one.body);
    }
    return text;
  }
  [[nodiscard]] std::string all() { return shown(store_->after(0, 100000, 1u << 30)); }
  void put(Sequence first, Sequence last, std::size_t size = 4) {
    for (Sequence sequence = first; sequence <= last; ++sequence) store_->put(event(sequence, size));
  }

  std::string directory_;
  std::unique_ptr<EventStore> store_;
  std::string faults_;
};

TEST_P(EventStoreTest, WhatWasCommittedIsThereAgainAndNothingElse) {
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
  EXPECT_EQ(3u, store_->waits()["night watch"].taken);
  EXPECT_EQ(77u, store_->waits()["night watch"].seen);
  EXPECT_EQ(1001u, store_->get(4)->arrived);
  EXPECT_FALSE(store_->get(2));
  EXPECT_FALSE(store_->get(6));

  store_->erase_up_to(4);
  store_->erase(5);
  commit_and_reopen();
  EXPECT_EQ("", all());
  EXPECT_EQ(0u, store_->bytes());
  EXPECT_EQ(5u, store_->last()) << "numbers are not given twice";
  EXPECT_EQ(4u, store_->erased());
  store_->put(event(6));
  store_->put(event(7, 4, 1000, false));
  ASSERT_TRUE(store_->commit());
  store_->erase_unlisted_up_to(7);
  commit_and_reopen();
  EXPECT_EQ("6", all());
  EXPECT_EQ(7u, store_->last());
  store_->put(event(8));
  ASSERT_TRUE(store_->commit());
  store_->erase(8);
  commit_and_reopen();
  EXPECT_EQ(8u, store_->last());
  EXPECT_EQ("", faults_);
}

TEST_P(EventStoreTest, WithoutMemoryAnEventIsKeptOrRefused) {
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
  reopen();
  EXPECT_EQ(shown(kept), all());
  EXPECT_EQ("", faults_);
}

TEST_P(EventStoreTest, PagesInBothDirections) {
  put(1, 9, 10);
  store_->put(event(3, 10, 1000, false));
  store_->put(event((Sequence{1} << 32) + 7, 10, 2000));
  ASSERT_TRUE(store_->commit());
  EXPECT_EQ("1 2", shown(store_->after(0, 2, 1000)));
  EXPECT_EQ("3- 4 5", shown(store_->after(2, 100, 25)));
  EXPECT_EQ("5", shown(store_->after(4, 100, 1))) << "one at least";
  EXPECT_EQ("4294967303", shown(store_->after(9, 100, 1000)));
  EXPECT_EQ("4294967303 9", shown(store_->before(~Sequence{0}, 2, 1000)));
  EXPECT_EQ("2 1", shown(store_->before(3, 100, 1000)));
  EXPECT_EQ("", shown(store_->before(1, 100, 1000)));

  EXPECT_EQ(0u, store_->excess(1000, 0));
  EXPECT_EQ(4u, store_->excess(60, 0));
  EXPECT_EQ(9u, store_->excess(1000, 1001));
  store_->erase_unlisted_up_to(2);
  ASSERT_TRUE(store_->commit());
  EXPECT_TRUE(store_->get(3));
  store_->erase_unlisted_up_to(3);
  ASSERT_TRUE(store_->commit());
  EXPECT_FALSE(store_->get(3));
  EXPECT_EQ(90u, store_->bytes());
}

INSTANTIATE_TEST_SUITE_P(Stores, EventStoreTest, testing::Values(false, true),
                         [](const auto& kind) { return kind.param ? "Files" : "OfThisBuild"; });

class EventFilesTest : public EventStoreTest {};

TEST_P(EventFilesTest, WriteThatIsNotWholeIsDropped) {
  const std::string file = directory_ + "/events.1.log";
  put(1, 2);
  ASSERT_TRUE(store_->commit());
  const std::size_t whole = test::read_file(file).size();
  put(3, 4);
  ASSERT_TRUE(store_->commit());
  const std::string bytes = test::read_file(file);
  for (std::size_t at = whole; at < bytes.size(); ++at) {
    std::string flipped = bytes;
    flipped[at] = static_cast<char>(flipped[at] ^ 1);
    for (const std::string& damaged : {bytes.substr(0, at), flipped}) {
      store_.reset();
      fs::remove_all(directory_);
      test::write_file(file, damaged);
      reopen();
      EXPECT_EQ("1 2", all()) << at;
      put(5, 5);
      commit_and_reopen();
      EXPECT_EQ("1 2 5", all()) << at;
    }
  }
}

TEST_P(EventFilesTest, FilesStayBoundedWhateverIsWritten) {
  put(1, 3);  // these stay, so that the oldest file never empties by itself
  for (Sequence turn = 0; turn < 3000; ++turn) {
    store_->put(event(4 + turn, 40));
    store_->put_wait("busy", {turn, 1});
    if (turn >= 20) store_->erase(4 + turn - 20);
    ASSERT_TRUE(store_->commit());
  }
  std::uintmax_t size = 0;
  for (const auto& entry : fs::directory_iterator(directory_)) size += entry.file_size();
  EXPECT_LT(size, 2u * 1024 + 6 * 4096);
  reopen();
  EXPECT_EQ(23u, store_->after(0, 1000, 1u << 20).size());
  EXPECT_EQ("1 2 3 2984", all().substr(0, 10));
  EXPECT_EQ(2999u, store_->waits()["busy"].taken);
  EXPECT_EQ("", faults_);

  test::write_file(directory_ + "/events.99999.log", "something else");
  EXPECT_FALSE(make_file_event_store(directory_)->open([&](const auto&, auto, const auto& text) { faults_ = text; }));
  EXPECT_NE("", faults_);
}

INSTANTIATE_TEST_SUITE_P(Files, EventFilesTest, testing::Values(true));

}  // namespace
}  // namespace ox::manager
