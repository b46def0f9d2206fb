#include "platform/pipe.h"

#include <gtest/gtest.h>

#include <array>
#include <asio/post.hpp>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "platform/environment.h"
#include "platform/server/pipe_server.h"

namespace ox::platform {
namespace {

constexpr char name[] = "\\\\.\\PIPE\\ox_stdpipe";

std::span<const std::byte> bytes_of(std::string_view text) { return std::as_bytes(std::span(text)); }

// Serves on a thread of its own, one connection after the other.
class Serving {
 public:
  explicit Serving(PipeServer::Accepted accepted) {
    error_ = server_->serve(name, std::move(accepted));
    thread_ = std::thread([this] { loop_.run(); });
  }
  Serving(const Serving&) = delete;
  Serving& operator=(const Serving&) = delete;
  ~Serving() {
    asio::post(loop_, [this] { server_.reset(); });
    thread_.join();
  }
  [[nodiscard]] Error error() const noexcept { return error_; }

 private:
  asio::io_context loop_;
  std::unique_ptr<PipeServer> server_ = make_pipe_server(loop_);
  Error error_ = error_none;
  std::thread thread_;
};

// Sends back what comes in until the client goes.
class Echo : public std::enable_shared_from_this<Echo> {
 public:
  explicit Echo(std::unique_ptr<PipeConnection> client) : client_(std::move(client)) {}
  void run() {
    client_->read_some(buffer_, [self = shared_from_this()](Error error, std::size_t size) {
      if (error != error_none) {
        EXPECT_TRUE(is_pipe_closed(error)) << error;
        return;
      }
      self->client_->write_all(std::span(self->buffer_).first(size), [self, size](Error failed, std::size_t written) {
        if (failed != error_none) return;
        EXPECT_EQ(size, written);
        self->run();
      });
    });
  }

 private:
  std::unique_ptr<PipeConnection> client_;
  std::array<std::byte, 70'000> buffer_{};
};

std::string read_exactly(Pipe& pipe, std::size_t size) {
  std::string text(size, '\0');
  std::size_t have = 0;
  while (have < size) {
    std::size_t got = 0;
    if (pipe.read_some(std::as_writable_bytes(std::span(text)).subspan(have), got) != error_none) break;
    have += got;
  }
  text.resize(have);
  return text;
}

TEST(Pipe, BytesGoBothWaysWhateverTheirNumber) {
  std::vector<std::uint32_t> peers;
  Serving serving([&](std::unique_ptr<PipeConnection> client) {
    peers.push_back(client->peer_process());
    std::make_shared<Echo>(std::move(client))->run();
  });
  ASSERT_EQ(error_none, serving.error());
  Pipe pipe;
  ASSERT_EQ(error_none, pipe.open(name));
  Pipe other;
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
  {
    Serving serving([](std::unique_ptr<PipeConnection> client) { client.reset(); });
    Pipe pipe;
    ASSERT_EQ(error_none, pipe.open(name));
    std::array<std::byte, 4> buffer{};
    std::size_t got = 99;
    EXPECT_EQ(error_broken_pipe, pipe.read_some(buffer, got));
    EXPECT_EQ(error_broken_pipe, last_error());
    EXPECT_EQ(99U, got);
    Error error = pipe.write_all(bytes_of("to nobody"));
    EXPECT_TRUE(is_pipe_closed(error)) << error;
  }
  Pipe closed;
  std::size_t got = 0;
  EXPECT_EQ(error_invalid_handle, closed.write_all(bytes_of("x")));
  EXPECT_EQ(error_invalid_handle, closed.read_some({}, got));
}

TEST(Pipe, ThereIsOneServerAndNoneAfterItsEnd) {
  Pipe pipe;
  EXPECT_EQ(error_file_not_found, pipe.open(name));
  for (int round = 0; round < 2; ++round) {
    Serving serving([](std::unique_ptr<PipeConnection> client) { std::make_shared<Echo>(std::move(client))->run(); });
    ASSERT_EQ(error_none, serving.error());
    asio::io_context loop;
    const auto second = make_pipe_server(loop);
    EXPECT_EQ(error_already_exists, second->serve(name, [](std::unique_ptr<PipeConnection>) {}));
    Pipe client;
    EXPECT_EQ(error_none, client.open(name));
    EXPECT_EQ(error_none, client.write_all(bytes_of("still there")));
    EXPECT_EQ("still there", read_exactly(client, 11));
  }
  EXPECT_EQ(error_file_not_found, pipe.open(name));
  EXPECT_FALSE(pipe);
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
