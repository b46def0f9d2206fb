// Simulated SNMP agents, one process for thousands of ports: what a poller is measured against.
//
// Each answers get, getnext and getbulk for sysUpTime and ten columns of ifTable in five rows, which grow with the
// time.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <queue>
#include <span>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Oid = std::vector<std::uint32_t>;

enum Tag : std::uint8_t {
  integer = 0x02,
  octets = 0x04,
  null = 0x05,
  identifier = 0x06,
  sequence = 0x30,
  counter = 0x41,
  gauge = 0x42,
  ticks = 0x43,
  no_such_instance = 0x81,
  end_of_view = 0x82,
  get = 0xA0,
  get_next = 0xA1,
  response = 0xA2,
  get_bulk = 0xA5,
};
constexpr std::uint32_t too_big = 1;

// Reads elements of BER; one that does not fit ends it.
class Reader {
 public:
  explicit Reader(std::span<const std::uint8_t> bytes) : left_(bytes) {}

  std::optional<std::uint8_t> next(std::span<const std::uint8_t>& contents) {
    if (left_.size() < 2) return {};
    const std::uint8_t tag = left_[0];
    std::size_t length = left_[1];
    std::size_t head = 2;
    if (length > 0x80) {
      const std::size_t count = length & 0x7F;
      if (count > 2 || left_.size() < 2 + count) return {};
      length = 0;
      for (std::size_t i = 0; i < count; ++i) length = length << 8 | left_[2 + i];
      head += count;
    }
    if (left_.size() < head + length) return {};
    contents = left_.subspan(head, length);
    left_ = left_.subspan(head + length);
    return tag;
  }
  std::optional<std::int32_t> number() {
    std::span<const std::uint8_t> bytes;
    if (next(bytes) != integer || bytes.empty() || bytes.size() > 4) return {};
    std::uint32_t value = (bytes[0] & 0x80) != 0 ? 0xFFFFFFFF : 0;
    for (const std::uint8_t byte : bytes) value = value << 8 | byte;
    return static_cast<std::int32_t>(value);
  }

 private:
  std::span<const std::uint8_t> left_;
};

Oid decode_oid(std::span<const std::uint8_t> bytes) {
  Oid oid;
  std::uint32_t value = 0;
  for (const std::uint8_t byte : bytes) {
    value = value << 7 | (byte & 0x7F);
    if ((byte & 0x80) != 0) continue;
    if (oid.empty()) {
      oid = {value / 40, value % 40};
    } else {
      oid.push_back(value);
    }
    value = 0;
  }
  return oid;
}

// Writes BER from its end to its beginning, so that each length is known.
class Writer {
 public:
  void byte(std::uint8_t value) { buffer_[--at_] = value; }
  void head(std::uint8_t tag, std::size_t length) {
    if (length < 0x80) {
      byte(static_cast<std::uint8_t>(length));
    } else {
      byte(static_cast<std::uint8_t>(length));
      byte(static_cast<std::uint8_t>(length >> 8));
      byte(0x82);
    }
    byte(tag);
  }
  void bytes(std::uint8_t tag, std::span<const std::uint8_t> contents) {
    at_ -= contents.size();
    std::copy(contents.begin(), contents.end(), buffer_.begin() + static_cast<std::ptrdiff_t>(at_));
    head(tag, contents.size());
  }
  void number(std::uint8_t tag, std::uint32_t value, bool is_signed) {
    const std::size_t end = at_;
    const std::uint32_t sign = is_signed && (value & 0x80000000) != 0 ? 0xFFFFFFFF : 0;
    std::uint8_t top = 0;
    do {
      top = static_cast<std::uint8_t>(value);
      byte(top);
      value = value >> 8 | (sign & 0xFF000000);
    } while (value != sign);
    if (((top & 0x80) != 0) != (sign != 0)) byte(static_cast<std::uint8_t>(sign));
    head(tag, end - at_);
  }
  void oid(const Oid& oid) {
    const std::size_t end = at_;
    for (std::size_t i = oid.size(); i-- > 2;) {
      std::uint32_t value = oid[i];
      byte(value & 0x7F);
      while ((value >>= 7) != 0) byte(static_cast<std::uint8_t>(value | 0x80));
    }
    byte(static_cast<std::uint8_t>(oid[0] * 40 + oid[1]));
    head(identifier, end - at_);
  }
  [[nodiscard]] std::size_t place() const { return at_; }
  [[nodiscard]] std::span<const std::uint8_t> written() const { return std::span(buffer_).subspan(at_); }

