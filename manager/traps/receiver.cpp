#include "manager/traps/receiver.h"

#include <algorithm>
#include <asio/buffer.hpp>
#include <asio/ip/v6_only.hpp>
#include <chrono>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "manager/base/log.h"
#include "manager/traps/event.h"

namespace ox::manager {
namespace {

using asio::ip::udp;

constexpr char sender_name[] = "oxmgrd";
constexpr std::size_t most_repeat_bytes = 16u << 20;
constexpr std::size_t most_told = 64;  // in one turn
// A byte of an identifier becomes at most four characters: in a datagram of this size none is longer than a text of an
// event may be.
constexpr std::size_t surely_fits = 16000;
constexpr auto first_report = std::chrono::seconds(1);

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

std::string key_of(const evmsg* event) {
  const Bytes bytes = encode_event(event);
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// Whether what is encoded can be read again.
bool can_travel(const evmsg* event) {
  EventPtr again;
  const OX_RESULT result = decode_events(encode_event(event), again);
  if (result == OX_ENOMEM) throw std::bad_alloc();
  return result == OX_OK && encode_event(again.get()) == encode_event(event);
}

// What fails for want of memory between two traps must not end the daemon.
template <class Call>
void guarded(const Call& call) {
  try {
    call();
  } catch (const std::bad_alloc&) {
    log(Severity::error, "out of memory while traps are received");
  }
}

void require(OX_RESULT result) {
  if (result != OX_OK) throw std::bad_alloc();  // setting a field fails for no other reason
}

}  // namespace

TrapReceiver::TrapReceiver(Manager& manager)
    : manager_(manager),
      definitions_(manager.loop),
      repeats_(std::chrono::seconds(manager.settings.trap_repeat_window), most_repeat_bytes),
      socket_(manager.loop),
      actions_(manager.settings.trap_actions),
      books_(manager.trap_books),
      repeat_timer_(manager.loop),
      loss_timer_(manager.loop) {}

asio::error_code TrapReceiver::bind(const udp::endpoint& at) {
  asio::error_code error;
  socket_.open(at.protocol(), error);
  if (!error && at.address().is_v6()) socket_.set_option(asio::ip::v6_only(false), error);
  if (!error) socket_.bind(at, error);
  if (!error) socket_.non_blocking(true, error);
  return error;
}

void TrapReceiver::start() {
  const Settings& settings = manager_.settings;
  const udp::endpoint at(asio::ip::make_address(settings.trap_address),
                         static_cast<unsigned short>(settings.trap_port));
  if (const asio::error_code error = bind(at)) {
    const std::string text = "no traps are received on " + text_of(at);
    log(Severity::error, text + ": " + error.message() +
                             "; next: free that port, or set another TrapPort or TrapAddress, and start oxmgrd again "
                             "(a port below 1024 needs CAP_NET_BIND_SERVICE or root)");
    manager_.faults.add(text + ": " + error.message());
    return tell(4, text, error.message(), [](OX_RESULT, const Bytes&) {});
  }
  platform::set_receive_space(socket_, settings.trap_buffer);
  definitions_.start();
  log(Severity::information, "receiving traps on " + text_of(at));
  wait();
}

void TrapReceiver::end() {
  count_overflow();
  asio::error_code ignored;
  socket_.close(ignored);
  manager_.events.flush();
  const auto every = TrapRepeats::Clock::now() + std::chrono::seconds(manager_.settings.trap_repeat_window + 1);
  guarded([&] {
    tell_repeats(static_cast<std::size_t>(-1), every);
    tell_losses();
  });
  manager_.events.flush();
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
    tell_repeats_later();
    if (books_.lost() != told_.lost()) tell_losses_later();
  });
}

void TrapReceiver::take(std::span<const std::byte> datagram, const udp::endpoint& sender) {
  Trap trap;
  const OX_RESULT decoded = oxsSnmpTrapDecode(datagram.data(), static_cast<std::uint32_t>(datagram.size()), &trap);
  if (decoded == OX_ENOMEM) throw std::bad_alloc();
  if (decoded != OX_OK) return refuse(sender);
  const oxcTrTag* const definition = definitions_.find(trap);
  const std::uint32_t agent = agent_of(trap, address_of(sender));
  EventPtr event = make_trap_event(trap, agent, manager_.store.agents().find(agent), definition);
  if (datagram.size() > surely_fits && !can_travel(event.get())) return refuse(sender);
  Bytes answer = answer_to(trap, datagram);
  const bool counting = manager_.settings.trap_repeat_window != 0;
  const std::string key = counting ? key_of(event.get()) : std::string();
  if (counting && repeats_.count(key, trap.timeStamp)) {
    ++books_.repeats;
    if (!answer.empty()) answer_when_safe(std::move(answer), sender);
    return;
  }
  set_trap_times(event.get(), trap, definition);
  const bool listed = definition == nullptr || definition->logging != 0;
  Follow follow{std::move(answer), sender, {}};
  if (definition != nullptr && definition->action != nullptr) follow.action = definition->action;
  const Sequence given = submit(std::move(event), listed, std::move(follow));
  if (counting) repeats_.open(key, static_cast<std::uint32_t>(given), listed, TrapRepeats::Clock::now());
}

void TrapReceiver::refuse(const udp::endpoint& sender) {
  malformed_from_ = text_of(sender);
  ++books_.malformed;
}

