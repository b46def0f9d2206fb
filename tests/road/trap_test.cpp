// Traps on the road: from real senders through a real manager to those who wait.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <asio/io_context.hpp>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <optional>
#include <thread>

#include "platform/server/datagrams.h"
#include "tests/road/daemon.h"
#include "tests/support/byte_text.h"
#include "tests/support/installation.h"
#include "tests/support/machine_process.h"
#include "tests/support/other_process.h"
#include "tests/support/system_root.h"
#include "tests/support/udp_socket.h"

namespace ox::test {
namespace {

using namespace std::chrono_literals;

constexpr std::uint64_t flood_events = OX_EVENTS;

const std::string own = "1.3.6.1.4.1.64312.2";

std::string file(const std::string& name) { return system_root() + "/" + name; }

// The sum of the numbers that stand right before a text.
std::uint64_t sum_before(const std::string& text, const std::string& part) {
  std::uint64_t sum = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) {
    const std::size_t begin = text.find_last_not_of("0123456789", at - 1) + 1;
    if (begin < at) sum += std::stoull(text.substr(begin, at - begin));
  }
  return sum;
}

constexpr char flooding[] = "\"snmpSpecTrap\":5,";  // of the events of a flood's traps

// What became of the datagrams that reached the manager: received, events, repeats, overflowed, malformed.
using Books = std::array<std::uint64_t, 5>;

// As events tell it, and markers beside them.
Books told_in(const std::string& text, std::uint64_t markers) {
  const std::uint64_t events = markers + count_of(text, flooding) - count_of(text, "(repeated ");
  const std::uint64_t repeats = sum_before(text, " time");
  const std::uint64_t malformed = sum_before(text, " malformed");
  return {events + repeats + malformed, events, repeats, sum_before(text, " lost because"), malformed};
}
// As the manager's values say it.
Books kept_books() {
  const std::string text = run("oxget system:system sysmib.oxTraps");
  Books books{};
  std::size_t end = 0;
  for (std::uint64_t& number : books) {
    end = text.find('\n', end + 1);
    number = std::stoull(text.substr(text.rfind(' ', end)));
  }
  return books;
}

// Sends traps as fast as it can.
class Flood {
 public:
  Flood(const std::string& trap, std::uint16_t port, int senders) {
    for (char name = 'a'; name < 'a' + senders; ++name) senders_.emplace_back([=, this] { send(trap, name, port); });
  }
  ~Flood() { end(); }
  [[nodiscard]] std::uint64_t sent() const { return sent_; }
  std::uint64_t end() {
    ended_ = true;
    for (std::thread& sender : senders_) sender.join();
    senders_.clear();
    return sent_;
  }

 private:
  // The trap's number, four bytes "@@@@", says who sends it and which it is.
  void send(std::string datagram, char name, std::uint16_t port) {
    UdpSocket socket;
    const std::size_t number = datagram.find("@@@@");
    datagram.at(number) = name;
    for (std::uint32_t i = 0; !ended_; ++i, ++sent_) {
      // Of eight, one says the same again, and one is cut short.
      for (std::size_t digit = 0; digit < 3 && i % 8 != 6; ++digit) {
        datagram[number + 3 - digit] = static_cast<char>(i >> (8 * digit));
      }
      socket.send(std::string_view(datagram).substr(0, datagram.size() - (i % 8 == 7 ? 1 : 0)), port);
    }
  }

  std::atomic<bool> ended_ = false;
  std::atomic<std::uint64_t> sent_ = 0;
  std::vector<std::thread> senders_;
};

// Not every system tells how many datagrams it dropped.
bool dropped_are_counted() {
  asio::io_context loop;
  asio::ip::udp::socket socket(loop, asio::ip::udp::v4());
  return platform::dropped_datagrams(socket).has_value();
}

// What actions run: this program, with a file.
const bool acts = OtherProcess::declare("act", [](OtherProcess& owner) {
  std::string seen;
  for (const char* name : {"OX_SEVERITY", "OX_SUMMARY", "OX_DETAIL", "OX_COMPTYPE", "OX_COMPNAME", "OX_AGENT",
                           "OX_ENTERPRISE", "OX_GENERIC", "OX_SPECIFIC"}) {
    const char* const value = std::getenv(name);
    seen += std::string(value != nullptr ? value : "none") + '|';
  }
  write_file(owner.text(), seen + '\n');
  return 0;
});
const bool rests = OtherProcess::declare("rest", [](OtherProcess& owner) {
  for (int i = 0; i < 6000 && read_file(owner.text()).empty(); ++i) std::this_thread::sleep_for(10ms);
  return 0;
});

std::string own_action(const std::string& part, const std::string& name) {
  write_file(file(name), "");
  std::string action = own_program() + " --process " + part + " '" + file(name) + '\'';
  std::replace(action.begin(), action.end(), '\\', '/');
  return action;
}

class TrapRoad : public testing::Test {
 protected:
  // With settings beside the port.
  void start(const std::string& settings) {
    lay_down_installation();
    port_ = UdpSocket().port();
    write_settings("TrapAddress:\t127.0.0.1\nTrapPort:\t" + std::to_string(port_) + '\n' + settings);
    daemon_.emplace();
  }
  [[nodiscard]] std::string address() const { return "127.0.0.1:" + std::to_string(port_); }

