#include "manager/journal.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/system_root.h"

namespace ox::manager {
namespace {

namespace fs = std::filesystem;
using test::read_file;
using test::write_file;

const Oid schedule{11, 13, 11, 0};

Change add(const std::string& type, const std::string& name) {
  Change change;
  change.component = {type, name};
  return change;
}

Change set(const std::string& type, const std::string& name, const Oid& path, std::uint32_t value_type,
           const std::string& bytes) {
  Change change = add(type, name);
  change.kind = Change::Kind::set;
  change.path = path;
  change.value = {value_type, bytes};
  return change;
}

Change kind(Change change, Change::Kind other) {
  change.kind = other;
  return change;
}

Change relate(const std::string& name, const ComponentName& from, const ComponentName& to) {
  Change change;
  change.kind = Change::Kind::relate;
  change.relation = {name, from, to};
  return change;
}

std::vector<Change> contents(const Store& store) {
  std::vector<Change> all;
  store.visit([&](const Change& change) { all.push_back(change); });
  return all;
}

bool same(const std::vector<Change>& a, const std::vector<Change>& b) {
  const auto equal = [](const Change& x, const Change& y) {
    return x.kind == y.kind && x.component == y.component && x.path == y.path && x.value == y.value &&
           x.relation == y.relation;
  };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), equal);
}

class JournalTest : public testing::Test {
 protected:
  void SetUp() override { fs::create_directories(directory_); }

  // What a manager finds that starts now.
  Store reloaded(bool expect_sound = true) {
    Store store;
    faults_.clear();
    Journal journal(directory_);
    EXPECT_EQ(expect_sound, journal.load(store, report_));
    EXPECT_EQ(expect_sound, faults_.empty()) << faults_;
    return store;
  }
  void commit(Journal& journal, Store& store, const std::vector<Change>& batch) {
    ASSERT_EQ(0u, journal.commit(store, batch));
  }

  std::string directory_ = test::work_dir() + "/data";
  std::string journal_file_ = directory_ + "/components.jnl";
  std::string snapshot_file_ = directory_ + "/components.def";
  std::string faults_;
  Report report_ = [this](const std::string& file, std::uint32_t line, const std::string& text) {
    faults_ += fs::path(file).filename().string() + ':' + std::to_string(line) + ": " + text + '\n';
  };
};

std::vector<Change> all_kinds() {
  std::string every_byte;
  for (int byte = 0; byte < 256; ++byte) every_byte += static_cast<char>(byte);
  return {
      add("node", "r1"),
      add("ruleEnt", "night \"shift\" \\ 2"),
      add("map", "\x83\x5C\x83\x5C"),  // double-byte, its second byte a backslash
      add("map", "=00"),
      add("node", "gone"),
      set("node", "r1", {11, 5, 2, 0}, OX_INTEGER, std::string("\xFF\xFF\xFF\xFE", 4)),
      set("ruleEnt", "night \"shift\" \\ 2", schedule, OX_DISPLAYSTRING, std::string("* * \"a\\b\"", 10)),
      set("ruleEnt", "night \"shift\" \\ 2", {11, 13, 1, 0}, OX_DISPLAYSTRING, std::string("\0", 1)),
      set("system", "system", {11, 15, 14, 0}, OX_OCTETSTRING, every_byte),
      set("system", "system", {11, 15, 15, 0}, OX_OCTETSTRING, ""),
      set("node", "gone", {11, 5, 2, 0}, OX_INTEGER, std::string(4, '\0')),
      set("node", "r1", {11, 5, 7, 0}, OX_INTEGER, std::string(4, '\0')),
      kind(set("node", "r1", {11, 5, 7, 0}, 0, ""), Change::Kind::unset),
      relate("icon-obj", {"map", "=00"}, {"node", "r1"}),
      relate("icon-obj", {"map", "=00"}, {"node", "gone"}),
      kind(add("node", "gone"), Change::Kind::remove),
  };
}

