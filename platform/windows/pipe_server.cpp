#include "platform/server/pipe_server.h"

#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <asio/windows/overlapped_ptr.hpp>
#include <asio/windows/stream_handle.hpp>
#include <asio/write.hpp>
#include <chrono>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "platform/named_event.h"
#include "platform/server/spare_memory.h"
#include "platform/windows/fail.h"
#include "platform/windows/handle.h"
#include "platform/windows/peer.h"
#include "platform/windows/private_system.h"
#include "platform/windows/security.h"

namespace ox::platform {
namespace {

using asio::windows::stream_handle;

constexpr DWORD buffer_size = 65'536;
constexpr int free_instances = 4;                              // that wait for clients at the same time
constexpr auto accept_pause = std::chrono::milliseconds(200);  // after a failure

Error error_of(const asio::error_code& code) noexcept {
  if (!code) return error_none;
  if (code == asio::error::eof) return error_broken_pipe;
  if (code.category() != asio::error::get_system_category()) return error_broken_pipe;
  const auto error = static_cast<Error>(code.value());
  return error == error_no_data || error == error_pipe_not_connected ? Error{error_broken_pipe} : error;
}

struct EventAnnouncer final : Announcer {
  void announce() noexcept override { event.set(); }
  NamedEvent event;
};

class Connection final : public PipeConnection {
  struct State {
    explicit State(asio::io_context& loop) : pipe(loop) {}
    stream_handle pipe;
    bool open = true;

    static void read(const std::shared_ptr<State>& state, asio::mutable_buffer into, Handler handler) {
      state->pipe.async_read_some(into, [state, into, handler](const asio::error_code& code, std::size_t bytes) {
        if (!state->open) return;
        // An empty write of the client is no data.
        if (!code && bytes == 0 && into.size() != 0) return read(state, into, handler);
        handler(error_of(code), bytes);
      });
    }
  };

 public:
  Connection(asio::io_context& loop, bool from_reserve)
      : state_(std::make_shared<State>(loop)), from_reserve_(from_reserve) {}
  ~Connection() override {
    asio::error_code ignored;
    state_->open = false;
    state_->pipe.close(ignored);
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void take(stream_handle& client) { state_->pipe = std::move(client); }

  void read_some(std::span<std::byte> into, Handler handler) override {
    State::read(state_, asio::buffer(into.data(), into.size()), std::move(handler));
  }
  // A handler that the loop has already queued when the connection goes must not run any more.
  void write_all(std::span<const std::byte> from, Handler handler) override {
    asio::async_write(state_->pipe, asio::buffer(from.data(), from.size()),
                      [state = state_, handler = std::move(handler)](const asio::error_code& code, std::size_t bytes) {
                        if (state->open) handler(error_of(code), bytes);
                      });
  }

  [[nodiscard]] Error make_announcer(const char* event, std::unique_ptr<Announcer>& announcer) override {
    auto made = std::make_unique<EventAnnouncer>();
    if (const Error error = made->event.open(event)) return error;
    announcer = std::move(made);
    return error_none;
  }

  [[nodiscard]] bool from_reserve() const override { return from_reserve_; }
  [[nodiscard]] Peer peer() const override { return peer_of(state_->pipe.native_handle()); }

 private:
  mutable std::shared_ptr<State> state_;
  bool from_reserve_;
};

class Server final : public PipeServer {
 public:
  explicit Server(asio::io_context& loop) : state_(std::make_shared<State>(loop)) {}
  ~Server() override { state_->stop(); }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  [[nodiscard]] Error serve(const char* name, Accepted accepted) override {
    if (state_->serving) return fail(error_already_exists);
    if (name == nullptr) return fail(error_invalid_name);
    state_->name = object_name(name);
    if (const Error error = state_->security.build(Access::group, Shared::pipe)) return error;
    // Not every version refuses the first instance of a name that is served.
    if (::WaitNamedPipeA(state_->name.c_str(), 1) != FALSE || ::GetLastError() == error_timeout) {
      return fail(error_already_exists);
    }
    Handle first;
    if (const Error error = state_->make_instance(FILE_FLAG_FIRST_PIPE_INSTANCE, first)) {
      return error == error_access_denied ? fail(error_already_exists) : error;
    }
    state_->serving = true;
    state_->accepted = std::move(accepted);
    State::listen(state_, std::move(first));
    for (int i = 1; i < free_instances; ++i) State::accept(state_);
    return error_none;
  }