  // The events of the log that came from traps, oldest first.
  static std::string logged() { return run("oxevent log list --json --class 1024"); }

  // One of the machine's own senders.
  void send(const std::string& command, const std::string& trap) const {
    const std::string options = " -On -r0 -t10 -c 'test community' " + address() + ' ';
    write_file(file("sent"), "");
    EXPECT_EQ(0, MachineProcess(words_of(command + options + trap), file("sent"), file("sender")).wait(20s))
        << read_file(file("sent"));
  }

  // Starts somebody who waits for traps, and returns when it hears them.
  [[nodiscard]] Started start_wait(const std::string& line) const {
    Started waiter(line);
    for (int i = 0; i < 2000 && count_of(read_file(waiter.output), "\"snmpSpecTrap\":4711") == 0; ++i) {
      EXPECT_EQ("0 ",
                run("oxtrap send " + address() + " -e " + own + " -s 4711 1.3:INTEGER " + std::to_string(++markers_)));
    }
    return waiter;
  }

  std::optional<Daemon> daemon_;
  std::uint16_t port_ = 0;
  mutable std::uint64_t markers_ = 0;
};

TEST_F(TrapRoad, TrapsBecomeTheEventsThatTheirDefinitionsSay) {
  start("TrapRepeatWindow:\t0\n");
  const std::string user = work_dir() + "/public/trap/USER.DEF";
  EXPECT_EQ(0u, run("oxset --add node:r1 11.5.1.0 192.0.2.9").find("0 "));
  EXPECT_EQ(0u, run("oxset --add node:local 11.5.1.0 127.0.0.1").find("0 "));
  const Started waits[] = {start_wait("oxevent wait --communities --json --traps"),
                           start_wait("oxevent wait --communities --json --class 1024")};

  // A generic trap by the standard's definition; one of a standard module; an inform; a proxy's; an unknown one.
  const std::string if_index = " .1.3.6.1.2.1.2.2.1.1.3 i 3";
  send("snmptrap -v1", '.' + own + " 192.0.2.9 2 0 1234" + if_index);
  send("snmptrap -v2c", "4294967295 .1.3.6.1.2.1.14.16.2.14 ." + own + ".3.0 a 192.0.2.1");
  send("snmpinform -v2c -Ci", "55 .1.3.6.1.6.3.1.1.5.5 .1.3.6.1.6.3.1.1.4.3.0 o ." + own);
  send("snmptrap -v2c", "56 .1.3.6.1.6.3.1.1.5.4 .1.3.6.1.6.3.18.1.3.0 a 192.0.2.9");
  send("snmptrap -v1", '.' + own + " 0.0.0.0 6 17 1 ." + own + ".1.0 s 'fan 2'");
  // The user's definition comes before the standard's as soon as it is read.
  write_file(user, "Enterprise " + own +
                       "\nGenericCode 2\nSpecificCode *\nSeverity 4\nSummary own\nDetail port *%1*\n" +
                       "Source me\nEventID 77\nLogging 0\nTimeStamp 1 " + own + ".8.0 " + own + ".9.0\n" + "Action " +
                       own_action("act", "what it saw") + '\n');
  EXPECT_EQ("0 ", run("oxtrap reload"));
  EXPECT_NE(std::string::npos, wait_for_text(file("oxmgrd1.log"), "44 trap definitions").find("44 trap"));
  send("snmptrap -v1",
       '.' + own + " 192.0.2.9 2 0 1235" + if_index + " ." + own + ".8.0 u 1000000000 ." + own + ".9.0 t 0");

  const std::string community = R"("snmpCommName":"test community","snmpEnterprises":")";
  const std::vector<std::string> expected[] = {
      {R"("eventType":1283,)", R"("snmpGenTrap":2,"snmpSpecTrap":0,"snmpTimeStamp":1234,)",
       R"("compType":"node","compName":"r1","optMsg":"linkDown: an interface is down",)",
       R"("memo":"An interface went down. ifIndex.3=3\nLook at the interface and its cable;)",
       R"("snmpEnterprises":"1.3.6.1.4.1.64312.2","snmpAgent":"192.0.2.9","nodes":"1.3.6.1.2.1.2.2.1.1.3=3")"},
      {R"("eventType":1284,)", R"("snmpGenTrap":6,"snmpSpecTrap":14,"snmpTimeStamp":4294967295,)",
       R"("compName":"local","optMsg":"ospfLsdbOverflow)", R"("snmpEnterprises":"1.3.6.1.2.1.14.16.2")",
       R"("snmpAgent":"127.0.0.1")"},
      {R"("eventType":1282,)", R"("snmpGenTrap":4,"snmpSpecTrap":0,"snmpTimeStamp":55,)",
       R"("optMsg":"authenticationFailure: a request was refused")", R"("snmpEnterprises":"1.3.6.1.4.1.64312.2")"},
      {R"("snmpGenTrap":3,)", R"("compName":"r1","optMsg":"linkUp: an interface is up")", R"("snmpAgent":"192.0.2.9")"},
      {R"("eventType":1281,)", R"("flag":2,)", R"("snmpGenTrap":6,"snmpSpecTrap":17,"snmpTimeStamp":1,)",
       R"("compName":"local","optMsg":"unknown trap: 17 of 1.3.6.1.4.1.64312.2","memo":"enterprises.64312.2.1.0=fan 2")"},
      {R"("eventType":1284,"eventId":77,"occurTime":1000000000,)", R"("snmpGenTrap":2,)", R"("sender":"me",)",
       R"("optMsg":"own","memo":"port 3")"},
  };
  for (const Started& wait : waits) {
    const std::string text = wait.until("\"own\"");
    std::size_t at = 0;
    for (const auto& event : expected) {
      const std::size_t found = text.find(event[0], at);
      ASSERT_NE(std::string::npos, found) << event[0] << " in " << text.substr(at);
      const std::size_t begin = text.rfind('\n', found) + 1;
      at = text.find('\n', found);
      const std::string line = text.substr(begin, at - begin);
      expect_parts(line, event);
      expect_parts(line, {community});
      EXPECT_EQ(std::string::npos, line.find("recoverTime")) << line;
    }
  }
  EXPECT_EQ("4|own|port 3|node|r1|192.0.2.9|" + own + "|2|0|\n", wait_for_text(file("what it saw"), "\n"));
  const std::string log = logged();
  EXPECT_NE(std::string::npos, log.find("linkUp"));
  EXPECT_EQ(std::string::npos, log.find("\"own\"")) << "an event that is not to be logged";
  EXPECT_EQ(1, count_of(run("oxevent log list --flag-bit2 1 --specific 17"), "unknown trap"));
  expect_parts(run("oxevent log list --agent 192.0.2.9"), {" [192.0.2.9]\n"});
}

