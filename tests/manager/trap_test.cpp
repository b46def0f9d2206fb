// Traps inside the manager: whose they are, what is a repeat, and what memory running out costs.
#include <optional>

#include "manager/traps/receiver.h"
#include "tests/manager/manager_fixture.h"
#include "tests/snmp/packet.h"
#include "tests/support/fault_heap.h"
#include "tests/support/system_root.h"
#include "tests/support/udp_socket.h"

namespace ox::manager {
namespace {

using namespace std::chrono_literals;

TEST(AgentIndex, FollowsTheStore) {
  Store store;
  const auto change = [](Change::Kind kind, const char* node, std::string address = {}) {
    return Change{kind, {"node", node}, {11, 5, 1, 0}, {6, std::move(address)}, {}};
  };
  constexpr std::uint32_t first = 0x01010101;
  constexpr std::uint32_t second = 0x02020202;
  using Kind = Change::Kind;
  const struct {
    Change change;
    std::string owner_of_first, owner_of_second;
  } steps[] = {
      {change(Kind::set, "b", "\1\1\1\1"), "", ""},  // there is no such node yet
      {change(Kind::add, "b"), "", ""},
      {change(Kind::set, "b", "\1\1\1\1"), "b", ""},
      {change(Kind::add, "a"), "b", ""},
      {change(Kind::set, "a", "\1\1\1\1"), "a", ""},
      {change(Kind::set, "a", "\2\2\2\2"), "b", "a"},
      {change(Kind::unset, "a"), "b", ""},
      {change(Kind::set, "a", "\2\2\2\2"), "b", "a"},
      {change(Kind::remove, "a"), "b", ""},
      {change(Kind::add, "a"), "b", ""},
      {change(Kind::set, "b", "\1\1"), "", ""},
  };
  const auto owner = [&](std::uint32_t address) {
    const std::string* const node = store.agents().find(address);
    return node == nullptr ? std::string() : *node;
  };
  for (const auto& step : steps) {
    store.apply(step.change);
    EXPECT_EQ(step.owner_of_first, owner(first)) << &step - steps;
    EXPECT_EQ(step.owner_of_second, owner(second)) << &step - steps;
  }
}

TEST(TrapRepeats, AreCountedAsLongAsTheyCome) {
  const auto begin = TrapRepeats::Clock::now();
  TrapRepeats repeats(5s, 500);
  const auto told = [&](std::chrono::seconds at) {
    std::string text;
    while (const auto one = repeats.take(begin + at)) {
      text += one->key + std::to_string(one->known.count) + " of " +
              std::to_string(std::to_integer<int>(one->known.event[0])) + ' ';
    }
    return text;
  };
  const auto open = [&](const std::string& key, int first, std::chrono::seconds at = 0s) {
    repeats.open(key, {static_cast<std::byte>(first)}, true, true, 0, begin + at);
  };
  EXPECT_FALSE(repeats.count("a", 1));
  open("a", 7);
  open("b", 8, 1s);
  EXPECT_TRUE(repeats.count("a", 2));
  EXPECT_TRUE(repeats.count("a", 3));
  EXPECT_EQ("", told(4s));
  EXPECT_EQ("a2 of 7 ", told(6s));  // b had none, and is forgotten
  EXPECT_FALSE(repeats.count("b", 4));
  EXPECT_TRUE(repeats.count("a", 5)) << "the next window";
  EXPECT_EQ("a1 of 7 ", told(11s));
  EXPECT_EQ("", told(16s));
  EXPECT_FALSE(repeats.count("a", 6));
  EXPECT_FALSE(repeats.next_end());

  // No more than is allowed is kept, and what is kept counts on.
  open("c", 1);
  open(std::string(114, 'd'), 2);
  EXPECT_FALSE(repeats.count(std::string(114, 'd'), 1));
  EXPECT_TRUE(repeats.count("c", 1));
  // The log has not taken the first event: what comes is new, and what was counted is told.
  repeats.forget();
  EXPECT_FALSE(repeats.count("c", 2));
  open("c", 9);
  EXPECT_TRUE(repeats.count("c", 3));
  EXPECT_EQ("c2 of 9 ", told(5s));
}

// A trap of version 1 with one binding.
std::string trap_of(const std::string& enterprise, int number) {
  using test::bytes, test::element;
  const std::string specific{static_cast<char>(number >> 8), static_cast<char>(number)};
  const std::string fan = element(0x30, bytes("0606 2B0601040101 0403 'fan'"));
  return element(0x30, bytes("020100 0401 'c'") +
                           element(0xA4, element(0x06, enterprise) + bytes("4004 0A000001 020106") +
                                             element(0x02, specific) + bytes("430100") + element(0x30, fan)));
}

TEST(TrapSources, NetworksCommunitiesAndProxies) {
  const struct {
    const char* lines;
    std::vector<std::uint32_t> faults;
    const char* sender;
    const char* community;
    bool taken;
    bool proxy;
  } cases[] = {
      {"", {}, "192.0.2.1", "any", true, false},
      {"Proxy: 192.0.2.0/24\n", {}, "192.0.2.1", "any", true, true},
      {"Proxy: 192.0.2.0/24\n", {}, "192.0.3.1", "any", true, false},
      {"Take: 192.0.2.1\n", {}, "192.0.2.1", "any", true, false},
      {"Take: 192.0.2.1\n", {}, "::ffff:192.0.2.1", "any", true, false},
      {"Take: 192.0.2.1\n", {}, "192.0.2.2", "any", false, false},
      {"Take: 192.0.2.1 secret\n", {}, "192.0.2.1", "secret", true, false},
      {"Take: 192.0.2.1 secret\n", {}, "192.0.2.1", "public", false, false},
      {"Take: 192.0.2.1 secret\nTake: * public\n", {}, "192.0.2.1", "public", true, false},
      {"Take: 192.0.2.8/29\n", {}, "192.0.2.15", "any", true, false},
      {"Take: 192.0.2.8/29\n", {}, "192.0.2.16", "any", false, false},
      {"Take: 0.0.0.0/0\n", {}, "2001:db8::1", "any", false, false},
      {"Take: 2001:db8::/33\n", {}, "2001:db8:7fff::1", "any", true, false},
      {"Take: 2001:db8::/33\n", {}, "2001:db8:8000::1", "any", false, false},
      {"Take: 192.0.2.0/33\nProxy: here\nFrom: *\nTake:\nTake: 1.2.3.4/8x\n",
       {1, 2, 3, 4, 5},
       "192.0.2.1",
       "any",
       false,
       false},
  };
  for (const auto& c : cases) {
    const std::string file = test::work_dir() + "/traps.cf";
    test::write_file(file, c.lines);
    TrapSources sources;
    std::vector<std::uint32_t> faults;
    (void)sources.read(file,
                       [&](const std::string&, std::uint32_t line, const std::string&) { faults.push_back(line); });
    const auto sender = asio::ip::make_address(c.sender);
    EXPECT_EQ(c.faults, faults) << c.lines;
    EXPECT_EQ(c.taken, sources.takes(sender, c.community)) << c.lines << c.sender << ' ' << c.community;
    EXPECT_EQ(c.proxy, sources.is_proxy(sender)) << c.lines << c.sender;
  }
}

TEST(TrapBuckets, OneSenderOrOneKindUsesUpNobodyElses) {
  const auto begin = TrapBuckets::Clock::now();
  TrapBuckets buckets(1, 3);
  const auto sender = [](std::uint32_t last) { return asio::ip::address(asio::ip::address_v4(0x0A000000 + last)); };
  const auto taken = [&](std::uint32_t from, bool severe, int sent, std::chrono::seconds at = 0s) {
    int count = 0;
    for (int i = 0; i < sent; ++i) count += buckets.take(sender(from), severe, begin + at) ? 1 : 0;
    return count;
  };
  EXPECT_EQ(100, taken(1, false, 5000));
  EXPECT_EQ(100, taken(1, true, 5000));
  EXPECT_EQ(50, taken(2, false, 50));
  EXPECT_EQ(10, taken(1, false, 5000, 10s)) << "one a second";
  EXPECT_EQ(100, taken(3, false, 5000, 10s));
  EXPECT_EQ(70, taken(4, false, 5000, 10s)) << "all of them together";
  EXPECT_EQ(30, taken(4, true, 30, 10s));
  int many = 0;
  for (std::uint32_t from = 100; from < 5000; ++from) many += taken(from, false, 1, 1000s);
  EXPECT_EQ(300, many);
  EXPECT_EQ(100, taken(1, false, 5000, 3000s)) << "full again";
}

class TrapManagerTest : public ManagerTest {
 protected:
  void SetUp() override {
    ManagerTest::SetUp();
    manager_->settings.trap_address = "127.0.0.1";
    start_traps();
  }
  void start_traps() {
    traps_.reset();
    manager_->settings.trap_port = test::UdpSocket().port();
    traps_.emplace(manager_->loop, manager_->settings, manager_->store.agents(), manager_->events, manager_->trap_books,
                   manager_->faults, manager_->programs);
    traps_->start();
  }
  void TearDown() override {
    traps_.reset();
    ManagerTest::TearDown();
  }
  void send(const std::string& trap) { sender_.send(trap, static_cast<std::uint16_t>(manager_->settings.trap_port)); }
  // All of the log, in order.
  std::vector<EventPtr> events() {
    std::vector<StoredEvent> stored;
    EXPECT_EQ(Outcome::done, manager_->events.store().after(0, 10000, 1u << 30, stored));
    std::vector<EventPtr> all(stored.size());
    for (std::size_t i = 0; i < all.size(); ++i) EXPECT_EQ(0u, decode_events(stored[i].body, all[i]));
    return all;
  }
  // Events of traps, and others.
  std::pair<std::uint64_t, std::uint64_t> logged() {
    std::pair<std::uint64_t, std::uint64_t> count;
    manager_->events.flush();
    for (const EventPtr& event : events()) {
      const bool trap = (number_of(event.get(), &oxeEvmsgGetEventType) & OX_EVENT_TRAP) != 0;
      ++(trap ? count.first : count.second);
    }
    return count;
  }

