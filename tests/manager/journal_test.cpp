#include "manager/components/journal.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "manager/components/store_text.h"
#include "tests/support/byte_text.h"
#include "tests/support/system_root.h"

namespace ox::manager {
namespace {

namespace fs = std::filesystem;
using test::read_file;
using test::write_file;

Change add(const std::string& name) { return {.component = {"node", name}}; }

class JournalTest : public testing::Test {
 protected:
  void SetUp() override { fs::create_directories(directory_); }

  // What a manager has that starts now.
  struct Books {
    explicit Books(JournalTest& test, std::size_t compact_at = 1u << 20)
        : journal(test.directory_, compact_at), sound(journal.load(store, test.sink_)) {}
    void commit(const std::vector<Change>& batch) { ASSERT_EQ(0u, journal.commit(store, batch)); }
    // The lines that make the store.
    [[nodiscard]] std::string contents() const {
      std::string lines;
      store.visit([&](const Change& change) { lines += to_line(change); });
      return lines;
    }
    Store store;
    Journal journal;
    bool sound;
  };
  [[nodiscard]] std::string reloaded() { return Books(*this).contents(); }

  std::string directory_ = test::work_dir() + "/data";
  std::string journal_file_ = directory_ + "/components.jnl";
  std::string snapshot_file_ = directory_ + "/components.def";
  std::string faults_;
  FaultSink sink_ = [this](const std::string& file, std::uint32_t line, const std::string& text) {
    faults_ += fs::path(file).filename().string() + ':' + std::to_string(line) + ": " + text + '\n';
  };
};

// Names with quotes, with a double-byte character whose second byte is a backslash, and with a "=" in front.
const std::string lines =
    "component:\tnode\t\"r1\"\n"
    "component:\truleEnt\t\"night \\\"shift\\\" \\\\ 2\"\n"
    "component:\tmap\t=835c835c\n"
    "component:\tmap\t=3d3030\n"
    "component:\tnode\t\"gone\"\n"
    "value:\tnode\t\"r1\"\t11.5.2.0\t1\tnumber\t4294967294\n"
    "value:\truleEnt\t\"night \\\"shift\\\" \\\\ 2\"\t11.13.11.0\t9\ttext\t\"* * \\\"a\\\\b\\\"\"\n"
    "value:\truleEnt\t\"night \\\"shift\\\" \\\\ 2\"\t11.13.1.0\t9\ttext\t\"\"\n"
    "value:\tsystem\t\"system\"\t11.15.14.0\t8\thex\t\"00090a0d1b22275c7f8080ff\"\n"
    "value:\tsystem\t\"system\"\t11.15.15.0\t8\thex\t\"\"\n"
    "value:\tnode\t\"gone\"\t11.5.2.0\t1\tnumber\t0\n"
    "value:\tnode\t\"r1\"\t11.5.7.0\t1\tnumber\t0\n"
    "unset:\tnode\t\"r1\"\t11.5.7.0\n"
    "relation:\ticon-obj\tmap\t=3d3030\tnode\t\"r1\"\n"
    "relation:\ticon-obj\tmap\t=3d3030\tnode\t\"gone\"\n"
    "removed:\tnode\t\"gone\"\n";
const std::string outcome =
    "component:\tmap\t=3d3030\n"
    "component:\tmap\t=835c835c\n"
    "component:\tnode\t\"r1\"\n"
    "value:\tnode\t\"r1\"\t11.5.2.0\t1\tnumber\t4294967294\n"
    "component:\truleEnt\t\"night \\\"shift\\\" \\\\ 2\"\n"
    "value:\truleEnt\t\"night \\\"shift\\\" \\\\ 2\"\t11.13.1.0\t9\ttext\t\"\"\n"
    "value:\truleEnt\t\"night \\\"shift\\\" \\\\ 2\"\t11.13.11.0\t9\ttext\t\"* * \\\"a\\\\b\\\"\"\n"
    "value:\tsystem\t\"system\"\t11.15.14.0\t8\thex\t\"00090a0d1b22275c7f8080ff\"\n"
    "value:\tsystem\t\"system\"\t11.15.15.0\t8\thex\t\"\"\n"
    "relation:\ticon-obj\tmap\t=3d3030\tnode\t\"r1\"\n";

TEST_F(JournalTest, EveryKindOfChangeComesBackFromJournalAndFromSnapshot) {
  write_file(journal_file_, lines + commit_line(lines));
  Books books(*this, 0);  // a journal with anything in it is compacted
  EXPECT_EQ(outcome, books.contents());
  EXPECT_TRUE(books.store.relations_of({"node", "gone"}).empty());
  EXPECT_EQ(1u, books.store.relations_of({"map", "=00"}).size());
  EXPECT_EQ((Value{OX_INTEGER, "\xFF\xFF\xFF\xFE"}), *books.store.value({"node", "r1"}, {11, 5, 2, 0}));
  EXPECT_EQ((Value{OX_OCTETSTRING, test::bytes("00090a0d1b22275c7f8080ff")}),
            *books.store.value({"system", "system"}, {11, 15, 14, 0}));

  const std::vector<Change> changes{
      {.kind = Change::Kind::unset, .component = {"node", "r1"}, .path = {11, 5, 2, 0}},
      {.kind = Change::Kind::unrelate, .relation = {"icon-obj", {"map", "=00"}, {"node", "r1"}}},
      {.kind = Change::Kind::remove, .component = {"map", "\x83\x5C\x83\x5C"}}};
  books.commit(changes);
  EXPECT_NE(std::string::npos, read_file(snapshot_file_).find("\n" + outcome + "commit:\t"));
  EXPECT_EQ(0u, read_file(journal_file_)
                    .find("unset:\tnode\t\"r1\"\t11.5.2.0\n"
                          "unrelated:\ticon-obj\tmap\t=3d3030\tnode\t\"r1\"\n"
                          "removed:\tmap\t=835c835c\ncommit:\t"));
  EXPECT_EQ(books.contents(), reloaded());
  EXPECT_NE(outcome, reloaded());

  // Killed between the two steps of compacting, a manager leaves the journal beside the snapshot that has it already.
  write_file(journal_file_, lines + commit_line(lines) + read_file(journal_file_));
  EXPECT_EQ(books.contents(), reloaded());
  EXPECT_EQ("", faults_);
}

TEST_F(JournalTest, WriteCutAnywhereLosesOnlyTheBatchInFlight) {
  Books books(*this);
  books.commit({add("r1")});
  const std::string acknowledged = books.contents();
  const std::string before = read_file(journal_file_);
  books.commit({add("r2"), add("r3")});
  const std::string after = read_file(journal_file_);

  for (std::size_t cut = before.size(); cut < after.size(); ++cut) {
    SCOPED_TRACE(cut);
    write_file(journal_file_, after.substr(0, cut));
    Books next(*this);
    EXPECT_EQ(acknowledged, next.contents());
    // What is written after the cut must not be swallowed by the torn rest.
    next.commit({add("r4")});
    EXPECT_EQ(next.contents(), reloaded());
    fs::remove(snapshot_file_);
  }
  EXPECT_EQ("", faults_);
}

TEST_F(JournalTest, DamageIsReportedAndNotDropped) {
  Books books(*this);
  books.commit({add("r1")});
  books.commit({add("r2")});
  const std::string good = read_file(journal_file_);
  std::string flipped = good;
  flipped[good.find("r1")] = 'q';
  const struct {
    std::string snapshot, journal;
    const char* fault;
  } cases[] = {
      {"", flipped, "components.jnl:2: bad checksum\n"},
      {"", "nonsense\n" + good, "components.jnl:1: bad line\n"},
      {good.substr(0, good.size() - 4), "", "components.def:3: the end is missing\n"},
  };
  for (const auto& c : cases) {
    write_file(snapshot_file_, c.snapshot);
    write_file(journal_file_, c.journal);
    faults_.clear();
    EXPECT_FALSE(Books(*this).sound);
    EXPECT_EQ(c.fault, faults_);
  }
}

TEST_F(JournalTest, FormatIsThatOfTheDocumentation) {
  write_file(snapshot_file_,
             "component:\tnode\t\"r1\"\nvalue:\tnode\t\"r1\"\t11.5.2.0\t1\tnumber\t161\n"
             "value:\tnode\t\"r1\"\t11.5.1.0\t6\thex\t\"7f000001\"\ncommit:\tac333466\n");
  const Books books(*this);
  EXPECT_EQ("", faults_);
  EXPECT_EQ((Value{OX_IPADDRESS, std::string("\x7F\0\0\1", 4)}), *books.store.value({"node", "r1"}, {11, 5, 1, 0}));
}

TEST_F(JournalTest, DiskThatRefusesChangesNothing) {
  Books books(*this);
  fs::remove_all(directory_);
  EXPECT_EQ(OX_EWRITE, books.journal.commit(books.store, std::vector{add("r1")}));
  EXPECT_EQ("", books.contents());
}

}  // namespace
}  // namespace ox::manager