 private:
  std::array<std::uint8_t, 65536> buffer_;
  std::size_t at_ = buffer_.size();
};

struct Object {
  Oid oid;
  std::uint8_t tag;
  std::uint32_t rate;  // a second; of a gauge, what it is
};

std::vector<Object> objects() {
  struct Column {
    std::uint32_t number;
    std::uint8_t tag;
    std::uint32_t rate;
  };
  constexpr Column columns[] = {{5, gauge, 1'000'000'000}, {7, integer, 1},  {8, integer, 1},  {10, counter, 123'457},
                                {11, counter, 187},        {13, counter, 1}, {14, counter, 0}, {16, counter, 98'765},
                                {17, counter, 151},        {20, counter, 0}};
  std::vector<Object> all{{{1, 3, 6, 1, 2, 1, 1, 3, 0}, ticks, 100}};
  for (const Column& column : columns) {
    for (std::uint32_t row = 1; row <= 5; ++row) {
      all.push_back({{1, 3, 6, 1, 2, 1, 2, 2, 1, column.number, row}, column.tag, column.rate});
    }
  }
  return all;
}

struct Request {
  std::int32_t version = 0;
  std::span<const std::uint8_t> community;
  std::uint8_t pdu = 0;
  std::int32_t id = 0, non_repeaters = 0, repetitions = 0;
  std::vector<Oid> names;
};

std::optional<Request> decode(std::span<const std::uint8_t> datagram) {
  Request request;
  std::span<const std::uint8_t> message, pdu, list, binding, name;
  if (Reader(datagram).next(message) != sequence) return {};
  Reader fields(message);
  const auto version = fields.number();
  if (!version || fields.next(request.community) != octets) return {};
  const auto kind = fields.next(pdu);
  Reader of_pdu(pdu);
  const auto id = of_pdu.number();
  const auto first = of_pdu.number();
  const auto second = of_pdu.number();
  if (!kind || !id || !first || !second || of_pdu.next(list) != sequence) return {};
  request.version = *version;
  request.pdu = *kind;
  request.id = *id;
  request.non_repeaters = *first;
  request.repetitions = *second;
  for (Reader bindings(list); bindings.next(binding) == sequence;) {
    if (Reader(binding).next(name) != identifier) return {};
    request.names.push_back(decode_oid(name));
  }
  return request;
}

struct Trouble {
  bool mute = false;
  std::chrono::milliseconds delay{0};
  std::size_t most_bindings = 1000;
};

class Agents {
 public:
  Agents(std::uint32_t count, std::uint16_t first_port) : all_(objects()) {
    const rlimit most{count + 100, count + 100};
    (void)setrlimit(RLIMIT_NOFILE, &most);
    events_ = epoll_create1(0);
    for (std::uint32_t i = 0; i < count; ++i) open(i, static_cast<std::uint16_t>(first_port + i));
  }
  Agents(const Agents&) = delete;
  Agents& operator=(const Agents&) = delete;
  ~Agents() {
    for (const int socket : sockets_) close(socket);
    close(events_);
  }

  [[nodiscard]] Trouble& trouble(std::size_t agent) { return troubles_[agent]; }

  void serve() {
    std::array<epoll_event, 256> ready{};
    const int count = epoll_wait(events_, ready.data(), static_cast<int>(ready.size()), time_to_wait());
    for (int i = 0; i < count; ++i) receive(ready[static_cast<std::size_t>(i)].data.u32);
    send_late();
  }
  void print() const {
    std::printf("agents: %llu requests, %llu values answered\n", static_cast<unsigned long long>(requests_),
                static_cast<unsigned long long>(values_));
  }

 private:
  struct Late {
    Clock::time_point due;
    std::uint32_t agent;
    sockaddr_in to;
    std::vector<std::uint8_t> bytes;
    bool operator<(const Late& other) const { return due > other.due; }
  };
  struct Found {
    const Object* object;  // null: none
    std::uint8_t without;  // then
    const Oid* asked;
  };

  void open(std::uint32_t agent, std::uint16_t port) {
    const int made = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, 0);
    sockaddr_in at{};
    at.sin_family = AF_INET;
    at.sin_port = htons(port);
    at.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u32 = agent;
    if (made < 0 || bind(made, reinterpret_cast<sockaddr*>(&at), sizeof at) != 0 ||
        epoll_ctl(events_, EPOLL_CTL_ADD, made, &event) != 0) {
      std::fprintf(stderr, "many_agents: port %u: %s\n", port, std::strerror(errno));
      std::exit(1);
    }
    sockets_.push_back(made);
    troubles_.emplace_back();
  }

  void receive(std::uint32_t agent) {
    std::array<std::uint8_t, 65536> buffer;
    sockaddr_in from{};
    socklen_t size = sizeof from;
    for (;;) {
      const ssize_t length =
          recvfrom(sockets_[agent], buffer.data(), buffer.size(), 0, reinterpret_cast<sockaddr*>(&from), &size);
      if (length <= 0) return;
      const Trouble& trouble = troubles_[agent];
      const auto request = decode(std::span(buffer).first(static_cast<std::size_t>(length)));
      ++requests_;
      if (!request || trouble.mute) continue;
      Writer answer;
      write(answer, agent, *request);
      const auto bytes = answer.written();
      if (trouble.delay.count() == 0) {
        send(agent, from, bytes);
      } else {
        late_.push({Clock::now() + trouble.delay, agent, from, {bytes.begin(), bytes.end()}});
      }
    }
  }

  void write(Writer& to, std::uint32_t agent, const Request& request) {
    const std::size_t most = troubles_[agent].most_bindings;
    std::vector<Found> found = find(request, most);
    const bool refused = found.size() > most || (found.empty() && !request.names.empty());
    if (refused) found.clear();
    values_ += found.size();
    const std::size_t end = to.place();
    for (std::size_t i = found.size(); i-- > 0;) write(to, agent, found[i]);
    to.head(sequence, end - to.place());
    to.number(integer, 0, true);
    to.number(integer, refused ? too_big : 0, true);
    to.number(integer, static_cast<std::uint32_t>(request.id), true);
    to.head(response, end - to.place());
    to.bytes(octets, request.community);
    to.number(integer, static_cast<std::uint32_t>(request.version), true);
    to.head(sequence, end - to.place());
  }
  void write(Writer& to, std::uint32_t agent, const Found& found) const {
    const std::size_t end = to.place();
    if (found.object == nullptr) {
      to.head(found.without, 0);
      to.oid(*found.asked);
    } else {
      to.number(found.object->tag, value(agent, *found.object), found.object->tag == integer);
      to.oid(found.object->oid);
    }
    to.head(sequence, end - to.place());
  }
  [[nodiscard]] std::uint32_t value(std::uint32_t agent, const Object& object) const {
    if (object.tag == gauge || object.tag == integer) return object.rate;
    const std::chrono::duration<double> up = Clock::now() - started_;
    const std::uint32_t share =
        50 + (agent * 2654435761u + object.oid.back() * 40503u) % 100;  // of the rate, in percent
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(up.count() * object.rate * share / 100));
  }

  std::vector<Found> find(const Request& request, std::size_t most) const {
    std::vector<Found> found;
    if (request.pdu != get_bulk) {
      for (const Oid& name : request.names) found.push_back(request.pdu == get ? exact(name) : next(name));
      return found;
    }
    const auto single =
        std::min<std::size_t>(static_cast<std::size_t>(std::max(request.non_repeaters, 0)), request.names.size());
    for (std::size_t i = 0; i < single; ++i) found.push_back(next(request.names[i]));
    std::vector<const Oid*> row;
    for (std::size_t i = single; i < request.names.size(); ++i) row.push_back(&request.names[i]);
    for (std::int32_t i = 0; i < request.repetitions && found.size() + row.size() <= most; ++i) {
      for (const Oid*& name : row) {
        found.push_back(next(*name));
        if (found.back().object != nullptr) name = &found.back().object->oid;
      }
    }
    return found;
  }
  [[nodiscard]] Found exact(const Oid& name) const {
    const auto at =
        std::lower_bound(all_.begin(), all_.end(), name, [](const Object& a, const Oid& b) { return a.oid < b; });
    return {at != all_.end() && at->oid == name ? &*at : nullptr, no_such_instance, &name};
  }
  [[nodiscard]] Found next(const Oid& name) const {
    const auto at =
        std::upper_bound(all_.begin(), all_.end(), name, [](const Oid& a, const Object& b) { return a < b.oid; });
    return {at != all_.end() ? &*at : nullptr, end_of_view, &name};
  }

  void send(std::uint32_t agent, const sockaddr_in& to, std::span<const std::uint8_t> bytes) const {
    (void)sendto(sockets_[agent], bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
  }
  [[nodiscard]] int time_to_wait() const {
    if (late_.empty()) return 1000;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(late_.top().due - Clock::now());
    return static_cast<int>(std::max<std::int64_t>(0, left.count()));
  }
  void send_late() {
    for (; !late_.empty() && late_.top().due <= Clock::now(); late_.pop()) {
      send(late_.top().agent, late_.top().to, late_.top().bytes);
    }
  }

  std::vector<Object> all_;
  std::vector<int> sockets_;
  std::vector<Trouble> troubles_;
  std::priority_queue<Late> late_;
  int events_ = -1;
  Clock::time_point started_ = Clock::now();
  std::uint64_t requests_ = 0;
  std::uint64_t values_ = 0;
};