// What an action runs holds nothing of the manager's that the next one needs.
TEST_F(TrapRoad, AnAnsweredInformOutlivesTheManager) {
  start("TrapActions:\t1\n");
  write_file(work_dir() + "/public/trap/USER.DEF",
             "Enterprise 1.3.6.1.6.3.1.1.5\nGenericCode 0\nSpecificCode *\nSummary coldStart\nAction " +
                 own_action("rest", "the end") + '\n');
  EXPECT_EQ("0 ", run("oxtrap reload"));
  (void)wait_for_text(file("oxmgrd1.log"), "44 trap definitions");
  for (int i = 1; i <= 3; ++i) {
    send("snmpinform -v2c -Ci", "1 .1.3.6.1.6.3.1.1.5.1 ." + own + ".1.0 i " + std::to_string(i));
    daemon_->kill();
    daemon_->start();
  }
  EXPECT_EQ(3, count_of(logged(), "\"coldStart"));
  for (const char* number : {"4", "5"}) {
    EXPECT_EQ("0 ", run("oxtrap send " + address() + " -g 0 1.3:INTEGER " + number));
  }
  expect_parts(wait_for_text(file("oxmgrd4.log"), "actions not run"),
               {"actions have not been run: 1 actions not run; the last action: 1 are running"});
  write_file(file("the end"), "now");
}

