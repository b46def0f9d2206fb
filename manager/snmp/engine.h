// SNMP requests over UDP: many in flight, told apart by their request ids.
//
// Who is not on the road between manager and agent cannot answer in the agent's name: ids are random, and so are the
// ports, of a few sockets that are changed over time.
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
#include <random>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <oxbase/oxs.h>

#include "manager/base/fair_queue.h"
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
  std::uint32_t client = 0;      // who asks: a session, 0 the manager itself
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

// Datagrams that were not taken as answers, by the first thing that was wrong.
struct RefusedAnswers {
  std::uint64_t malformed = 0;       // no SNMP, or no response
  std::uint64_t unasked = 0;         // answers to nothing that waits: late and repeated ones, too
  std::uint64_t of_others = 0;       // from or to another address or port
  std::uint64_t of_versions = 0;     // of another version
  std::uint64_t of_communities = 0;  // with another community
};

class SnmpEngine {
 public:
  using Handler = std::function<void(SnmpAnswer)>;

  SnmpEngine(asio::io_context& loop, std::uint32_t most_in_flight)
      : loop_(loop), timer_(loop), most_in_flight_(most_in_flight) {}

  // The handler runs from the event loop, once. Requests beyond the limit wait for their turn, which goes round from
  // client to client; their time-out begins when they are sent. One that is not answered soon gives its place up, so
  // that slow agents keep nobody waiting.
  void send(const Agent& agent, Packet packet, std::uint32_t attempts, Handler handler);
  // With all of the agent's attempts.
  void send(const Agent& agent, std::uint32_t pdu, const NodeList& bindings, Handler handler) {
    send(agent, make_packet(agent, {pdu}, bindings), agent.retries + 1, std::move(handler));
  }

  [[nodiscard]] std::size_t in_flight() const { return in_flight_.size(); }
  [[nodiscard]] std::size_t waiting() const { return waiting_.size(); }
  [[nodiscard]] const RefusedAnswers& refused() const { return refused_; }

 private:
  using Clock = std::chrono::steady_clock;

  struct Socket {
    explicit Socket(asio::io_context& loop) : udp(loop) {}
    asio::ip::udp::socket udp;
    Clock::time_point opened = Clock::now();
    asio::ip::udp::endpoint sender;
    std::array<std::uint8_t, 65536> buffer{};
  };
  using SocketPtr = std::shared_ptr<Socket>;
  using Sockets = std::array<SocketPtr, 4>;

  struct Request {
    asio::ip::udp::endpoint address;
    Packet packet;
    std::chrono::milliseconds timeout{};
    std::uint32_t attempts_left = 0;
    Clock::time_point sent{};
    bool holds_place = false;
    SocketPtr socket;  // that the attempt was sent from, where its answer comes; old ones stay as long as that
    Handler handler;
  };
  using Requests = std::unordered_map<std::uint32_t, Request>;
  using Moment = std::pair<Clock::time_point, std::uint32_t>;  // and the request's id

  [[nodiscard]] std::uint32_t new_id();
  void start_waiting();
  void attempt(std::uint32_t id, Request& request);
  void give_up_places(Clock::time_point now);
  void watch();
  void time_has_come();
  void timed_out(std::uint32_t id);
  [[nodiscard]] SocketPtr socket_for(const asio::ip::udp::endpoint& address);
  [[nodiscard]] SocketPtr open(const asio::ip::udp& protocol);
  void receive(const SocketPtr& socket);
  void take(Socket& socket, std::size_t length);
  void received(Socket& socket, std::size_t length);
  [[nodiscard]] Requests::iterator asked(const Socket& socket, const oxsSnmpMessage& message);
  void finish(Requests::iterator request, SnmpAnswer answer);

  asio::io_context& loop_;
  asio::steady_timer timer_;
  Clock::time_point watched_ = Clock::time_point::max();  // what the timer waits for
  std::uint32_t most_in_flight_;
  std::random_device random_;
  Sockets v4_, v6_;
  RefusedAnswers refused_;
  Requests in_flight_;
  std::set<Moment> ends_;       // of the attempts in flight
  std::deque<Moment> started_;  // those that may still hold a place
  std::size_t places_held_ = 0;
  FairQueue<Request> waiting_;
};

}  // namespace ox::manager