  test::UdpSocket sender_;
  std::optional<TrapReceiver> traps_;
};

TEST_F(TrapManagerTest, WhatNoEventCanHoldIsMalformed) {
  const TrapBooks& books = manager_->trap_books;
  for (const std::size_t size : {15000u, 20000u}) send(trap_of("+" + std::string(size, '\x7F'), 5));
  while (books.received < 2) (void)loop_.run_one();
  EXPECT_EQ(1u, books.malformed);
  EXPECT_EQ(1u, logged().first);
  EXPECT_EQ(1u, books.events);
}

// The agent's address in the event of the only trap.
TEST_F(TrapManagerTest, WhatIsNotTakenIsCountedAndNoOtherAgentIsNamed) {
  const TrapBooks& books = manager_->trap_books;
  test::write_file(trap_sources_file(), "Take: 127.0.0.1 c\n");
  manager_->settings.trap_source_rate = 1;
  start_traps();
  std::string other = trap_of("+\6\1", 1);
  other.at(other.find("\4\1c") + 2) = 'd';
  std::string third = trap_of("+\6\1", 1);
  third.at(third.find("\2\1") + 2) = 3;
  send(other);
  send(third);
  for (int number = 0; number < 150; ++number) send(trap_of("+\6\1", number));
  while (books.received < 152) (void)loop_.run_one();
  EXPECT_EQ(100u, logged().first);
  EXPECT_EQ(
      "152 received: 100 events, 0 repeats, 1 not taken, by traps.cf, "
      "50 more than TrapSourceRate or TrapRate allow, 1 of version 3, which is not supported",
      books_text(books));
  const auto agent = [this] {
    return std::string(oxcIpAddrToStr(number_of(events().back().get(), &oxeEvmsgGetSnmpAgentAddr)));
  };
  EXPECT_EQ("127.0.0.1", agent()) << "it says 10.0.0.1";
  test::write_file(trap_sources_file(), "Proxy: 127.0.0.1\n");
  start_traps();
  send(trap_of("+\6\1", 200));
  while (books.received < 153) (void)loop_.run_one();
  EXPECT_EQ(101u, logged().first);
  EXPECT_EQ("10.0.0.1", agent());
}

TEST_F(TrapManagerTest, RepeatsAreToldByAnEventLikeTheFirst) {
  for (const int number : {5, 5, 6, 5}) send(trap_of("+\6\1", number));
  while (manager_->trap_books.received < 4) (void)loop_.run_one();
  traps_->end();
  EXPECT_EQ(2u, manager_->trap_books.repeats);
  const std::vector<EventPtr> all = events();
  ASSERT_EQ(3u, all.size());
  const EventPtr& first = all.front();
  const EventPtr& told = all.back();
  EXPECT_EQ(text_of(first.get(), &oxeEvmsgGetOptMsg) + " (repeated 2 times in 5 s)",
            text_of(told.get(), &oxeEvmsgGetOptMsg));
  EXPECT_EQ(number_of(first.get(), &oxeEvmsgGetEventId), number_of(told.get(), &oxeEvmsgGetRefEventId));
  EXPECT_EQ(number_of(told.get(), &oxeEvmsgGetSndId), number_of(told.get(), &oxeEvmsgGetEventId));
  EXPECT_EQ(text_of(first.get(), &oxeEvmsgGetMemo), text_of(told.get(), &oxeEvmsgGetMemo));
}

TEST_F(TrapManagerTest, WithoutMemoryATrapIsCountedAndNothingElseIsLost) {
  const TrapBooks& books = manager_->trap_books;
  const std::uint64_t before_all = logged().first;
  send(trap_of("+\6\1", 0));
  while (books.events == 0) (void)loop_.run_one();
  bool reached = true;
  for (int n = 1; reached; ++n) {
    send(trap_of("+\6\1", n));
    const std::uint64_t before = books.received;
    test::fail_allocation(n);
    while (books.received == before) (void)loop_.run_one();
    reached = test::stop_failing();
    manager_->events.flush();
    EXPECT_EQ(books.received, books.events + books.without_memory) << "allocation " << n;
    ASSERT_LT(n, 1000);
  }
  EXPECT_LT(10u, books.without_memory);
  EXPECT_EQ(before_all + books.events, logged().first);
  traps_->end();
  EXPECT_LT(0u, logged().second) << "the losses are told";
}

}  // namespace
}  // namespace ox::manager
