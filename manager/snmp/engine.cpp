#include "manager/snmp/engine.h"

#include <asio/buffer.hpp>
#include <asio/post.hpp>

namespace ox::manager {
namespace {

using asio::ip::udp;

bool encode(const Agent& agent, std::uint32_t pdu, std::uint32_t id, const NodeList& bindings,
            std::vector<std::uint8_t>& bytes) {
  std::string community = pdu == OXS_SET ? agent.write_community : agent.read_community;
  oxsSnmpMessage message{};
  message.version = agent.version;
  message.community = reinterpret_cast<unsigned char*>(community.data());
  message.communityLength = static_cast<std::uint32_t>(community.size());
  message.pduType = pdu;
  message.requestId = id;
  message.bindings = bindings.get();
  void* buffer = nullptr;
  std::uint32_t length = 0;
  if (oxsSnmpEncode(&message, &buffer, &length) != OX_OK) return false;
  const std::unique_ptr<void, decltype(&oxcMemFree)> owner(buffer, oxcMemFree);
  const auto* const first = static_cast<const std::uint8_t*>(buffer);
  bytes.assign(first, first + length);
  return true;
}

SnmpAnswer failure(OX_RESULT result) {
  SnmpAnswer answer;
  answer.result = result;
  return answer;
}

}  // namespace

void SnmpEngine::send(const Agent& agent, std::uint32_t pdu, const NodeList& bindings, Handler handler) {
  Request request;
  request.id = next_id_;
  next_id_ = next_id_ % 0x7FFFFFFF + 1;  // positive on the wire
  if (!encode(agent, pdu, request.id, bindings, request.bytes)) {
    asio::post(loop_, [handler = std::move(handler)] { handler(failure(OX_EENCODE)); });
    return;
  }
  request.address = agent.address;
  request.timeout = std::chrono::milliseconds(agent.timeout);
  request.attempts_left = agent.retries + 1;
  request.handler = std::move(handler);
  waiting_.push_back(std::move(request));
  start_waiting();
}

void SnmpEngine::start_waiting() {
  while (!waiting_.empty() && in_flight_.size() < most_in_flight_) {
    Request request = std::move(waiting_.front());
    waiting_.pop_front();
    request.timer = std::make_unique<asio::steady_timer>(loop_);
    const std::uint32_t id = request.id;
    attempt(in_flight_.insert_or_assign(id, std::move(request)).first->second);
  }
}

// A datagram that cannot be sent is like one that got lost: the time-out takes care of it.
void SnmpEngine::attempt(Request& request) {
  --request.attempts_left;
  if (Socket* const socket = socket_for(request.address)) {
    asio::error_code ignored;
    socket->udp.send_to(asio::buffer(request.bytes), request.address, 0, ignored);
  }
  request.timer->expires_after(request.timeout);
  request.timer->async_wait([this, id = request.id](const asio::error_code& error) {
    if (!error) timed_out(id);
  });
}

void SnmpEngine::timed_out(std::uint32_t id) {
  const auto request = in_flight_.find(id);
  if (request == in_flight_.end()) return;
  if (request->second.attempts_left > 0) return attempt(request->second);
  finish(request, failure(OX_ENOANSWER));
}

SnmpEngine::Socket* SnmpEngine::socket_for(const udp::endpoint& address) {
  std::unique_ptr<Socket>& socket = address.protocol() == udp::v4() ? v4_ : v6_;
  if (socket) return socket.get();
  auto opened = std::make_unique<Socket>(loop_);
  asio::error_code error;
  opened->udp.open(address.protocol(), error);
  if (error) return nullptr;
  opened->udp.bind(udp::endpoint(address.protocol(), 0), error);
  if (!error) opened->udp.non_blocking(true, error);
  if (error) return nullptr;
  socket = std::move(opened);
  receive(*socket);
  return socket.get();
}

void SnmpEngine::receive(Socket& socket) {
  socket.udp.async_receive_from(asio::buffer(socket.buffer), socket.sender,
                                [this, &socket](const asio::error_code& error, std::size_t length) {
                                  if (error == asio::error::operation_aborted) return;
                                  // Other errors tell of an earlier datagram that nobody took.
                                  if (!error) received(socket, length);
                                  receive(socket);
                                });
}

// Datagrams that are no answers, answer nothing that waits, or come from elsewhere are passed over.
void SnmpEngine::received(Socket& socket, std::size_t length) {
  oxsSnmpMessage message{};
  if (oxsSnmpDecode(socket.buffer.data(), static_cast<std::uint32_t>(length), &message) != OX_OK) return;
  SnmpAnswer answer;
  answer.error_status = message.errorStatus;
  answer.error_index = message.errorIndex;
  std::swap(*answer.bindings.out(), message.bindings);
  (void)oxsSnmpFree(&message);
  if (message.pduType != OXS_RESPONSE) return;
  const auto request = in_flight_.find(message.requestId);
  if (request == in_flight_.end() || request->second.address != socket.sender) return;
  finish(request, std::move(answer));
}

void SnmpEngine::finish(Requests::iterator request, SnmpAnswer answer) {
  const Handler handler = std::move(request->second.handler);
  in_flight_.erase(request);
  start_waiting();
  handler(std::move(answer));
}

}  // namespace ox::manager
