#include "tests/support/scripted_peer.h"

#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <chrono>
#include <optional>

namespace ox::test {

using platform::Error;

std::string half(std::uint32_t value) { return {static_cast<char>(value >> 8), static_cast<char>(value)}; }
std::string word(std::uint32_t value) { return half(value >> 16) + half(value & 0xFFFF); }
std::uint32_t number(std::string_view bytes) {
  std::uint32_t value = 0;
  for (const char byte : bytes) value = value << 8 | static_cast<unsigned char>(byte);
  return value;
}
std::string text(std::string_view value) {
  return half(static_cast<std::uint32_t>(value.size()) + 1) + std::string(value) + '\0';
}

std::string reply_bytes(const ReplyFields& fields) {
  const auto counted = [](const std::string& bytes) { return half(static_cast<std::uint32_t>(bytes.size())) + bytes; };
  const std::string rest = word(static_cast<std::uint32_t>(fields.data.size())) + half(2) + half(fields.type) +
                           half(fields.command) + half(fields.error) + half(0) + half(0) + word(fields.source_id) +
                           word(fields.destination_id) + counted(fields.source_name) +
                           counted(fields.destination_name) + word(fields.reference);
  return word(static_cast<std::uint32_t>(rest.size()) + 4) + rest + fields.data;
}

std::string request_bytes(const RequestFields& fields) {
  const auto size = static_cast<std::uint32_t>(fields.session.size());
  const auto body = static_cast<std::uint32_t>(fields.body.size());
  return word(49 + size) + text("pipeHeader") + word(body != 0 ? body + 9 : 0) + half(2) + half(fields.type) +
         half(fields.command) + half(fields.error) + word(0) + word(fields.source) + word(fields.destination) +
         half(0) + half(size) + fields.session + word(fields.reference) +
         (body != 0 ? "pipeData" + ('\0' + fields.body) : "");
}

// Runs the event loop until the one thing that the script waits for has happened.
struct ScriptedPeer::Server {
  asio::io_context loop;
  std::unique_ptr<platform::PipeServer> server = platform::make_pipe_server(loop);
  std::deque<std::unique_ptr<platform::PipeConnection>> waiting;
  std::unique_ptr<platform::PipeConnection> connection;
  bool stopping = false;
  bool hanging_up = false;

  template <class Done>
  bool run_until(Done done) {
    while (!stopping && !done()) {
      if (loop.stopped()) loop.restart();
      loop.run_one();
    }
    return !stopping;
  }

  // Starts an operation of the connection and waits for its end: the bytes transferred, nothing after a failure.
  template <class Start>
  std::optional<std::size_t> transfer(Start start) {
    std::optional<std::pair<Error, std::size_t>> end;
    start([&end](Error error, std::size_t count) { end.emplace(error, count); });
    if (!run_until([&] { return end || hanging_up; }) || hanging_up)
      connection.reset();  // before what the handler refers to goes
    if (!end || end->first != platform::error_none) return std::nullopt;
    return end->second;
  }
};

ScriptedPeer::ScriptedPeer() : server_(std::make_unique<Server>()) {
  greeting_answer_.pieces = {half(4) + half(0)};
  EXPECT_EQ(platform::error_none, server_->server->serve("\\\\.\\PIPE\\ox_stdpipe", [this](auto connection) {
    server_->waiting.push_back(std::move(connection));
  }));
  thread_ = std::thread([this] { run(); });
}

ScriptedPeer::~ScriptedPeer() {
  asio::post(server_->loop, [this] { server_->stopping = true; });
  thread_.join();
}

void ScriptedPeer::announce() {
  const std::scoped_lock lock(mutex_);
  ASSERT_NE(nullptr, announcer_);
  announcer_->announce();
}

void ScriptedPeer::hang_up() {
  asio::post(server_->loop, [this] { server_->hanging_up = true; });
}

void ScriptedPeer::run() {
  while (server_->run_until([this] { return !server_->waiting.empty(); })) {
    server_->connection = std::move(server_->waiting.front());
    server_->waiting.pop_front();
    server_->hanging_up = false;
    serve_connection();
    server_->connection.reset();
  }
  server_->connection.reset();
}

bool ScriptedPeer::read(std::string& bytes, std::size_t size) {
  while (bytes.size() < size) {
    char buffer[4096];
    const auto room = std::as_writable_bytes(std::span(buffer).first(std::min(size - bytes.size(), sizeof buffer)));
    const auto got = server_->transfer([&](auto handler) { server_->connection->read_some(room, handler); });
    if (!got) return false;
    bytes.append(buffer, *got);
  }
  return true;
}

bool ScriptedPeer::deliver(const Answer& answer) {
  if (answer.before) answer.before();
  for (const std::string& piece : answer.pieces) {
    if (&piece != &answer.pieces.front()) std::this_thread::sleep_for(std::chrono::milliseconds(2));
    const auto bytes = std::as_bytes(std::span(piece));
    if (!server_->transfer([&](auto handler) { server_->connection->write_all(bytes, handler); })) return false;
  }
  return !answer.close;
}

// One frame by its own lengths: the header's at its start, the data part's behind the marker.
bool ScriptedPeer::read_request(std::string& request) {
  if (!read(request, 4)) return false;
  const std::uint32_t header = number(std::string_view(request).substr(0, 4));
  if (header < 49 || !read(request, header)) return false;
  return read(request, header + number(std::string_view(request).substr(17, 4)));
}

Answer ScriptedPeer::next_answer() {
  const std::scoped_lock lock(mutex_);
  if (answers_.empty()) return otherwise_;
  Answer next = std::move(answers_.front());
  answers_.pop_front();
  return next;
}

void ScriptedPeer::serve_connection() {
  std::string bytes;
  if (!read(bytes, 2) || !read(bytes, 2 + number(bytes))) return;
  Answer next;
  {
    const std::scoped_lock lock(mutex_);
    const std::string event = bytes.size() > 4 ? bytes.substr(4, bytes.size() - 5) : "";
    if (server_->connection->make_announcer(event.c_str(), announcer_) != platform::error_none) return;
    greetings_.push_back(bytes);
    next = greeting_answer_;
  }
  for (; deliver(next); next = next_answer()) {
    bytes.clear();
    if (!read_request(bytes)) return;
    const std::scoped_lock lock(mutex_);
    requests_.push_back(bytes);
  }
}

}  // namespace ox::test
