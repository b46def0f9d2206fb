// Clients of a manager that has no memory, or no more of what they may have.
#include "manager/sessions/server.h"

#include <atomic>
#include <memory>
#include <thread>

#include "platform/pipe.h"
#include "tests/manager/manager_fixture.h"
#include "tests/road/raw_client.h"
#include "tests/support/fault_heap.h"
#include "tests/support/scripted_peer.h"

namespace ox::manager {
namespace {

constexpr char name[] = "\\\\.\\PIPE\\ox_stdpipe";

class ServerTest : public ManagerTest {
 protected:
  // Everybody is `who_`; what they ask is kept.
  void serve() {
    server_.emplace(manager_->loop, manager_->settings, manager_->clients,
                    Server::Calls{[this](const Request& request) { asked_.push_back(request); }, [](std::uint32_t) {},
                                  [this](const platform::Peer&) { return who_; }});
    ASSERT_EQ(0u, server_->start(name));
  }
  template <class Condition>
  void run_until(Condition condition) {
    loop_.restart();
    while (!condition()) loop_.run_one_for(std::chrono::milliseconds(10));
  }
  // What a client does while the server works.
  template <class Act>
  void let(Act act) {
    std::atomic<bool> done = false;
    std::thread client([&] {
      act();
      done = true;
    });
    run_until([&] { return done.load(); });
    client.join();
  }
  std::uint32_t connect(const RightsPtr& who) {
    who_ = who;
    std::uint32_t result = 0;
    let([&] { result = clients_.emplace_back(std::make_unique<test::RawClient>())->greeted(); });
    return result;
  }
  void send(std::size_t client) { clients_[client]->send(test::request_bytes({.command = 99})); }
  // The code of the next answer.
  std::uint32_t answered(std::size_t client) {
    std::string answer;
    let([&] { answer = clients_[client]->receive(36); });
    return test::number(answer.substr(14, 2));
  }

  std::optional<Server> server_;
  std::vector<std::unique_ptr<test::RawClient>> clients_;
  RightsPtr who_;
  std::vector<Request> asked_;
};

TEST_F(ServerTest, TheLastSeatsAreKeptForAdministrators) {
  manager_->settings.max_clients = 32;
  serve();
  const RightsPtr member = of_member(), administrator = Rights::of_manager();
  for (int i = 0; i < 30; ++i) EXPECT_EQ(0u, connect(member)) << i;
  const std::pair<RightsPtr, std::uint32_t> rest[] = {
      {member, 394}, {administrator, 0}, {administrator, 0}, {administrator, 394}};
  for (const auto& [who, result] : rest) EXPECT_EQ(result, connect(who));
}

TEST_F(ServerTest, OfAUserSoManyRequestsAreAnsweredAtOnce) {
  manager_->settings.user_requests = 2;
  serve();
  const RightsPtr member = of_member();
  for (const RightsPtr& who : {member, member, member, of_member()}) EXPECT_EQ(0u, connect(who));
  const auto is_asked = [&](std::size_t client, std::size_t requests) {
    send(client);
    run_until([&] { return asked_.size() == requests; });
  };
  is_asked(0, 1);
  is_asked(1, 2);
  send(2);
  EXPECT_EQ(85u, answered(2));
  is_asked(3, 3);  // another user's
  asked_[0].reply({});
  EXPECT_EQ(0u, answered(0));
  is_asked(2, 4);
}

TEST_F(ServerTest, AClientThatThereIsNoMemoryForIsToldSo) {
  Server server(manager_->loop, manager_->settings, manager_->clients, calls_of(*manager_));
  ASSERT_EQ(0u, server.start(name));
  const std::string greeting = test::half(7) + test::text("none");
  int refused = 0;
  bool reached = true;
  for (int n = 1; reached && n < 1000; ++n) {
    platform::Pipe pipe;
    ASSERT_EQ(0u, pipe.open(name));
    ASSERT_EQ(0u, pipe.write_all(std::as_bytes(std::span(greeting))));
    std::array<std::byte, 4> answer{};
    std::atomic<bool> done = false;
    std::thread reader([&] {
      std::size_t got = 0;
      for (std::span<std::byte> rest = answer; !rest.empty(); rest = rest.subspan(got)) {
        if (pipe.read_some(rest, got) != platform::error_none) break;
      }
      done = true;
    });
    test::fail_allocation(n);
    loop_.restart();
    while (!done) loop_.run_one_for(std::chrono::milliseconds(10));
    reached = test::stop_failing();
    reader.join();
    const int code = std::to_integer<int>(answer[3]);
    EXPECT_NE(std::byte{0}, answer[1]) << "hung up on: allocation " << n;
    EXPECT_TRUE(code == 0 || (code == 3 && reached)) << code << " at allocation " << n;
    refused += code == 3 ? 1 : 0;
  }
  EXPECT_FALSE(reached);
  EXPECT_GT(refused, 2);
}

}  // namespace
}  // namespace ox::manager
