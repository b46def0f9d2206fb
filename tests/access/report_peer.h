// A session whose scripted manager reports.
#pragma once

#include "tests/support/blocks.h"
#include "tests/support/byte_text.h"
#include "tests/support/session_fixture.h"
#include "tests/support/test.h"

namespace ox::test {

// The fetch that asks for the next report, and those that take or refuse one.
[[nodiscard]] inline std::string fetch_bytes(std::uint32_t type = 5, std::uint32_t reference = 0xFFFFFFFF) {
  return request_bytes({.type = type, .reference = reference});
}

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
