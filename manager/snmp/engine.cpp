#include "manager/snmp/engine.h"

#include <algorithm>
#include <asio/buffer.hpp>
#include <asio/post.hpp>
#include <new>
#include <string_view>

#include "manager/base/log.h"
#include "manager/base/packet_trace.h"

namespace ox::manager {
namespace {

using asio::ip::udp;

// What a request that is under way may hold its place: answers that come later come one by one, and fill no buffer.
constexpr std::chrono::milliseconds place_time{50};
// Datagrams that are taken in one turn of the loop.
constexpr int most_at_once = 64;
constexpr std::chrono::milliseconds time_at_once{3};
// How long a port is used.
constexpr std::chrono::seconds port_time{60};
// What the system may hold while the loop is busy.
constexpr int buffer_size = 4 << 20;

SnmpAnswer failure(OX_RESULT result) {
  SnmpAnswer answer;
  answer.result = result;
  return answer;
}

}  // namespace

void SnmpEngine::send(const Agent& agent, Packet packet, std::uint32_t attempts, Handler handler) {
  if (packet.bytes.empty()) {
    asio::post(loop_, [handler = std::move(handler)] { handler(failure(OX_EENCODE)); });
    return;
  }
  Request request;
  request.address = agent.address;
  request.packet = std::move(packet);
  request.timeout = std::chrono::milliseconds(agent.timeout);
  request.attempts_left = attempts;
  request.handler = std::move(handler);
  waiting_.push(agent.client, std::move(request));
  start_waiting();
}

// Positive, of 4 bytes, and nobody's.
std::uint32_t SnmpEngine::new_id() {
  std::uint32_t id = 0;
  do {
    id = random_() & 0x7FFFFFFF;
  } while (id < 0x01000000 || in_flight_.contains(id));
  return id;
}

void SnmpEngine::start_waiting() {
  if (!waiting_.empty() && places_held_ >= most_in_flight_) give_up_places(Clock::now());
  while (!waiting_.empty() && places_held_ < most_in_flight_) {
    const std::uint32_t id = new_id();
    Request& request = in_flight_.insert_or_assign(id, std::move(waiting_.front())).first->second;
    waiting_.pop();
    request.packet.set_id(id);
    request.holds_place = true;
    ++places_held_;
    attempt(id, request);
    started_.emplace_back(request.sent, id);
  }
  watch();
}

// A datagram that cannot be sent is like one that got lost: the time-out takes care of it.
void SnmpEngine::attempt(std::uint32_t id, Request& request) {
  --request.attempts_left;
  if (!request.socket) request.socket = socket_for(request.address);
  if (request.socket) {
    asio::error_code ignored;
    request.socket->udp.send_to(asio::buffer(request.packet.bytes), request.address, 0, ignored);
    trace_packet(Way::sent, request.socket->udp, request.address, request.packet.bytes.data(),
                 request.packet.bytes.size());
  }
  request.sent = Clock::now();
  ends_.emplace(request.sent + request.timeout, id);
}

void SnmpEngine::give_up_places(Clock::time_point now) {
  for (; !started_.empty() && started_.front().first + place_time <= now; started_.pop_front()) {
    const auto request = in_flight_.find(started_.front().second);
    if (request == in_flight_.end() || !request->second.holds_place) continue;
    request->second.holds_place = false;
    --places_held_;
  }
}

// Waits for the next moment at which there is something to do.
void SnmpEngine::watch() {
  auto next = ends_.empty() ? Clock::time_point::max() : ends_.begin()->first;
  if (!waiting_.empty() && !started_.empty()) next = std::min(next, started_.front().first + place_time);
  // A moment that has become void is let come: most never do.
  if (next == Clock::time_point::max() || watched_ <= next) return;
  watched_ = next;
  timer_.expires_at(next);
  timer_.async_wait([this](const asio::error_code& error) {
    if (!error) time_has_come();
  });
}

void SnmpEngine::time_has_come() {
  watched_ = Clock::time_point::max();
  const auto now = Clock::now();
  give_up_places(now);
  std::vector<std::uint32_t> over;
  for (auto end = ends_.begin(); end != ends_.end() && end->first <= now; end = ends_.erase(end)) {
    over.push_back(end->second);
  }
  for (const std::uint32_t id : over) timed_out(id);
  start_waiting();
}

void SnmpEngine::timed_out(std::uint32_t id) {
  const auto request = in_flight_.find(id);
  if (request == in_flight_.end()) return;
  if (request->second.attempts_left > 0) return attempt(id, request->second);
  finish(request, failure(OX_ENOANSWER));
}

SnmpEngine::SocketPtr SnmpEngine::socket_for(const udp::endpoint& address) {
  Sockets& sockets = address.protocol() == udp::v4() ? v4_ : v6_;
  SocketPtr& socket = sockets[random_() % sockets.size()];
  if (socket && Clock::now() - socket->opened < port_time) return socket;
  if (SocketPtr fresh = open(address.protocol())) socket = std::move(fresh);
  return socket;
}

SnmpEngine::SocketPtr SnmpEngine::open(const udp& protocol) {
  auto opened = std::make_shared<Socket>(loop_);
  asio::error_code error;
  opened->udp.open(protocol, error);
  if (error) return nullptr;
  opened->udp.bind(udp::endpoint(protocol, 0), error);
  if (!error) opened->udp.non_blocking(true, error);
  if (error) return nullptr;
  opened->udp.set_option(asio::socket_base::receive_buffer_size(buffer_size), error);  // as much as there is
  receive(opened);
  return opened;
}

// A socket that is not used any more goes with the last request that was sent from it.
void SnmpEngine::receive(const SocketPtr& socket) {
  socket->udp.async_receive_from(
      asio::buffer(socket->buffer), socket->sender,
      [this, weak = std::weak_ptr(socket)](const asio::error_code& error, std::size_t length) {
        const SocketPtr here = weak.lock();
        if (!here || error == asio::error::operation_aborted) return;
        // Other errors tell of an earlier datagram that nobody took.
        if (!error) take(*here, length);
        receive(here);
      });
}

// With it what is there already, without another round of the loop for each. A datagram that finds no memory is lost.
void SnmpEngine::take(Socket& socket, std::size_t length) {
  asio::error_code error;
  const auto until = Clock::now() + time_at_once;
  for (int taken = 1; !error; ++taken) {
    try {
      received(socket, length);
    } catch (const std::bad_alloc&) {
      log(Severity::error, "out of memory: an agent's answer is lost");
    }
    if (taken == most_at_once || Clock::now() >= until) return;
    length = socket.udp.receive_from(asio::buffer(socket.buffer), socket.sender, 0, error);
  }
}

// The request that a message answers: sent from that socket to where it comes from, with its community. Others are
// counted.
SnmpEngine::Requests::iterator SnmpEngine::asked(const Socket& socket, const oxsSnmpMessage& message) {
  const auto refuse = [this](std::uint64_t RefusedAnswers::*kind) {
    ++(refused_.*kind);
    return in_flight_.end();
  };
  if (message.pduType != OXS_RESPONSE) return refuse(&RefusedAnswers::malformed);
  const auto found = in_flight_.find(message.requestId);
  if (found == in_flight_.end()) return refuse(&RefusedAnswers::unasked);
  const auto& [bytes, id_at, version, community] = found->second.packet;
  if (found->second.socket.get() != &socket || found->second.address != socket.sender) {
    return refuse(&RefusedAnswers::of_others);
  }
  if (version != message.version) return refuse(&RefusedAnswers::of_versions);
  const std::string_view given(reinterpret_cast<const char*>(message.community), message.communityLength);
  return community == given ? found : refuse(&RefusedAnswers::of_communities);
}

// Datagrams that are no answers, or answer nothing that waits, are passed over.
void SnmpEngine::received(Socket& socket, std::size_t length) {
  trace_packet(Way::received, socket.udp, socket.sender, socket.buffer.data(), length);
  oxsSnmpMessage message{};
  if (oxsSnmpDecodeEach(socket.buffer.data(), static_cast<std::uint32_t>(length), &message) != OX_OK) {
    ++refused_.malformed;
    return;
  }
  const auto request = asked(socket, message);
  SnmpAnswer answer;
  answer.error_status = message.errorStatus;
  answer.error_index = message.errorIndex;
  std::swap(*answer.bindings.out(), message.bindings);
  (void)oxsSnmpFree(&message);
  if (request == in_flight_.end()) return;
  answer.round_trip = Clock::now() - request->second.sent;
  finish(request, std::move(answer));
}

void SnmpEngine::finish(Requests::iterator request, SnmpAnswer answer) {
  const Handler handler = std::move(request->second.handler);
  ends_.erase({request->second.sent + request->second.timeout, request->first});
  if (request->second.holds_place) --places_held_;
  in_flight_.erase(request);
  // Those that hold no place any more stand in front of those that do.
  while (!started_.empty() && !in_flight_.contains(started_.front().second)) started_.pop_front();
  start_waiting();
  handler(std::move(answer));
}

}  // namespace ox::manager