// An inform is answered when its event is safe: until then its sender keeps it, and sends it again. An action is for an
// event that has a number.
Sequence TrapReceiver::submit(EventPtr event, bool listed, Follow follow) {
  const auto done = [this, follow = std::move(follow)](OX_RESULT result, const Bytes& body) {
    if (result == OX_OK) {
      ++books_.events;
      if (!follow.answer.empty()) answer(follow.answer, follow.sender);
      if (!follow.action.empty()) act(follow.action, body);
      return;
    }
    ++books_.unlogged;
    repeats_.forget();
    guarded([this] { tell_losses_later(); });
  };
  return manager_.events.submit(std::move(event), sender_name, done, listed);
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
  action_fault_ = std::move(fault);
  guarded([this] { tell_losses_later(); });
}

void TrapReceiver::answer(const Bytes& bytes, const udp::endpoint& to) {
  asio::error_code ignored;  // the sender asks again
  if (socket_.is_open()) socket_.send_to(asio::buffer(bytes), to, 0, ignored);
}

// One that is not answered for want of memory comes again.
void TrapReceiver::answer_when_safe(Bytes bytes, const udp::endpoint& to) {
  guarded([&] {
    manager_.events.when_safe([this, bytes = std::move(bytes), to](bool safe) {
      if (safe) answer(bytes, to);
    });
  });
}

// ---- Repeats ----

void TrapReceiver::tell_repeats_later() {
  const auto end = repeats_.next_end();
  if (!end || repeats_due_) return;
  repeat_timer_.expires_at(*end);
  repeat_timer_.async_wait([this](const asio::error_code& error) {
    if (error) return;
    repeats_due_ = false;
    guarded([this] { tell_repeats(most_told, TrapRepeats::Clock::now()); });
    guarded([this] { tell_repeats_later(); });
  });
  repeats_due_ = true;
}

void TrapReceiver::tell_repeats(std::size_t most, TrapRepeats::Clock::time_point now) {
  for (std::size_t told = 0; told < most; ++told) {
    const auto repeats = repeats_.take(now);
    if (!repeats) return;
    try {
      tell(*repeats);
    } catch (const std::bad_alloc&) {
      books_.repeats -= repeats->known.count;
      books_.without_memory += repeats->known.count;
      tell_losses_later();
    }
  }
}

void TrapReceiver::tell(const TrapRepeats::Told& repeats) {
  const auto& known = repeats.known;
  EventPtr event;
  if (decode_events(std::as_bytes(std::span(repeats.key)), event) != OX_OK) throw std::bad_alloc();
  const std::string summary = text_of(event.get(), &oxeEvmsgGetOptMsg) + " (repeated " + std::to_string(known.count) +
                              (known.count == 1 ? " time" : " times") + " in " +
                              std::to_string(manager_.settings.trap_repeat_window) + " s)";
  const std::uint32_t defined = number_of(event.get(), &oxeEvmsgGetEventId);
  require(oxeEvmsgSetOptMsg(event.get(), summary.c_str()));
  require(oxeEvmsgSetRefEventId(event.get(), defined != 0 ? defined : known.first));
  require(oxeEvmsgSetSnmpTimeStamp(event.get(), known.time_stamp));
  const auto done = [this, count = known.count](OX_RESULT result, const Bytes&) {
    if (result == OX_OK) return;
    books_.repeats -= count;
    books_.unlogged += count;
    guarded([this] { tell_losses_later(); });
  };
  (void)manager_.events.submit(std::move(event), sender_name, done, known.listed);
}

// ---- Losses ----

void TrapReceiver::count_overflow() {
  const auto dropped = platform::dropped_datagrams(socket_);
  if (!dropped) return;
  books_.overflowed += *dropped - std::exchange(dropped_, *dropped);
}

// The first loss is told soon; those that follow are told together.
void TrapReceiver::tell_losses_later() {
  if (losses_due_) return;
  loss_timer_.expires_at(std::max(last_loss_report_ + std::chrono::seconds(manager_.settings.trap_report_interval),
                                  std::chrono::steady_clock::now() + first_report));
  loss_timer_.async_wait([this](const asio::error_code& error) {
    if (error) return;
    losses_due_ = false;
    wait();
    last_loss_report_ = std::chrono::steady_clock::now();
    guarded([this] { tell_losses(); });
  });
  losses_due_ = true;
}

void TrapReceiver::tell_losses() {
  if (books_.lost() == told_.lost()) return;  // told while this was put off
  std::string detail = losses_text(books_, told_);
  if (books_.malformed != told_.malformed) detail += "; the last malformed one came from " + malformed_from_;
  if (books_.idle_actions != told_.idle_actions) detail += "; the last action: " + action_fault_;
  const bool traps = books_.lost() - books_.idle_actions != told_.lost() - told_.idle_actions;
  const std::string summary = traps ? "traps have been lost" : "actions have not been run";
  log(Severity::warning, summary + ": " + detail);
  tell(2, summary, detail, [this, now = books_](OX_RESULT result, const Bytes&) {
    if (result == OX_OK) {
      told_ = now;
    } else if (socket_.is_open()) {
      guarded([this] { tell_losses_later(); });
    }
  });
}

void TrapReceiver::tell(std::uint32_t level, const std::string& summary, const std::string& detail,
                        EventLog::Done done) {
  (void)manager_.events.submit(own_event(level, summary, detail), sender_name, std::move(done));
}

}  // namespace ox::manager
