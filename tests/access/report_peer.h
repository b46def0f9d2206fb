// A session whose scripted manager reports, and requests as their bytes.
#pragma once

#include <oxbase/oxc.h>

#include "tests/support/byte_text.h"
#include "tests/support/session_fixture.h"
#include "tests/support/test.h"

namespace ox::test {

struct RequestFields {
  std::uint32_t type = 1;
  std::uint32_t command = 0;
  std::uint32_t error = 0;
  std::string session{};  // with its terminator when there is one
  std::uint32_t source = 0;
  std::uint32_t destination = 0;
  std::string body{};
  std::uint32_t reference = 0;
};

[[nodiscard]] inline std::string request_bytes(const RequestFields& fields) {
  const auto size = static_cast<std::uint32_t>(fields.session.size());
  const auto body = static_cast<std::uint32_t>(fields.body.size());
  return word(49 + size) + bytes("000B 'pipeHeader' 00") + word(body != 0 ? body + 9 : 0) + half(2) +
         half(fields.type) + half(fields.command) + half(fields.error) + word(0) + word(fields.source) +
         word(fields.destination) + half(0) + half(size) + fields.session + word(fields.reference) +
         (body != 0 ? bytes("'pipeData' 00") + fields.body : "");
}

// The fetch that asks for the next report, and those that take or refuse one.
[[nodiscard]] inline std::string fetch_bytes(std::uint32_t type = 5, std::uint32_t reference = 0xFFFFFFFF) {
  return request_bytes({.type = type, .reference = reference});
}

// Leaves as many blocks as it found.
template <class Base>
class BlocksTest : public Base {
 protected:
  void SetUp() override {
    Base::SetUp();
    blocks_ = oxcGetMemValue(1);
  }
  void TearDown() override {
    EXPECT_EQ(blocks_, oxcGetMemValue(1));
    Base::TearDown();
  }

 private:
  std::uint32_t blocks_ = 0;
};

class ReportTest : public BlocksTest<SessionTest> {
 protected:
  // Keeps the request sent last and its source id, by which what it opened goes on the wire.
  void take_id() {
    sent = peer.requests().back();
    id = 0;
    for (const char byte : sent.substr(33, 4)) id = id << 8 | static_cast<unsigned char>(byte);
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
};

}  // namespace ox::test
