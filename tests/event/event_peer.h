// A session against a scripted manager that reports events.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tests/event/event_text.h"
#include "tests/support/session_fixture.h"

namespace ox::test {

// A request's bytes: command, session, source and destination id, and the body when it has one.
struct RequestFields {
  std::uint32_t type = 1;
  std::uint32_t command = 0;
  std::string session{};  // with its terminator when there is one
  std::string source = word(0);
  std::uint32_t destination = 0;
  std::string body{};
  std::uint32_t reference = 0;
};

[[nodiscard]] inline std::string request_bytes(const RequestFields& fields) {
  const auto size = static_cast<std::uint32_t>(fields.session.size());
  const auto body = static_cast<std::uint32_t>(fields.body.size());
  return word(49 + size) + bytes("000B 'pipeHeader' 00") + word(body != 0 ? body + 9 : 0) + half(2) +
         half(fields.type) + half(fields.command) + half(0) + word(0) + fields.source + word(fields.destination) +
         half(0) + half(size) + fields.session + word(fields.reference) +
         (body != 0 ? bytes("'pipeData' 00") + fields.body : "");
}

// The fetch that asks for the next report, and those that take or refuse one.
[[nodiscard]] inline std::string fetch_bytes(std::uint32_t type = 5, std::uint32_t reference = 0xFFFFFFFF) {
  return request_bytes({.type = type, .reference = reference});
}

// An event that has a send identifier alone.
[[nodiscard]] inline std::string event_bytes(std::uint32_t id) { return word(1) + word(id); }

class EventSessionTest : public SessionTest {
 protected:
  void SetUp() override {
    SessionTest::SetUp();
    blocks_ = oxcGetMemValue(1);
  }
  void TearDown() override {
    EXPECT_EQ(blocks_, oxcGetMemValue(1));
    SessionTest::TearDown();
  }

  // Lets the peer send the reports and then none, and handles them.
  void deliver(const std::vector<ReplyFields>& reports) {
    for (const ReplyFields& report : reports) peer.answer(reply_bytes(report));
    peer.answer(reply_bytes({.type = 6}));
    dispatch();
  }
  void dispatch() {
    peer.announce();
    EXPECT_EQ(0u, oxaDispatch(10000));
  }
  // The source id of the request sent last: a wait's own id on the wire.
  [[nodiscard]] std::uint32_t last_source_id() {
    std::uint32_t id = 0;
    for (const char byte : peer.requests().back().substr(33, 4)) id = id << 8 | static_cast<unsigned char>(byte);
    return id;
  }

 private:
  std::uint32_t blocks_ = 0;
};

}  // namespace ox::test
