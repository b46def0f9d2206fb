// SNMP requests over UDP: one socket per address family, many requests in flight, told apart by their request ids.
#pragma once

#include <array>
#include <asio/io_context.hpp>
#include <asio/ip/udp.hpp>
#include <asio/steady_timer.hpp>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <oxbase/oxs.h>

#include "manager/base/node_list.h"

namespace ox::manager {

struct Agent {
  asio::ip::udp::endpoint address;
  std::uint32_t version = OXS_V2C;
  std::string read_community;
  std::string write_community;
  std::uint32_t timeout = 1000;  // milliseconds, of each attempt
  std::uint32_t retries = 3;     // after the first attempt
};

// An agent's answer. `result` is 0, 158 when none came in time, 111 when the request could not be encoded.
struct SnmpAnswer {
  OX_RESULT result = OX_OK;
  std::uint32_t error_status = 0;
  std::uint32_t error_index = 0;  // from 1
  NodeList bindings;
};

class SnmpEngine {
 public:
  using Handler = std::function<void(SnmpAnswer)>;

  SnmpEngine(asio::io_context& loop, std::uint32_t most_in_flight) : loop_(loop), most_in_flight_(most_in_flight) {}

  // `pdu` is OXS_GET, OXS_GETNEXT or OXS_SET. The handler runs from the event loop, once. Requests beyond the limit
  // wait for their turn; their time-out begins when they are sent.
  void send(const Agent& agent, std::uint32_t pdu, const NodeList& bindings, Handler handler);

 private:
  struct Request {
    std::uint32_t id = 0;
    asio::ip::udp::endpoint address;
    std::vector<std::uint8_t> bytes;
    std::chrono::milliseconds timeout{};
    std::uint32_t attempts_left = 0;
    std::unique_ptr<asio::steady_timer> timer;
    Handler handler;
  };
  struct Socket {
    explicit Socket(asio::io_context& loop) : udp(loop) {}
    asio::ip::udp::socket udp;
    asio::ip::udp::endpoint sender;
    std::array<std::uint8_t, 65536> buffer{};
  };
  using Requests = std::map<std::uint32_t, Request>;

  void start_waiting();
  void attempt(Request& request);
  void timed_out(std::uint32_t id);
  Socket* socket_for(const asio::ip::udp::endpoint& address);
  void receive(Socket& socket);
  void received(Socket& socket, std::size_t length);
  void finish(Requests::iterator request, SnmpAnswer answer);

  asio::io_context& loop_;
  std::uint32_t most_in_flight_;
  std::uint32_t next_id_ = 1;
  std::unique_ptr<Socket> v4_, v6_;
  Requests in_flight_;
  std::deque<Request> waiting_;
};

}  // namespace ox::manager
