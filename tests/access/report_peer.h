// Sessions with a scripted manager.
#pragma once

#include <array>
#include <thread>

#include <oxbase/oxa.h>

#include "access/session.h"
#include "tests/support/blocks.h"
#include "tests/support/byte_text.h"
#include "tests/support/installation.h"
#include "tests/support/scripted_peer.h"
#include "tests/support/test.h"

namespace ox::test {

// The fetch that asks for the next report, and those that take or refuse one.
[[nodiscard]] inline std::string fetch_bytes(std::uint32_t type = 5, std::uint32_t reference = 0xFFFFFFFF) {
  return request_bytes({.type = type, .reference = reference});
}

// Its result on a thread of its own.
template <class Call>
OX_RESULT elsewhere(Call call) {
  OX_RESULT result = 0;
  std::thread([&] { result = static_cast<OX_RESULT>(call()); }).join();
  return result;
}

// A complete session against the scripted peer.
class SessionTest : public testing::Test {
 protected:
  void SetUp() override {
    disconnects.clear();
    open_anew();
  }
  void TearDown() override { session().close(); }

  void open_anew() {
    session().close();
    ASSERT_EQ(0u, oxaInit([](std::uint32_t a, OX_RESULT b, std::uint32_t c) { disconnects.push_back({a, b, c}); }));
    (void)peer.greetings();
  }

  // What the disconnect callback was called with.
  using Disconnects = std::vector<std::array<std::uint32_t, 3>>;
  static inline Disconnects disconnects;

  Installation installation;
  ScriptedPeer peer;
};

class ReportTest : public SessionTest {
 protected:
  // Keeps the request sent last and its source id, by which what it opened goes on the wire.
  void take_id() {
    sent = peer.requests().back();
    id = number(sent.substr(33, 4));
  }
  void answer(ReplyFields report) {
    if (report.destination_id == 0) report.destination_id = id;
    peer.answer(reply_bytes(report));
  }
  // Lets the peer announce the reports, to what was opened last unless they say otherwise, and handles them.
  void deliver(const std::vector<ReplyFields>& reports) {
    for (const ReplyFields& report : reports) answer(report);
    peer.answer(nothing);
    dispatch();
  }
  void dispatch() {
    peer.announce();
    EXPECT_EQ(0u, oxaDispatch(10000));  // ms, for a wait that a fault would make endless
  }

  const std::string nothing = reply_bytes({.type = 6});
  std::string sent;
  std::uint32_t id = 0;

 private:
  const SameBlocks same_blocks_;
};

}  // namespace ox::test