TEST_F(JournalTest, EveryKindOfChangeComesBackFromJournalAndFromSnapshot) {
  Store store;
  Journal journal(directory_, 0);  // every second batch compacts
  ASSERT_TRUE(journal.load(store, report_));
  commit(journal, store, all_kinds());
  EXPECT_TRUE(store.relations_of({"node", "gone"}).empty());
  EXPECT_EQ(1u, store.relations_of({"map", "=00"}).size());
  EXPECT_FALSE(fs::exists(snapshot_file_));
  EXPECT_TRUE(same(contents(store), contents(reloaded())));

  commit(journal, store, {add("node", "r2")});
  EXPECT_TRUE(fs::exists(snapshot_file_));
  EXPECT_TRUE(same(contents(store), contents(reloaded())));
}

TEST_F(JournalTest, WriteCutAnywhereLosesOnlyTheBatchInFlight) {
  Store store;
  Journal journal(directory_);
  ASSERT_TRUE(journal.load(store, report_));
  commit(journal, store, {add("node", "r1")});
  const auto acknowledged = contents(store);
  const std::string before = read_file(journal_file_);
  commit(journal, store, {add("node", "r2"), set("node", "r2", schedule, OX_DISPLAYSTRING, std::string("x", 2))});
  const std::string after = read_file(journal_file_);

  for (std::size_t cut = before.size(); cut < after.size(); ++cut) {
    write_file(journal_file_, after.substr(0, cut));
    Store found;
    Journal next(directory_);
    ASSERT_TRUE(next.load(found, report_)) << "cut at " << cut;
    EXPECT_TRUE(same(acknowledged, contents(found))) << "cut at " << cut;
    // What is written after the cut must not be swallowed by the torn rest.
    commit(next, found, {add("node", "r3")});
    EXPECT_TRUE(same(contents(found), contents(reloaded()))) << "cut at " << cut;
    fs::remove(snapshot_file_);
  }
}

TEST_F(JournalTest, KilledBetweenSnapshotAndJournalAppliesTheJournalTwice) {
  Store store;
  Journal journal(directory_, 0);
  ASSERT_TRUE(journal.load(store, report_));
  commit(journal, store, all_kinds());
  commit(journal, store, {kind(add("node", "r1"), Change::Kind::remove)});
  const std::string old_journal = read_file(journal_file_);
  commit(journal, store, {add("node", "r1")});  // writes the snapshot
  write_file(journal_file_, old_journal + read_file(journal_file_));
  EXPECT_TRUE(same(contents(store), contents(reloaded())));
}

TEST_F(JournalTest, DamageIsReportedAndNotDropped) {
  Store store;
  Journal journal(directory_);
  ASSERT_TRUE(journal.load(store, report_));
  commit(journal, store, {add("node", "r1")});
  commit(journal, store, {add("node", "r2")});
  const std::string good = read_file(journal_file_);

  std::string flipped = good;
  flipped[good.find("r1")] = 'q';
  write_file(journal_file_, flipped);
  (void)reloaded(false);
  EXPECT_EQ("components.jnl:2: bad checksum\n", faults_);

  write_file(journal_file_, "nonsense\n" + good);
  (void)reloaded(false);
  EXPECT_EQ("components.jnl:1: bad line\n", faults_);

  fs::remove(journal_file_);
  write_file(snapshot_file_, good.substr(0, good.size() - 4));
  (void)reloaded(false);
  EXPECT_EQ("components.def:3: the end is missing\n", faults_);
}

TEST_F(JournalTest, FormatIsThatOfTheDocumentation) {
  write_file(snapshot_file_,
             "component:\tnode\t\"r1\"\nvalue:\tnode\t\"r1\"\t11.5.2.0\t1\tnumber\t161\n"
             "value:\tnode\t\"r1\"\t11.5.1.0\t6\thex\t\"7f000001\"\ncommit:\tac333466\n");
  const Store store = reloaded();
  const Value* const address = store.value({"node", "r1"}, {11, 5, 1, 0});
  ASSERT_NE(nullptr, address);
  EXPECT_EQ((Value{OX_IPADDRESS, std::string("\x7F\0\0\1", 4)}), *address);
}

TEST_F(JournalTest, DiskThatRefusesChangesNothing) {
  Store store;
  Journal journal(directory_ + "/missing");
  ASSERT_TRUE(journal.load(store, report_));
  EXPECT_EQ(OX_EWRITE, journal.commit(store, std::vector{add("node", "r1")}));
  EXPECT_FALSE(store.has(ComponentName{"node", "r1"}));
}

}  // namespace
}  // namespace ox::manager