volatile std::sig_atomic_t ended = 0;

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Simulated SNMP agents on loopback, until SIGTERM"};
  std::uint32_t count = 10000;
  std::uint16_t port = 20000;
  std::uint32_t mute = 0, slow = 0, small = 0, delay = 3000, most = 10;
  app.add_option("count", count, "how many")->required();
  app.add_option("--first-port", port, "the others follow");
  app.add_option("--mute", mute, "so many do not answer");
  app.add_option("--slow", slow, "so many answer late");
  app.add_option("--delay", delay, "by so many milliseconds");
  app.add_option("--too-big", small, "so many answer tooBig");
  app.add_option("--most", most, "to more than so many values");
  CLI11_PARSE(app, argc, argv);
  Agents agents(count, port);
  std::size_t at = 0;
  for (std::uint32_t i = 0; i < mute && at < count; ++i) agents.trouble(at++).mute = true;
  for (std::uint32_t i = 0; i < slow && at < count; ++i) agents.trouble(at++).delay = std::chrono::milliseconds(delay);
  for (std::uint32_t i = 0; i < small && at < count; ++i) agents.trouble(at++).most_bindings = most;
  for (const int number : {SIGINT, SIGTERM}) (void)std::signal(number, [](int) { ended = 1; });
  std::printf("ready\n");
  (void)std::fflush(stdout);
  while (ended == 0) agents.serve();
  agents.print();
}
