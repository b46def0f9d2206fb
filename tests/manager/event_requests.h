// The requests that send events, search the log and wait.
#pragma once

#include <thread>

#include "tests/manager/event_fixture.h"
#include "tests/support/blocks.h"
#include "tests/support/system_root.h"

namespace ox::manager {

class EventRequestTest : public EventManagerTest {
 protected:
  // A criterion's bit, and its number or pattern.
  using Criteria = std::vector<std::pair<std::uint32_t, std::uintptr_t>>;
  static std::uintptr_t pattern(const char* text) { return reinterpret_cast<std::uintptr_t>(text); }

  static Message log_get(const Criteria& criteria) {
    const FilterPtr filter(oxeEvfltAlloc());
    for (const auto& [bit, value] : criteria) EXPECT_EQ(0u, oxeEvfltSet(filter.get(), bit, value));
    std::string body;
    EXPECT_EQ(0u, test::take_block([&](auto... out) { return oxeEvfltEncode(filter.get(), out...); }, &body));
    return {.type = 1, .command = 15, .data = bytes_of(body)};
  }
  // The memos of what is found, or the error.
  std::string logged(const Criteria& criteria = {}) {
    const Reply reply = ask(log_get(criteria));
    return reply.error != 0 ? std::to_string(reply.error) : memos(reply.data);
  }

  // So many events of `size` bytes, with memos that begin with a and b in turn.
  void fill(int count, std::size_t size, Origin origin = 0, std::uint32_t level = 1) {
    for (int i = 0; i < count; ++i) {
      EventPtr event(oxeEvmsgAlloc());
      (void)oxeEvmsgSetEventType(event.get(), OX_EVENT_LEVELLED | level);
      (void)oxeEvmsgSetMemo(event.get(), (std::string(i % 2 == 0 ? "a" : "b") + std::string(size, 'x')).c_str());
      manager_->events.submit(std::move(event), "me", origin,
                              [](OX_RESULT result, const Bytes&) { EXPECT_EQ(0u, result); });
    }
    manager_->events.flush();
  }
  // One that is the `number`th to be answered for.
  void submit(const std::string& memo, int number, int& told) {
    EventPtr event(oxeEvmsgAlloc());
    (void)oxeEvmsgSetMemo(event.get(), memo.c_str());
    manager_->events.submit(std::move(event), "me", 0, [&told, number](OX_RESULT result, const Bytes&) {
      EXPECT_EQ(0u, result);
      EXPECT_EQ(number, told++);
    });
  }
  // The bodies of the log's events with those numbers.
  Bytes bodies(Sequence first, Sequence last, Sequence step) {
    Bytes all;
    for (Sequence sequence = first; sequence <= last; sequence += step) {
      std::optional<StoredEvent> event;
      (void)manager_->events.store().get(sequence, event);
      if (event) all.insert(all.end(), event->body.begin(), event->body.end());
    }
    return all;
  }
  static Bytes whole(const Reply& reply) {
    Bytes all = reply.data;
    const Bytes rest = rest_of(reply);
    all.insert(all.end(), rest.begin(), rest.end());
    return all;
  }
  // Whether nobody looks at the log as it was, soon: what moves its changes into the database stands in the way, too.
  static bool log_is_free(int tries = 1000) {
    Connection connection;
    EXPECT_EQ(Outcome::done, connection.open(test::work_dir() + "/data/events.db", Durability::process));
    while (connection.ask("PRAGMA wal_checkpoint(TRUNCATE)") != 0) {
      if (--tries == 0) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
  }
};

}  // namespace ox::manager
