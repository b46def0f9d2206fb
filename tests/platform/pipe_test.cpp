#include "platform/pipe.h"

#include <array>
#include <asio/post.hpp>
#include <thread>

#include "platform/environment.h"
#include "platform/named_event.h"
#include "platform/notification.h"
#include "platform/server/pipe_server.h"
#include "tests/support/test.h"

namespace ox::platform {
namespace {

constexpr char name[] = "\\\\.\\PIPE\\ox_stdpipe";

std::span<const std::byte> bytes_of(std::string_view text) { return std::as_bytes(std::span(text)); }

// Serves on a thread of its own, one connection after the other.
class Serving {
 public:
  explicit Serving(PipeServer::Accepted accepted) {
    EXPECT_EQ(error_none, server_->serve(name, std::move(accepted)));
    thread_ = std::thread([this] { loop_.run(); });
  }
  Serving(const Serving&) = delete;
  Serving& operator=(const Serving&) = delete;
  ~Serving() {
    asio::post(loop_, [this] { server_.reset(); });
    thread_.join();
  }

 private:
  asio::io_context loop_;
  std::unique_ptr<PipeServer> server_ = make_pipe_server(loop_);
  std::thread thread_;
};

// Sends back what comes in until the client goes.
void echo(const std::shared_ptr<PipeConnection>& client) {
  const auto buffer = std::make_shared<std::array<std::byte, 70'000>>();
  client->read_some(*buffer, [client, buffer](Error error, std::size_t size) {
    EXPECT_TRUE(error == error_none || is_pipe_closed(error)) << error;
    if (error != error_none) return;
    const Peer peer = client->peer();
    EXPECT_TRUE(peer.owner) << "an account owns what it runs";
    EXPECT_TRUE(!peer.user.empty() && account_id(peer.user) == peer.user) << peer.user;
    client->write_all(std::span(*buffer).first(size), [client, buffer, size](Error failed, std::size_t written) {
      if (failed != error_none) return;
      EXPECT_EQ(size, written);
      echo(client);
    });
  });
}

std::string read_exactly(Pipe& pipe, std::size_t size) {
  std::string text(size, '\0');
  std::span<std::byte> rest = std::as_writable_bytes(std::span(text));
  std::size_t got = 0;
  while (!rest.empty() && pipe.read_some(rest, got) == error_none) rest = rest.subspan(got);
  return text;
}

TEST(Pipe, BytesGoBothWaysWhateverTheirNumber) {
  std::vector<std::uint32_t> peers;
  Serving serving([&](std::unique_ptr<PipeConnection> client) {
    peers.push_back(client->peer().process);
    echo(std::move(client));
  });
  Pipe pipe, other;
  ASSERT_EQ(error_none, pipe.open(name));
  ASSERT_EQ(error_none, other.open(name));
  ASSERT_EQ(error_none, other.write_all(bytes_of("other")));
  for (const std::size_t size : {1U, 4096U, 60'000U}) {
    const std::string text(size, static_cast<char>('a' + size % 26));
    ASSERT_EQ(error_none, pipe.write_all(bytes_of(text)));
    EXPECT_EQ(text, read_exactly(pipe, size));
  }
  const std::string large(3'000'000, 'L');  // beyond what the system buffers: both ends must keep moving
  std::thread writer([&] { EXPECT_EQ(error_none, pipe.write_all(bytes_of(large))); });
  EXPECT_EQ(large, read_exactly(pipe, large.size()));
  writer.join();
  EXPECT_EQ("other", read_exactly(other, 5));
  EXPECT_EQ((std::vector<std::uint32_t>(2, process_id())), peers);
}

TEST(Pipe, AClosedPeerIsToldByItsOwnCodes) {
  Serving serving([](std::unique_ptr<PipeConnection> client) { client.reset(); });
  Pipe pipe;
  ASSERT_EQ(error_none, pipe.open(name));
  std::array<std::byte, 4> buffer{};
  std::size_t got = 99;
  EXPECT_EQ(error_broken_pipe, pipe.read_some(buffer, got));
  EXPECT_EQ(error_broken_pipe, last_error());
  EXPECT_EQ(99U, got);
  EXPECT_TRUE(is_pipe_closed(pipe.write_all(bytes_of("to nobody")))) << last_error();
  pipe.close();
  EXPECT_EQ(error_invalid_handle, pipe.write_all(bytes_of("x")));
  EXPECT_EQ(error_invalid_handle, pipe.read_some(buffer, got));
}

TEST(Pipe, ANotificationTellsAnnouncementsTheEndAndWhoWakesIt) {
  using Sign = Notification::Sign;
  asio::io_context loop;
  const auto server = make_pipe_server(loop);
  std::unique_ptr<PipeConnection> served;
  ASSERT_EQ(error_none,
            server->serve(name, [&](std::unique_ptr<PipeConnection> client) { served = std::move(client); }));
  Notification notification;
  Pipe pipe;
  ASSERT_EQ(error_none, notification.create("ox.pipe_test"));
  ASSERT_EQ(error_none, pipe.open(name));
  while (served == nullptr) loop.run_one();
  std::unique_ptr<Announcer> announcer;
  ASSERT_EQ(error_none, served->make_announcer("ox.pipe_test", announcer));
  std::size_t sent = 0;
  served->write_all(bytes_of("answer, more"), [&](Error, std::size_t size) { sent = size; });
  while (sent == 0) loop.run_one();
  EXPECT_EQ(12U, sent);
  std::array<std::byte, 6> answer{};
  std::size_t got = 0;
  ASSERT_EQ(error_none, notification.read_first(pipe, answer, got));
  EXPECT_EQ(6U, got);

  for (int i = 0; i < 100'000; ++i) announcer->announce();  // more than a buffer holds, with nobody there to read
  EXPECT_EQ(Sign::announced, notification.wait(pipe));
  EXPECT_EQ(", more", read_exactly(pipe, 6));
  pipe.watch();
  std::thread later([&] {
    sleep_ms(20);
    announcer->announce();
  });
  EXPECT_EQ(Sign::announced, notification.wait(pipe)) << "once, however often";
  later.join();
  std::thread end([&] {
    sleep_ms(20);
    served.reset();
    loop.poll();
  });
  EXPECT_EQ(Sign::closed, notification.wait(pipe));
  end.join();
  EXPECT_TRUE(notification.pause(1));
  notification.wake();
  EXPECT_EQ(Sign::woken, notification.wait(pipe));
  EXPECT_FALSE(notification.pause(infinite));
}

// A handler that is already on its way must not reach what went with the connection.
TEST(Pipe, ADestroyedConnectionCallsNobody) {
  asio::io_context loop;
  const auto server = make_pipe_server(loop);
  int called = 0;
  std::unique_ptr<PipeConnection> kept;
  std::array<std::byte, 4> buffer{};
  ASSERT_EQ(error_none, server->serve(name, [&](std::unique_ptr<PipeConnection> client) {
    kept = std::move(client);
    kept->read_some(buffer, [&](Error, std::size_t) { ++called; });
    kept->write_all(bytes_of("hello"), [&](Error, std::size_t) {
      ++called;
      kept.reset();
    });
  }));
  Pipe pipe;
  ASSERT_EQ(error_none, pipe.open(name));
  ASSERT_EQ(error_none, pipe.write_all(bytes_of("ping")));
  while (kept == nullptr) loop.run_one();
  kept.reset();
  loop.poll();
  EXPECT_EQ(0, called);
  std::size_t got = 0;
  EXPECT_TRUE(pipe.read_some(buffer, got) == error_none || is_pipe_closed(last_error()));
}

}  // namespace
}  // namespace ox::platform
