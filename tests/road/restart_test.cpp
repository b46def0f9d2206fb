// Restarts of the manager, half of them deaths, under applications that come back by themselves.
#include <cstdlib>
#include <map>
#include <random>
#include <sstream>
#include <thread>

#include "tests/road/daemon.h"
#include "tests/support/system_root.h"

namespace ox::test {
namespace {

constexpr auto patience = std::chrono::minutes(5);

unsigned restarts() {
  const char* const given = std::getenv("OX_RESTARTS");
  return given != nullptr ? static_cast<unsigned>(std::strtoul(given, nullptr, 10)) : OX_RESTARTS;
}

struct Application {
  std::string name;
  std::string output;
  ChildProcess process;
};

std::vector<Application> start(const std::string& role, int count, const std::string& argument) {
  std::vector<Application> all;
  for (int i = 0; i < count; ++i) {
    const std::string name = role + std::to_string(i);
    const std::string output = system_root() + "/" + name;
    all.push_back({name, output, start_program({"restart_client", role, name, argument}, output)});
  }
  return all;
}

void restart(Daemon& daemon, bool by_death) {
  if (by_death) {
    daemon.kill();
  } else {
    EXPECT_EQ(0, daemon.end());
  }
  daemon.start();
}

using Results = std::map<unsigned, unsigned>;  // by the event's number

Results results_of(const Application& sender) {
  std::istringstream lines(read_text(sender.output));
  Results results;
  for (unsigned number = 0, result = 0; lines >> number >> result;) results[number] = result;
  return results;
}

// What a wait has been told, in its order, by sender.
std::map<std::string, std::vector<unsigned>> deliveries_of(const Application& wait) {
  std::istringstream lines(read_text(wait.output));
  std::map<std::string, std::vector<unsigned>> told;
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string sender;
    unsigned number = 0;
    if (words >> sender >> number) told[sender].push_back(number);
  }
  return told;
}

// The first thing that is wrong with what a wait was told of a sender's events; empty when nothing is.
std::string fault_of(const std::vector<unsigned>& told, const Results& results) {
  Results left = results;
  unsigned before = 0;
  for (const unsigned number : told) {
    const auto sent = left.find(number);
    if (number <= before) return std::to_string(number) + " comes after " + std::to_string(before);
    if (sent == left.end()) return std::to_string(number) + " was not sent";
    if (sent->second != 0 && sent->second != 17) return std::to_string(number) + " was refused";
    left.erase(sent);
    before = number;
  }
  for (const auto& [number, result] : left) {
    if (result == 0) return std::to_string(number) + " is missing";
  }
  return {};
}

TEST(Restarts, EveryEventIsDeliveredOnce) {
  Daemon daemon;
  std::vector<Application> waits = start("wait", OX_WAITS, std::to_string(OX_SENDERS));
  for (const Application& wait : waits) ASSERT_EQ("open\n", wait_for_text(wait.output, "open\n"));
  const std::string stop = system_root() + "/stop";
  std::vector<Application> senders = start("send", OX_SENDERS, stop);
  std::mt19937 random(1);  // every run restarts at other moments anyway
  for (unsigned i = 0; i < restarts(); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(random() % 2000));
    restart(daemon, i % 2 == 0);
  }
  write_file(stop, "");
  unsigned sent = 0;
  unsigned doubtful = 0;
  for (Application& sender : senders) {
    ASSERT_EQ(0, sender.process.wait(patience)) << sender.name;
    for (const auto& [number, result] : results_of(sender)) ++(result == 0 ? sent : doubtful);
  }
  EXPECT_LT(restarts() * OX_SENDERS / 10, sent);
  for (Application& wait : waits) {
    ASSERT_EQ(0, wait.process.wait(patience)) << wait.name << '\n' << read_text(wait.output).substr(0, 2000);
    auto told = deliveries_of(wait);
    for (const Application& sender : senders) {
      EXPECT_EQ("", fault_of(told[sender.name], results_of(sender))) << sender.name << " to " << wait.name;
    }
  }
  std::printf("%u restarts, %u events sent, %u not known to be\n", restarts(), sent, doubtful);
  EXPECT_EQ(0, daemon.end());
}

}  // namespace
}  // namespace ox::test