 private:
  struct State {
    explicit State(asio::io_context& io) : loop(io), pause(io) {}

    asio::io_context& loop;
    asio::steady_timer pause;
    SecurityAttributes security;
    SpareMemory spare;
    std::string name;
    Accepted accepted;
    bool serving = false;
    int missing = 0;    // instances to be made after the pause
    int listening = 0;  // that wait for clients
    std::vector<std::weak_ptr<stream_handle>> waiting;

    Error make_instance(DWORD flags, Handle& instance) {
      instance = Handle(::CreateNamedPipeA(name.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | flags,
                                           PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, PIPE_UNLIMITED_INSTANCES,
                                           buffer_size, buffer_size, 0, security.get()));
      return instance ? Error{error_none} : fail_last();
    }

    // Makes an instance and waits for its client; later, when there is none to be had.
    static void accept(const std::shared_ptr<State>& state) {
      try {
        Handle instance;
        if (state->make_instance(0, instance) == error_none) return listen(state, std::move(instance));
      } catch (const std::exception&) {  // no memory, or no room at the completion port
      }
      if (state->missing++ != 0) return;
      state->pause.expires_after(accept_pause);
      state->pause.async_wait([state](const asio::error_code& code) {
        for (int again = std::exchange(state->missing, 0); again != 0 && !code && state->serving; --again)
          accept(state);
      });
    }

    static void hand_over(const std::shared_ptr<State>& state, stream_handle& client, bool from_reserve) {
      // A copy: the callee may destroy the server.
      const Accepted take = state->accepted;
      try {
        auto connection = state->spare.make([&] { return std::make_unique<Connection>(state->loop, from_reserve); });
        if (!connection) return;
        connection->take(client);
        take(std::move(connection));
      } catch (const std::bad_alloc&) {  // one client that is hung up on, not the end of the loop
      }
    }

    static void listen(const std::shared_ptr<State>& state, Handle instance) {
      const auto pipe = std::make_shared<stream_handle>(state->loop);
      pipe->assign(instance.get());
      (void)instance.release();
      std::erase_if(state->waiting, [](const auto& known) { return known.expired(); });
      state->waiting.push_back(pipe);
      asio::windows::overlapped_ptr operation(state->loop, [state, pipe](const asio::error_code& code, std::size_t) {
        if (!state->serving) return;
        --state->listening;
        accept(state);
        if (code) return;  // the client is gone already
        // The last instance, and no other could be made: it is the reserve.
        hand_over(state, *pipe, state->listening == 0);
      });
      ++state->listening;
      const BOOL connected = ::ConnectNamedPipe(pipe->native_handle(), operation.get());
      const DWORD error = ::GetLastError();
      if (connected == FALSE && error == ERROR_IO_PENDING) {
        (void)operation.release();
        return;
      }
      const bool failed = connected == FALSE && error != ERROR_PIPE_CONNECTED;
      operation.complete(
          failed ? asio::error_code(static_cast<int>(error), asio::error::get_system_category()) : asio::error_code(),
          0);
    }

    void stop() noexcept {
      serving = false;
      accepted = nullptr;
      asio::error_code ignored;
      pause.cancel(ignored);
      for (const auto& known : waiting) {
        if (const auto pipe = known.lock()) pipe->close(ignored);
      }
    }
  };

  std::shared_ptr<State> state_;
};

}  // namespace

std::unique_ptr<PipeServer> make_pipe_server(asio::io_context& loop) { return std::make_unique<Server>(loop); }

}  // namespace ox::platform
