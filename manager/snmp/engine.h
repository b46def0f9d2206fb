// SNMP requests over UDP: one socket per address family, many requests in flight, told apart by their request ids.
#pragma once

#include <array>
#include <asio/io_context.hpp>
#include <asio/ip/udp.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <oxbase/oxs.h>

#include "manager/base/node_list.h"
#include "manager/snmp/packet.h"

namespace ox::manager {

struct Agent {
  asio::ip::udp::endpoint address;
  std::uint32_t version = OXS_V2C;
  std::string read_community;
  std::string write_community;
  std::uint32_t timeout = 1000;  // milliseconds, of each attempt
  std::uint32_t retries = 3;     // after the first attempt
  std::uint32_t learned = 0;     // AgentState's, in an earlier life of the manager; 0: nothing
};

// An agent's answer. `result` is 0, 158 when none came in time, 111 when the request could not be encoded.
struct SnmpAnswer {
  OX_RESULT result = OX_OK;
  std::uint32_t error_status = 0;
  std::uint32_t error_index = 0;  // from 1
  NodeList bindings;
  std::chrono::steady_clock::duration round_trip{};  // of the attempt that was answered
};

class SnmpEngine {
 public:
  using Handler = std::function<void(SnmpAnswer)>;

  SnmpEngine(asio::io_context& loop, std::uint32_t most_in_flight)
      : loop_(loop), timer_(loop), most_in_flight_(most_in_flight) {}

  // The handler runs from the event loop, once. Requests beyond the limit wait for their turn; their time-out begins
  // when they are sent. One that is not answered soon gives its place up, so that slow agents keep nobody waiting.
  void send(const Agent& agent, Packet packet, std::uint32_t attempts, Handler handler);
  // With all of the agent's attempts.
  void send(const Agent& agent, std::uint32_t pdu, const NodeList& bindings, Handler handler) {
    send(agent, make_packet(agent, {pdu}, bindings), agent.retries + 1, std::move(handler));
  }

  [[nodiscard]] std::size_t in_flight() const { return in_flight_.size(); }
  [[nodiscard]] std::size_t waiting() const { return waiting_.size(); }

 private:
  using Clock = std::chrono::steady_clock;

  struct Request {
    asio::ip::udp::endpoint address;
    Packet packet;
    std::chrono::milliseconds timeout{};
    std::uint32_t attempts_left = 0;
    Clock::time_point sent{};
    bool holds_place = false;
    Handler handler;
  };
  struct Socket {
    explicit Socket(asio::io_context& loop) : udp(loop) {}
    asio::ip::udp::socket udp;
    asio::ip::udp::endpoint sender;
    std::array<std::uint8_t, 65536> buffer{};
  };
  using Requests = std::unordered_map<std::uint32_t, Request>;
  using Moment = std::pair<Clock::time_point, std::uint32_t>;  // and the request's id

  void start_waiting();
  void attempt(std::uint32_t id, Request& request);
  void give_up_places(Clock::time_point now);
  void watch();
  void time_has_come();
  void timed_out(std::uint32_t id);
  Socket* socket_for(const asio::ip::udp::endpoint& address);
  void receive(Socket& socket);
  void take(Socket& socket, std::size_t length);
  void received(Socket& socket, std::size_t length);
  void finish(Requests::iterator request, SnmpAnswer answer);

  asio::io_context& loop_;
  asio::steady_timer timer_;
  Clock::time_point watched_ = Clock::time_point::max();  // what the timer waits for
  std::uint32_t most_in_flight_;
  std::uint32_t next_id_ = 0;
  std::unique_ptr<Socket> v4_, v6_;
  Requests in_flight_;
  std::set<Moment> ends_;       // of the attempts in flight
  std::deque<Moment> started_;  // those that may still hold a place
  std::size_t places_held_ = 0;
  std::deque<Request> waiting_;
};

}  // namespace ox::manager
