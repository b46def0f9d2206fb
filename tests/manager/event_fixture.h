// Events, waits and reports, as a client's frames make them.
#pragma once

#include <functional>

#include "manager/components/stored_value.h"
#include "manager/events/record.h"
#include "tests/manager/manager_fixture.h"
#include "tests/support/scripted_peer.h"

namespace ox::manager {

class EventManagerTest : public ManagerTest {
 protected:
  using Fill = std::function<void(evmsg*)>;

  static Bytes event(const Fill& fill) {
    const EventPtr made(oxeEvmsgAlloc());
    fill(made.get());
    return encode_event(made.get());
  }
  static Bytes with_id(std::uint32_t id) {
    return event([&](evmsg* made) { (void)oxeEvmsgSetSndId(made, id); });
  }
  std::uint32_t open_handle(std::uint32_t session = 1) {
    return ask(1, 10, std::string("prog\0", 5), session).source_id;
  }
  // Sends an event with that memo; its send identifier.
  std::uint32_t post(
      const std::string& memo, const Fill& more = [](evmsg*) {}) {
    if (manager_->event_handles.sender(handle_, sender_session) == nullptr) handle_ = open_handle(sender_session);
    const Reply reply = ask(1, 12, event([&](evmsg* made) {
                              (void)oxeEvmsgSetMemo(made, memo.c_str());
                              more(made);
                            }),
                            sender_session, handle_);
    EXPECT_EQ(0u, reply.error);
    EventPtr completed;
    EXPECT_EQ(0u, decode_events(reply.data, completed));
    return number_of(completed.get(), &oxeEvmsgGetSndId);
  }
  // The memos of an encoded list, with blanks between them.
  static std::string memos(const Bytes& list) {
    EventPtr events;
    if (decode_events(list, events) != OX_OK) return "none";
    std::string text;
    for (const evmsg* one = events.get(); one != nullptr; one = oxeEvmsgNext(one)) {
      text += (text.empty() ? "" : " ") + text_of(one, &oxeEvmsgGetMemo);
    }
    return text;
  }

  Reply watch(const std::string& component, const std::string& names, std::uint32_t handle, std::uint32_t session = 1,
              std::uint32_t options = 64) {
    using test::half, test::text, test::word;
    const std::string payload = text(component) + text(names) + word(options) + word(0) + half(0);
    return ask({.type = 1, .command = 2, .source_id = handle, .data = bytes_of(payload)}, session);
  }
  Reply open_wait(const std::string& name, std::uint32_t user_word, std::uint32_t session = 1) {
    return ask({.type = 1, .command = 25, .source_id = user_word, .data = bytes_of(name + '\0')}, session);
  }
  Reply close_request(std::uint32_t command, std::uint32_t id, std::uint32_t session = 1) {
    return ask({.type = 1, .command = command, .source_id = id}, session);
  }
  // The next report: "nothing", or "command>receiver" with "!error", and the memos of its events, the nodes of a value.
  std::string fetch(std::uint32_t session = 1, std::uint32_t type = 5, std::uint32_t reference = 0xFFFFFFFF) {
    const Reply reply = ask({.type = type, .reference = reference}, session);
    if (!reply.report) return reply.type == 6 && reply.error == 0 ? "nothing" : "no report";
    number_ = reply.report->reference;
    std::string text = std::to_string(reply.report->command) + '>' + std::to_string(reply.report->destination_id);
    if (reply.error != 0) text += " !" + std::to_string(reply.error);
    if (reply.report->command == 25) return reply.data.empty() ? text : text + ' ' + memos(reply.data);
    NodeList nodes;
    EXPECT_EQ(0u, decode_nodes(reply.data, nodes));
    for (dnode* node = nodes.get(); node != nullptr; node = oxdNext(node)) text += ' ' + contents(node);
    return text;
  }
  std::string take(std::uint32_t session = 1) { return fetch(session, 7, number_); }
  std::string refuse(std::uint32_t session = 1) { return fetch(session, 8, number_); }

  std::uint32_t number_ = 0;  // the receive number of the last report

 private:
  // Of a message attribute its events, of any other what it is and says.
  static std::string contents(dnode* node) {
    const Value value = value_of(node);
    return value.type == OX_OCTETSTRING ? memos(bytes_of(value.bytes)) : shown(node);
  }

  static constexpr std::uint32_t sender_session = 99;
  std::uint32_t handle_ = 0;
};

}  // namespace ox::manager
