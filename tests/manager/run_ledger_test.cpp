#include "manager/jobs/run_ledger.h"

#include <optional>

#include "tests/manager/damage.h"
#include "tests/manager/virtual_clock.h"

namespace ox::manager {
namespace {

constexpr std::uint64_t entries = 20;
constexpr std::uint64_t runs = 30;  // of each

class RunLedgerTest : public test::DatabaseTest {
 protected:
  void close() override { ledger_.reset(); }
  void open() {
    ledger_.emplace(loop_, clock_, settings_, directory_);
    ASSERT_TRUE(ledger_->open(noting()));
  }

  asio::io_context loop_;
  VirtualClock clock_{1'000'000};
  Settings settings_;
  std::optional<RunLedger> ledger_;
};

// It opens, tells what it has lost, gives no number of a run again that is still there, and goes on.
TEST_F(RunLedgerTest, DamageIsToldAndWhatReadsIsKept) {
  open();
  for (std::uint64_t entry = 1; entry <= entries; ++entry) {
    ledger_->states()[entry] = {.name = "cmd" + std::to_string(entry), .next = runs + 1};
    ledger_->changed(entry);
    for (std::uint64_t number = 1; number <= runs; ++number)
      ledger_->put(
          ox::manager::Run{.key = entry << 32 | number, .due = 1000, .last = 1000, .output = std::string(200, 'x')});
    ledger_->put(entry << 32 | runs, RunningProgram{.process = 1, .started = 5, .mark = "mark"});
  }
  ASSERT_TRUE(ledger_->commit());
  const std::string file = directory_ + "/jobs.db";
  for_every_damage(file, [&](bool certain) {
    open();
    if (!test::tables_check(file)) ledger_->renew();  // as the check beside the work would have it
    std::size_t found = 0;
    for (std::uint64_t entry = 1; entry <= entries; ++entry) {
      for (const auto& run : ledger_->read(entry, {})) {
        ++found;
        EXPECT_EQ(std::string(200, 'x'), run.output);
        EXPECT_LT(run.key & 0xFFFFFFFF, ledger_->states()[entry].next);
      }
    }
    const bool whole =
        found == entries * runs && ledger_->states().size() == entries && ledger_->running().size() == entries;
    EXPECT_TRUE(!faults_.empty() || (whole && !certain)) << found;
    ledger_->put(ox::manager::Run{.key = (entries + 1) << 32 | 1, .due = 2000, .last = 2000});
    if (!ledger_->commit()) {  // the page that it came upon was damaged
      EXPECT_TRUE(ledger_->commit());
    }
  });
}

}  // namespace
}  // namespace ox::manager