// As fast as one machine sends, with the bounds of the rates taken away: the log drops the flood's own.
TEST_F(TrapRoad, AFloodPushesNobodyElseOutOfTheLog) {
  constexpr int severe = 20, sent = 50;
  start("EventLogSize:\t131072\nTrapSourceRate:\t0\nTrapRate:\t0\n");
  for (int i = 1; i <= severe; ++i) {
    ASSERT_EQ("0 ", run("oxtrap send " + address() + " -e 1.3.6.1.6.3.1.1.5 -g 2 1.3.6.1.2.1.2.2.1.1." +
                        std::to_string(i) + ":INTEGER " + std::to_string(i)));
  }
  const auto severe_ones = [] { return count_of(logged(), "linkDown: an interface is down"); };
  for (int i = 0; i < 1000 && severe_ones() < severe; ++i) std::this_thread::sleep_for(10ms);
  std::string hex = run("oxtrap send x --hex -e " + own + " -s 5 1.3:INTEGER 1077952576").substr(2);
  std::replace(hex.begin(), hex.end(), '\n', ' ');
  const auto dropped = [] {
    const std::string text = run("oxget system:system sysmib.oxEventLog.logDropped.1 -f '%V'");
    return text.size() > 2 ? std::stoull(text.substr(2)) : 0;
  };
  Flood flood(bytes(hex), port_, 2);
  for (int i = 0; i < 6000 && dropped() == 0; ++i) std::this_thread::sleep_for(10ms);
  EXPECT_EQ("0 ", run("oxevent send --memo 'not lost' -n " + std::to_string(sent)).substr(0, 2));
  const auto before = dropped();
  for (int i = 0; i < 6000 && dropped() < before + 2000; ++i) std::this_thread::sleep_for(10ms);
  EXPECT_LE(before + 2000, dropped());
  EXPECT_LT(2000u, flood.end());
  EXPECT_EQ(severe, severe_ones());
  EXPECT_EQ(sent, count_of(run("oxevent log list --json"), "\"memo\":\"not lost\""));
  EXPECT_EQ(0, daemon_->end());
}

// Everything that was sent is found again, by kind, while five times as much is sent as the manager can take. The wait,
// which gets little of the machine, may be as far behind as it likes. A system that does not tell what it dropped is
// asked for less: what came is found again.
TEST_F(TrapRoad, TheBooksBalanceUnderAFlood) {
  const bool all_counted = dropped_are_counted();
  start(
      "TrapBuffer:\t4096\nTrapRepeatWindow:\t1\nTrapReportInterval:\t1\nMaxReports:\t10000000\nTrapSourceRate:"
      "\t0\nTrapRate:\t0\n");
  const Started waiter = start_wait("oxevent wait --json");
  std::string hex = run("oxtrap send x --hex -e " + own + " -s 5 1.3:INTEGER 1077952576").substr(2);
  std::replace(hex.begin(), hex.end(), '\n', ' ');
  Flood flood(bytes(hex), port_, all_counted ? 4 : 1);
  Books kept{};
  const auto& [received, events, repeats, overflowed, malformed] = kept;
  const auto goes_on = [&] { return events < flood_events || (all_counted && flood.sent() < 6 * received); };
  for (int i = 0; i < 2000 && goes_on(); ++i) kept = kept_books();
  const std::uint64_t sent = flood.end() + markers_;
  Books told{};
  // Where the dropped are not counted, the end is when nothing more is told.
  for (int quiet = 0; quiet < (all_counted ? 200 : 40) && (told != kept || received + overflowed < sent);) {
    std::this_thread::sleep_for(100ms);
    kept = kept_books();
    const Books before = std::exchange(told, told_in(read_file(waiter.output), markers_));
    quiet = told == before ? quiet + 1 : 0;
  }
  EXPECT_EQ(told, kept);
  EXPECT_GE(sent, received);
  if (all_counted) {
    EXPECT_EQ(sent, received + overflowed);
    EXPECT_GE(sent, 5 * received) << "this was no flood";
  }
  EXPECT_GE(events, flood_events);
  EXPECT_LT(0u, repeats);
  EXPECT_LT(0u, malformed);
  EXPECT_EQ(count_of(read_file(waiter.output), flooding), count_of(logged(), flooding));
  EXPECT_EQ(0, daemon_->end());
  expect_parts(daemon_->log(), {"traps: " + std::to_string(received) + " received: " + std::to_string(events)});
}

}  // namespace
}  // namespace ox::test
