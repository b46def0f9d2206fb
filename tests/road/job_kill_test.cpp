// A manager that is killed at any moment while it runs commands: none is started twice, none is left behind, and every
// time that was due has one record.
#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>
#include <span>
#include <sstream>
#include <thread>

#include <oxbase/oxbase.h>

#include "platform/environment.h"
#include "platform/process_list.h"
#include "tests/road/daemon.h"
#include "tests/support/installation.h"
#include "tests/support/other_process.h"
#include "tests/support/system_root.h"
#include "tests/support/test.h"

namespace ox::test {
namespace {

constexpr int entries = 4;
enum : std::uint32_t { running = 0, ran = 1, late = 2, killed = 6, lost = 7 };

// The command: it says in a file for what it runs, and rests, at times for so long that only somebody else ends it.
int runs_a_job(OtherProcess& owner) {
  if (std::getenv("FOREIGN") != nullptr) return 1;  // of whoever started the manager
  const std::string line = std::string(std::getenv("OX_ENTRY")) + ' ' + std::getenv("OX_DUE") + ' ' +
                           std::to_string(platform::process_id()) + '\n';
  std::FILE* const file = std::fopen(owner.text().c_str(), "ab");
  (void)std::fwrite(line.data(), 1, line.size(), file);
  (void)std::fclose(file);
  platform::sleep_ms(std::atoi(std::getenv("OX_DUE")) % 3 == 0 ? 60'000 : 400);
  return 0;
}
[[maybe_unused]] const bool declared = OtherProcess::declare("runs a job", runs_a_job);

int kills() { return number_from("OX_KILLS", OX_JOB_KILLS); }

void OX_CALL on_disconnect(std::uint32_t, OX_RESULT, std::uint32_t) {}

struct Line {
  std::string entry;
  std::uint32_t due = 0;
  std::uint32_t process = 0;
};

class JobKillTest : public testing::Test {
 protected:
  void SetUp() override {
    lay_down_installation();
    set_environment("FOREIGN", "no command sees it");
    write_file(file_, "");
    const std::string program = own_program();
    const std::size_t slash = program.find_last_of("/\\");
    std::string folder = program.substr(0, slash);
    std::replace(folder.begin(), folder.end(), '\\', '/');
    write_settings("CommandPath:\t" + folder + "\nRunLedgerRuns:\t100000\n");
    command_ = program.substr(slash + 1);
  }
  void make_entries() {
    for (int i = 0; i < entries; ++i) {
      cmdEntry* record = oxcmdEntryAlloc();
      (void)oxcmdCmdEntSetCmdEntryName(record, ("k" + std::to_string(i)).c_str());
      (void)oxcmdCmdEntSetCmdName(record, command_.c_str());
      (void)oxcmdCmdEntSetArgument(record, ("--process \"runs a job\" \"" + file_ + '"').c_str());
      (void)oxcmdCmdEntSetOwner(record, "test");
      (void)oxcmdCmdEntSetStartTime(record, static_cast<std::uint32_t>(std::time(nullptr)) + 1);
      (void)oxcmdCmdEntSetInterval(record, 1);
      (void)oxcmdCmdEntSetMode(record, 1 + static_cast<std::uint32_t>(i) % 3);
      (void)oxcmdCmdEntSetAdminStatus(record, 1);
      cmdEntry* made = nullptr;
      ASSERT_EQ(0u, oxcmdCreateNewCmdEntry(nullptr, record, &made));
      (void)oxcmdEntryFree(made);
      (void)oxcmdEntryFree(record);
    }
  }
  [[nodiscard]] std::vector<Line> lines() const {
    std::vector<Line> all;
    std::istringstream text(read_text(file_));
    for (Line line; text >> line.entry >> line.due >> line.process;) all.push_back(line);
    return all;
  }
  static void expect_gone(std::span<const Line> started) {
    for (int i = 0; i < 1000; ++i) {
      const auto living = platform::process_ids();
      const auto lives = [&](const Line& line) {
        return std::binary_search(living.begin(), living.end(), line.process);
      };
      if (std::none_of(started.begin(), started.end(), lives)) return;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ADD_FAILURE() << "programs of the manager that was killed are left";
  }
  struct Row {
    std::uint32_t due = 0;
    std::uint32_t what = 0;
  };
  static std::map<std::uint32_t, Row> ledger(const std::string& entry) {
    std::map<std::uint32_t, Row> rows;
    dnode* list = nullptr;
    EXPECT_EQ(0u, oxaGet(nullptr, ("cmdEnt:" + entry).c_str(), "11.23.17", nullptr, 0, 20, &list));
    for (dnode* node = list; node != nullptr; node = oxdNext(node)) {
      const char* path = "";
      (void)oxdGetAmibName(node, &path);
      unsigned column = 0, number = 0;
      (void)std::sscanf(path, "11.23.17.%u.%u", &column, &number);
      if (column == 1) (void)oxdGetValueByUlong(node, &rows[number].due);
      if (column == 4) (void)oxdGetValueByUlong(node, &rows[number].what);
    }
    (void)oxdFree(list);
    return rows;
  }
  std::size_t expect_balance() {
    std::map<std::string, std::map<std::uint32_t, int>> started;
    for (const Line& line : lines()) EXPECT_EQ(1, ++started[line.entry][line.due]) << "started twice";
    std::size_t all = 0;
    for (int i = 0; i < entries; ++i) {
      const std::string entry = "k" + std::to_string(i);
      std::uint32_t before = 0;
      for (const auto& [number, row] : ledger(entry)) {
        EXPECT_TRUE(before == 0 || row.due == before + 1) << entry << ": " << before << ", then " << row.due;
        before = row.due;
        const bool says = started[entry].erase(row.due) != 0;
        const bool ended = row.what == ran || row.what == late;
        EXPECT_TRUE(says ? row.what <= late || row.what >= killed : !ended)
            << entry << ' ' << row.due << ": " << row.what;
        ++all;
      }
      EXPECT_TRUE(started[entry].empty()) << entry << " ran without a record";
    }
    return all;
  }
  unsigned random() { return static_cast<unsigned>(random_()); }

  std::string command_;
  const std::string file_ = system_root() + "/runs";
  std::minstd_rand random_{static_cast<unsigned>(std::random_device()())};
};

TEST_F(JobKillTest, NoCommandRunsTwiceOrIsLeftAndTheLedgerBalances) {
  Daemon daemon;
  ASSERT_EQ(0u, oxaInit(&on_disconnect));
  make_entries();
  std::size_t due = 0;
  std::size_t seen = 0;
  for (int round = 0; round < kills() && !HasFailure(); ++round) {
    SCOPED_TRACE(round);
    std::this_thread::sleep_for(std::chrono::milliseconds(random() % 1500));
    daemon.kill();
    const auto before = lines();
    const auto fresh = std::span(before).subspan(seen);  // the numbers of those before are others' by now
    seen = before.size();
    while (oxaDispatch(0) == OX_OK) {
    }
    daemon.start();
    expect_gone(fresh);
    ASSERT_EQ(0u, oxaInit(&on_disconnect));
    if (round % 10 == 9 || round + 1 == kills()) due = expect_balance();
  }
  EXPECT_EQ(0, daemon.end());
  const auto all = lines();
  expect_gone(std::span(all).subspan(seen));
  EXPECT_LE(due / 4, all.size()) << "next to nothing ran";
  std::printf("%d kills, %zu due times, %zu runs\n", kills(), due, all.size());
}

}  // namespace
}  // namespace ox::test
