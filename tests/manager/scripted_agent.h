// An SNMP agent in a thread of its own, which answers as it is told to.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <oxbase/oxs.h>

#include "manager/base/node_list.h"
#include "manager/snmp/ask_plan.h"
#include "tests/support/test.h"
#include "tests/support/udp_socket.h"

namespace ox::manager {

// An agent of either version with integer values in order of their names.
class ScriptedAgent {
 public:
  std::mutex changing;  // of what is not atomic
  std::map<Oid, std::uint32_t> values;
  std::atomic<std::size_t> most_bindings = 100;  // more are too big
  std::atomic<int> silent = 0;                   // requests left unanswered first
  std::atomic<bool> stuck = false;               // get-next answers a name that is there already
  std::atomic<int> requests = 0;
  std::function<std::uint32_t(const Oid&)> refuse = [](const Oid&) { return 0u; };  // error status by name

  ~ScriptedAgent() {
    stop_ = true;
    thread_.join();
  }
  [[nodiscard]] std::string port() const { return std::to_string(socket_.port()); }

 private:
  void take_request() {
    std::uint16_t from = 0;
    std::string datagram = socket_.receive(std::chrono::milliseconds(20), &from);
    const auto bulk = datagram.find('\xA5');  // which the library's reader does not know
    if (bulk != datagram.npos) datagram[bulk] = '\xA1';
    oxsSnmpMessage message{};
    if (oxsSnmpDecode(datagram.data(), static_cast<std::uint32_t>(datagram.size()), &message) != OX_OK) return;
    ++requests;
    const std::uint32_t repetitions = bulk != datagram.npos ? std::exchange(message.errorIndex, 0) : 1;
    const std::uint32_t once = bulk != datagram.npos ? std::exchange(message.errorStatus, 0) : 0;
    if (silent-- <= 0) answer(message, once, repetitions, from);
    (void)oxsSnmpFree(&message);
  }

  void answer(oxsSnmpMessage& message, std::uint32_t once, std::uint32_t repetitions, std::uint16_t to) {
    const std::lock_guard lock(changing);
    NodeList bindings;
    std::uint32_t index = 0;
    std::vector<NodePtr> asked;
    for (NodeList all(std::exchange(message.bindings, nullptr)); NodePtr node = all.take_first();) {
      asked.push_back(std::move(node));
    }
    for (std::uint32_t row = 0; row < repetitions; ++row) {
      for (std::size_t i = row == 0 ? 0 : once; i < asked.size(); ++i) {
        ++index;
        NodePtr node = binding(message, asked[i].get());
        if (message.errorStatus != 0 && message.errorIndex == 0) message.errorIndex = index;
        asked[i] = NodePtr(oxdCopy(node.get()));
        bindings.add(std::move(node));
      }
    }
    if (index > most_bindings) {
      message.errorStatus = 1;
      message.errorIndex = 0;
    }
    message.pduType = OXS_RESPONSE;
    std::swap(*bindings.out(), message.bindings);
    void* bytes = nullptr;
    std::uint32_t length = 0;
    EXPECT_EQ(0u, oxsSnmpEncode(&message, &bytes, &length));
    const std::string reply(static_cast<const char*>(bytes), length);
    (void)oxcMemFree(bytes);
    for (const std::string& datagram : {std::string("no answer at all"), reply, reply}) socket_.send(datagram, to);
  }

  NodePtr binding(oxsSnmpMessage& message, const dnode* asked) {
    std::uint32_t& status = message.errorStatus;
    const std::uint32_t pdu = message.pduType;
    const Oid name = path_of(asked);
    auto found = pdu != OXS_GETNEXT ? values.find(name) : stuck ? values.lower_bound(name) : values.upper_bound(name);
    if (status == 0) status = refuse(name);
    if (found == values.end()) {
      if (message.version == OXS_V1 && status == 0) status = 2;
      NodePtr same(oxdCopy(asked));  // a name that does not increase is the end, as an exception is
      (void)oxdSetValue(same.get(), OX_NULL, 0, 0);
      return same;
    }
    if (pdu == OXS_SET && status == 0) (void)oxdGetValueByUlong(asked, &found->second);
    NodePtr node = error_node(found->first, 0);
    const bool is_time = found->first == system_uptime;
    (void)oxdSetUlong(node.get(), is_time ? OX_TIMETICKS : OX_INTEGER, found->second);
    return node;
  }

  test::UdpSocket socket_;
  std::atomic<bool> stop_ = false;
  std::thread thread_{[this] {
    while (!stop_) take_request();
  }};
};

}  // namespace ox::manager
