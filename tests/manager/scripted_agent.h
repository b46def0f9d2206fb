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
  std::atomic<int> odd = 0;                      // a value that has a type of which nobody knows
  std::atomic<int> requests = 0;
  std::function<std::uint32_t(const Oid&)> refuse = [](const Oid&) { return 0u; };  // error status by name
  // Sends an error before each answer, changed like this; from another port when that says no.
  std::function<bool(oxsSnmpMessage&)> forge;

  ~ScriptedAgent() {
    stop_ = true;
    thread_.join();
  }
  [[nodiscard]] std::string port() const { return std::to_string(socket_.port()); }

 private:
  // Behind the version and the community.
  static std::size_t pdu_of(const std::string& datagram) {
    if (datagram.size() < 8) return datagram.npos;
    const auto at = [&](std::size_t i) { return static_cast<std::size_t>(static_cast<unsigned char>(datagram.at(i))); };
    const std::size_t version = at(1) < 0x80 ? 2 : 2 + (at(1) & 0x7F);
    return version + 3 + 2 + at(version + 4);
  }

  void take_request() {
    std::uint16_t from = 0;
    std::string datagram = socket_.receive(std::chrono::milliseconds(20), &from);
    const std::size_t pdu = pdu_of(datagram);
    const bool bulk = pdu < datagram.size() && datagram[pdu] == '\xA5';  // which the library's reader does not know
    if (bulk) datagram[pdu] = '\xA1';
    oxsSnmpMessage message{};
    if (oxsSnmpDecode(datagram.data(), static_cast<std::uint32_t>(datagram.size()), &message) != OX_OK) return;
    ++requests;
    const std::uint32_t repetitions = bulk ? std::exchange(message.errorIndex, 0) : 1;
    const std::uint32_t once = bulk ? std::exchange(message.errorStatus, 0) : 0;
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
    const std::string reply = encoded(message);
    if (forge) {
      oxsSnmpMessage forged = message;
      forged.errorStatus = 5;
      if (forge(forged)) {
        socket_.send(encoded(forged), to);
      } else {
        other_.send(encoded(forged), to);
      }
    }
    for (const std::string& datagram : {std::string("no answer at all"), reply, reply}) socket_.send(datagram, to);
  }

  std::string encoded(const oxsSnmpMessage& message) const {
    void* bytes = nullptr;
    std::uint32_t length = 0;
    EXPECT_EQ(0u, oxsSnmpEncode(&message, &bytes, &length));
    std::string datagram(static_cast<const char*>(bytes), length);
    const auto at = datagram.find({'\x02', '\x01', static_cast<char>(odd)});
    if (odd != 0 && at != datagram.npos) datagram[at] = '\x45';
    (void)oxcMemFree(bytes);
    return datagram;
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
  test::UdpSocket other_;
  std::atomic<bool> stop_ = false;
  std::thread thread_{[this] {
    while (!stop_) take_request();
  }};
};

}  // namespace ox::manager
