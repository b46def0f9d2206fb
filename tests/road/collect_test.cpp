// Collection from a real agent, second by second, by a real manager that is killed at any moment.
#include <asio/io_context.hpp>
#include <cstdlib>
#include <memory>
#include <random>
#include <thread>

#include "manager/series/store.h"
#include "tests/road/daemon.h"
#include "tests/support/installation.h"
#include "tests/support/snmpd.h"
#include "tests/support/system_root.h"

namespace ox::test {
namespace {

using manager::CollectedFile, manager::Counts, manager::EntryId, manager::SeriesStore;
using std::chrono::milliseconds;

// More of them in long runs: OX_KILLS.
int kills() { return number_from("OX_KILLS", OX_RESTARTS); }

class CollectTest : public testing::Test {
 protected:
  void SetUp() override {
    lay_down_installation();
    agent_ = std::make_unique<Snmpd>(system_root() + "/agent");
    daemon_ = std::make_unique<Daemon>();
    EXPECT_EQ("0 ", run("oxset --add node:r1 obj.node.nodeAddress.0 127.0.0.1 obj.node.nodePort.0 " +
                        std::to_string(agent_->port())));
    EXPECT_EQ("0 ", run("oxset --add logEnt:a 11.14.4.0 node:* 11.14.5.0 .1.3.0,.1.7.0,.2.2.1.{10,16} 11.14.7.0 1s "
                        "11.14.8.0 1Y 11.14.9.0 1Y 11.14.10.0 2"));
  }
  // The newest round that the manager shows as collected, and where: its own entry may have made the first data entry.
  std::uint32_t shown() {
    filled_ = run("oxget --format %V logEnt:a 11.14.11.0").substr(2);
    const std::string text = run("oxget --format %W logEnt:a 11.14.12.0");
    return static_cast<std::uint32_t>(std::strtoul(text.c_str() + 2, nullptr, 10));
  }
  // What the dead manager has left: the books, and the newest round.
  void expect_kept(std::uint32_t last) {
    asio::io_context loop;
    CollectedFile file(loop, work_dir() + "/data", manager::Durability::process);
    SeriesStore store(file);
    ASSERT_TRUE(file.open([](const std::string&, std::uint32_t, const std::string& text) { ADD_FAILURE() << text; }));
    const EntryId id = store.find(filled_);
    const Counts counts = store.counts(id);
    EXPECT_TRUE(counts.balanced()) << counts.due << " due, " << counts.stored << " stored, " << counts.gaps << " gaps";
    EXPECT_GE(counts.stored, stored_);
    EXPECT_GE(store.last_due(id), last * std::int64_t{1000});
    stored_ = counts.stored;
    loop.run();
  }

  std::unique_ptr<Snmpd> agent_;
  std::unique_ptr<Daemon> daemon_;
  std::string filled_;
  std::uint64_t stored_ = 0;
};

TEST_F(CollectTest, NoRoundThatWasShownIsLost) {
  std::minstd_rand random(std::random_device{}());
  std::uint32_t last = 0;
  int in_vain = 0;  // starts without a new round
  for (int round = 0; round < kills(); ++round) {
    SCOPED_TRACE(round);
    std::this_thread::sleep_for(milliseconds(500 + random() % 1500));
    const std::uint32_t now = shown();
    EXPECT_GE(now, last);
    in_vain = now > last ? 0 : in_vain + 1;
    EXPECT_GT(20, in_vain) << run("oxlog list") << run("oxlog gaps a") << daemon_->log();
    last = now;
    daemon_->kill();
    expect_kept(last);
    if (HasFatalFailure() || HasNonfatalFailure()) break;
    daemon_->start();
  }
  std::this_thread::sleep_for(milliseconds(3000));
  EXPECT_GT(shown(), last);
  EXPECT_EQ(0, daemon_->end());
  expect_kept(last);
  std::printf("%d kills, %llu values\n", kills(), static_cast<unsigned long long>(stored_));
  EXPECT_GE(stored_, 4u);
}

}  // namespace
}  // namespace ox::test
