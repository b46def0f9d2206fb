#include "manager/traps/receiver.h"

#include <asio/buffer.hpp>
#include <asio/ip/v6_only.hpp>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include "manager/base/log.h"
#include "manager/base/packet_trace.h"
#include "manager/traps/event.h"
#include "manager/traps/guarded.h"

namespace ox::manager {
namespace {

using asio::ip::udp;

// A decoded trap.
struct Trap : oxsSnmpTrap {
  Trap() : oxsSnmpTrap{} {}
  ~Trap() { (void)oxsSnmpTrapFree(this); }
  Trap(const Trap&) = delete;
  Trap& operator=(const Trap&) = delete;
};

std::string text_of(const udp::endpoint& endpoint) {
  return endpoint.address().to_string() + ':' + std::to_string(endpoint.port());
}

// As it lies in memory; 0 for one that is not of version 4.
std::uint32_t address_of(const udp::endpoint& endpoint) {
  asio::ip::address_v4 address;
  if (endpoint.address().is_v4()) {
    address = endpoint.address().to_v4();
  } else if (endpoint.address().to_v6().is_v4_mapped()) {
    address = asio::ip::make_address_v4(asio::ip::v4_mapped, endpoint.address().to_v6());
  }
  const auto bytes = address.to_bytes();
  std::uint32_t number = 0;
  std::memcpy(&number, bytes.data(), sizeof number);
  return number;
}

// Of version 6 the network, of which a machine has all addresses.
Origin origin_of(const asio::ip::address& sender) {
  if (sender.is_v4()) {
    const auto bytes = sender.to_v4().to_bytes();
    return ox::manager::origin_of(EventKind::trap, std::as_bytes(std::span(bytes)));
  }
  const auto bytes = sender.to_v6().to_bytes();
  const std::size_t count = sender.to_v6().is_v4_mapped() ? bytes.size() : bytes.size() / 2;
  return ox::manager::origin_of(EventKind::trap, std::as_bytes(std::span(bytes).first(count)));
}

// The number in front of a message of any version; nothing when there is none.
std::optional<int> version_of(std::span<const std::byte> datagram) {
  const auto at = [&](std::size_t i) { return i < datagram.size() ? std::to_integer<int>(datagram[i]) : 0; };
  const std::size_t first = at(1) < 0x80 ? 2 : 2 + static_cast<std::size_t>(at(1) & 0x7F);
  if (at(0) != 0x30 || at(first) != 2 || at(first + 1) != 1) return std::nullopt;
  return at(first + 2);
}

// No bytes for a trap, which wants none.
Bytes answer_to(const oxsSnmpTrap& trap, std::span<const std::byte> datagram) {
  if (trap.pduType != OXS_INFORM) return {};
  void* made = nullptr;
  std::uint32_t length = 0;
  const auto size = static_cast<std::uint32_t>(datagram.size());
  if (oxsSnmpInformAnswer(datagram.data(), size, &made, &length) != OX_OK) throw std::bad_alloc();
  const std::unique_ptr<void, decltype(&oxcMemFree)> owner(made, oxcMemFree);
  const auto* const first = static_cast<const std::byte*>(made);
  return {first, first + length};
}

}  // namespace

TrapReceiver::TrapReceiver(asio::io_context& loop, const Settings& settings, const AgentIndex& agents, EventLog& events,
                           TrapBooks& books, FaultList& faults, Programs& programs)
    : settings_(settings),
      agents_(agents),
      events_(events),
      books_(books),
      faults_(faults),
      definitions_(loop, [this] { repeats_.forget(); }),
      buckets_(settings.trap_source_rate, settings.trap_rate),
      socket_(loop),
      actions_(programs, settings),
      losses_(loop, settings, events, books, [this] { wait(); }),
      repeats_(loop, settings, events, books, losses_) {}

asio::error_code TrapReceiver::bind(const udp::endpoint& at) {
  asio::error_code error;
  socket_.open(at.protocol(), error);
  if (!error && at.address().is_v6()) socket_.set_option(asio::ip::v6_only(false), error);
  if (!error) socket_.bind(at, error);
  if (!error) socket_.non_blocking(true, error);
  return error;
}

void TrapReceiver::start() {
  const udp::endpoint at(asio::ip::make_address(settings_.trap_address),
                         static_cast<unsigned short>(settings_.trap_port));
  if (const asio::error_code error = bind(at)) {
    const std::string text = "no traps are received on " + text_of(at);
    log(Severity::error, text + ": " + error.message() +
                             "; next: free that port, or set another TrapPort or TrapAddress, and start oxmgrd again "
                             "(a port below 1024 needs CAP_NET_BIND_SERVICE or root)");
    faults_.add(text + ": " + error.message());
    return events_.tell(4, text, error.message());
  }
  (void)sources_.read(trap_sources_file(), faults_.sink());
  platform::set_receive_space(socket_, settings_.trap_buffer);
  definitions_.start();
  log(Severity::information, "receiving traps on " + text_of(at));
  wait();
}

void TrapReceiver::end() {
  count_overflow();
  asio::error_code ignored;
  socket_.close(ignored);
  events_.flush();
  losses_.end();
  guarded([&] {
    repeats_.tell_all();
    losses_.tell();
  });
  events_.flush();
  log(Severity::information, "traps: " + books_text(books_));
}

// Begun before what has come is taken: as a rule it takes over the memory of the wait that has just ended.
void TrapReceiver::wait() {
  if (waiting_ || !socket_.is_open()) return;
  guarded([this] {
    socket_.async_wait(udp::socket::wait_read, [this](const asio::error_code& error) {
      waiting_ = false;
      wait();
      if (!error) receive();
      wait();  // when the first one has found no memory
    });
    waiting_ = true;
  });
}

void TrapReceiver::receive() {
  const std::size_t count = batch_.receive(socket_);
  for (std::size_t i = 0; i < count; ++i) {
    ++books_.received;
    try {
      take(batch_.bytes(i), batch_.sender(i));
    } catch (const std::bad_alloc&) {
      ++books_.without_memory;
    }
  }
  count_overflow();
  guarded([this] {
    repeats_.tell_later();
    losses_.tell_later();
  });
}

void TrapReceiver::take(std::span<const std::byte> datagram, const udp::endpoint& sender) {
  Trap trap;
  trace_packet(Way::received, socket_, sender, datagram.data(), datagram.size());
  const OX_RESULT decoded = oxsSnmpTrapDecode(datagram.data(), static_cast<std::uint32_t>(datagram.size()), &trap);
  if (decoded == OX_ENOMEM) throw std::bad_alloc();
  if (decoded != OX_OK || !fits_an_event(trap)) return refuse(datagram, sender);
  const std::string_view community(reinterpret_cast<const char*>(trap.community), trap.communityLength);
  if (!sources_.takes(sender.address(), community)) {
    ++books_.unwanted;
    return;
  }
  const oxcTrTag* const definition = definitions_.find(trap);
  const std::uint32_t agent = agent_for(trap, sender);
  const std::string* const node = agents_.find(agent);
  Bytes answer = answer_to(trap, datagram);
  const std::string key = repeats_.wanted() ? key_of(trap, agent, node) : std::string();
  if (repeats_.wanted() && repeats_.count(key, trap.timeStamp)) {
    ++books_.repeats;
    if (!answer.empty()) answer_when_safe(std::move(answer), sender);
    return;
  }
  if (!buckets_.take(sender.address(), definition != nullptr && definition->severity >= severe_level,
                     TrapBuckets::Clock::now())) {
    ++books_.limited;
    return;
  }
  const bool listed = definition == nullptr || definition->logging != 0;
  Follow follow{std::move(answer), sender, {}};
  if (definition != nullptr && definition->action != nullptr) follow.action = definition->action;
  const Origin origin = origin_of(sender.address());
  const EventRef logged = submit(make_trap_event(trap, agent, node, definition), listed, origin, std::move(follow));
  const bool has_own_id = definition == nullptr || definition->eventId == 0;
  if (repeats_.wanted()) repeats_.open(key, logged->body, has_own_id, listed, origin);
}

// Whose trap it is: only a proxy is believed that it is another's.
std::uint32_t TrapReceiver::agent_for(const oxsSnmpTrap& trap, const udp::endpoint& sender) const {
  const std::uint32_t from = address_of(sender);
  return from == 0 || sources_.is_proxy(sender.address()) ? agent_of(trap, from) : from;
}

void TrapReceiver::refuse(std::span<const std::byte> datagram, const udp::endpoint& sender) {
  if (version_of(datagram) == 3) {
    ++books_.of_version_3;
    return;
  }
  losses_.malformed(text_of(sender));
  ++books_.malformed;
}

// An inform is answered when its event is safe: until then its sender keeps it, and sends it again. An action is for an
// event that has a number.
EventRef TrapReceiver::submit(EventPtr event, bool listed, Origin origin, Follow follow) {
  const auto done = [this, follow = std::move(follow)](OX_RESULT result, const Bytes& body) {
    if (result == OX_OK) {
      ++books_.events;
      if (!follow.answer.empty()) answer(follow.answer, follow.sender);
      if (!follow.action.empty()) act(follow.action, body);
      return;
    }
    ++books_.unlogged;
    repeats_.forget();
    guarded([this] { losses_.tell_later(); });
  };
  return events_.submit(std::move(event), own_name, origin, done, listed);
}

void TrapReceiver::act(const std::string& action, const Bytes& body) {
  std::string fault;
  try {
    EventPtr event;
    if (decode_events(body, event) != OX_OK) throw std::bad_alloc();
    fault = actions_.run(action, event.get());
  } catch (const std::bad_alloc&) {
    fault = "no memory";
  }
  if (fault.empty()) return;
  ++books_.idle_actions;
  losses_.idle_action(std::move(fault));
  guarded([this] { losses_.tell_later(); });
}

void TrapReceiver::answer(const Bytes& bytes, const udp::endpoint& to) {
  asio::error_code ignored;  // the sender asks again
  if (!socket_.is_open()) return;
  socket_.send_to(asio::buffer(bytes), to, 0, ignored);
  trace_packet(Way::sent, socket_, to, bytes.data(), bytes.size());
}

// One that is not answered for want of memory comes again.
void TrapReceiver::answer_when_safe(Bytes bytes, const udp::endpoint& to) {
  guarded([&] {
    events_.when_safe([this, bytes = std::move(bytes), to](bool safe) {
      if (safe) answer(bytes, to);
    });
  });
}

void TrapReceiver::count_overflow() {
  const auto dropped = platform::dropped_datagrams(socket_);
  if (!dropped) return;
  books_.overflowed += *dropped - std::exchange(dropped_, *dropped);
}

}  // namespace ox::manager
