// A manager without its pipe: requests go straight to the router.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <optional>

#include "manager/requests/manager.h"
#include "manager/requests/router.h"
#include "manager/sessions/request.h"
#include "tests/support/test.h"

namespace ox::manager {

class ManagerTest : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Sends a request and runs the loop until it is answered, with all data.
  Reply ask(const Message& message, std::uint32_t session = 1);
  // Sends it without waiting for the answer.
  void send(const Message& message, std::function<void(Reply)> answered, std::uint32_t session = 1);
  // Runs the loop until it is so, or until there is nothing to do.
  template <class Condition>
  void run_until(Condition is_so) {
    loop_.restart();
    while (!is_so() && loop_.run_one() != 0) {
    }
  }
  // What the loop has to do now.
  void turn() {
    loop_.restart();
    (void)loop_.poll();
  }
  // Up to the data that come piece by piece.
  Reply begin_to_ask(const Message& message, std::uint32_t session = 1);
  Reply ask(std::uint32_t type, std::uint32_t command, Bytes payload, std::uint32_t session = 1,
            std::uint32_t destination_id = 0);
  Reply ask(std::uint32_t type, std::uint32_t command, const std::string& payload, std::uint32_t session = 1,
            std::uint32_t destination_id = 0) {
    return ask(type, command, bytes_of(payload), session, destination_id);
  }

  // What is left of a reply's data, taken piece by piece.
  static Bytes rest_of(const Reply& reply);

  static Bytes bytes_of(const std::string& text) {
    const auto bytes = std::as_bytes(std::span(text));
    return {bytes.begin(), bytes.end()};
  }

  // A request in words: "get COMPONENT NAMES" with a time limit if wanted, "set COMPONENT PATH TEXT ..." with as many
  // threes as wanted, or a management code and its arguments, "5 1=node 8=r1", whose AMIB names are "10.7.N.0" or
  // given.
  static Message message(const std::string& words);
  // The answer: its error, and after "; " every node: "84", "0; node:r1 11.5.2.0 = 161; node:r1 11.5.3.0 ! 125".
  std::string ask(const std::string& words) { return ask_as(1, words); }
  std::string ask_as(std::uint32_t session, const std::string& words);

  // "type:name", path, and the value or the error.
  static std::string shown(dnode* node);
  // Ends the manager without a word and starts another on the same files, after some time.
  void restart(std::chrono::milliseconds down = {});

  struct Exchange {
    std::string words;
    std::string answer;
  };
  void expect(const std::vector<Exchange>& exchanges) {
    for (const Exchange& one : exchanges) EXPECT_EQ(one.answer, ask(one.words)) << one.words;
  }

  asio::io_context loop_;
  Settings settings_;
  bool damage_is_meant_ = false;  // of collected values: it is no failure of the test
  std::optional<Manager> manager_;
  static RightsPtr of_member() {
    return std::make_shared<const Rights>(std::make_shared<User>("member"), Role::operate, std::vector<RoleRule>());
  }
  std::map<std::uint32_t, RightsPtr> rights_;  // of sessions whose user is not the manager's own

 private:
  void start_manager();
};

}  // namespace ox::manager
