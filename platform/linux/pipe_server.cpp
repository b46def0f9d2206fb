#include "platform/server/pipe_server.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <asio/local/stream_protocol.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <asio/write.hpp>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <new>
#include <utility>

#include "platform/linux/descriptor.h"
#include "platform/linux/fail.h"
#include "platform/linux/own_lock.h"
#include "platform/linux/peer.h"
#include "platform/linux/root.h"
#include "platform/linux/socket_path.h"
#include "platform/server/spare_memory.h"

namespace ox::platform {
namespace {

using Protocol = asio::local::stream_protocol;

constexpr mode_t socket_mode = 0660;
constexpr auto accept_pause = std::chrono::milliseconds(200);  // after a failure, as without even a reserve

Error error_of(const asio::error_code& code) noexcept {
  if (!code) return error_none;
  if (code == asio::error::eof) return error_broken_pipe;
  return code.category() == asio::error::get_system_category() ? error_of_errno(code.value()) : error_broken_pipe;
}

// The manager only ever writes to it: a client that does not read has been told all the same.
class SocketAnnouncer final : public Announcer {
 public:
  explicit SocketAnnouncer(Descriptor socket) noexcept : socket_(std::move(socket)) {}
  void announce() noexcept override {
    const char any = 0;
    (void)::send(socket_.get(), &any, sizeof any, MSG_DONTWAIT | MSG_NOSIGNAL);
  }

 private:
  Descriptor socket_;
};

// Writes what has room now, and a descriptor with its first byte; how much.
std::size_t send_with(int fd, int gift, std::span<const std::byte> from) noexcept {
  iovec bytes{const_cast<std::byte*>(from.data()), from.size()};
  alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof gift)> control{};
  msghdr message{};
  message.msg_iov = &bytes;
  message.msg_iovlen = 1;
  message.msg_control = control.data();
  message.msg_controllen = control.size();
  cmsghdr* const part = CMSG_FIRSTHDR(&message);
  part->cmsg_level = SOL_SOCKET;
  part->cmsg_type = SCM_RIGHTS;
  part->cmsg_len = CMSG_LEN(sizeof gift);
  std::memcpy(CMSG_DATA(part), &gift, sizeof gift);
  const ssize_t count = ::sendmsg(fd, &message, MSG_DONTWAIT | MSG_NOSIGNAL);
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

class Connection final : public PipeConnection {
  struct State {
    explicit State(Protocol::socket from) : socket(std::move(from)) {}
    Protocol::socket socket;
    Descriptor gift;  // goes with the next bytes
    bool open = true;
  };

  // A handler that the loop has already queued when the connection goes must not run any more.
  auto reply(Handler handler, std::size_t before = 0) {
    return [state = state_, handler = std::move(handler), before](const asio::error_code& code, std::size_t bytes) {
      if (state->open) handler(error_of(code), before + bytes);
    };
  }

 public:
  Connection(const Protocol::socket::executor_type& loop, bool from_reserve)
      : state_(std::make_shared<State>(Protocol::socket(loop))), from_reserve_(from_reserve) {}
  ~Connection() override {
    asio::error_code ignored;
    state_->open = false;
    state_->socket.close(ignored);
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Takes over the client's socket; throws std::bad_alloc, and has not.
  [[nodiscard]] bool take(Descriptor& client) {
    asio::error_code code;
    state_->socket.assign(Protocol(), client.get(), code);
    if (!code) (void)client.release();
    return !code;
  }

  void read_some(std::span<std::byte> into, Handler handler) override {
    state_->socket.async_read_some(asio::buffer(into.data(), into.size()), reply(std::move(handler)));
  }
  void write_all(std::span<const std::byte> from, Handler handler) override {
    std::size_t sent = 0;
    if (state_->gift) sent = send_with(state_->socket.native_handle(), state_->gift.get(), from);
    state_->gift.close();
    from = from.subspan(sent);
    try {
      asio::async_write(state_->socket, asio::buffer(from.data(), from.size()), reply(std::move(handler), sent));
    } catch (const std::bad_alloc&) {  // what has been sent cannot be taken back
      asio::error_code ignored;
      if (sent != 0) state_->socket.close(ignored);
      throw;
    }
  }

  [[nodiscard]] Error make_announcer(const char*, std::unique_ptr<Announcer>& announcer) override {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return fail_errno();
    Descriptor ours(ends[0]);
    state_->gift = Descriptor(ends[1]);
    (void)::shutdown(ours.get(), SHUT_RD);
    announcer = std::make_unique<SocketAnnouncer>(std::move(ours));
    return error_none;
  }

  [[nodiscard]] bool from_reserve() const override { return from_reserve_; }
  [[nodiscard]] Peer peer() const override { return peer_of(state_->socket.native_handle()); }

 private:
  std::shared_ptr<State> state_;
  bool from_reserve_;
};

// A descriptor that is kept back, so that a client can be told when there are no more.
class Reserve {
 public:
  // Whether it is there, or could be had again.
  [[nodiscard]] bool hold() noexcept {
    if (!descriptor_) descriptor_ = Descriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    return static_cast<bool>(descriptor_);
  }
  // False when it has been given up before.
  [[nodiscard]] bool give_up() noexcept {
    const bool held = static_cast<bool>(descriptor_);
    descriptor_.close();
    return held;
  }

 private:
  Descriptor descriptor_;
};

// Each client costs a descriptor or two: the usual limit of 1024 is raised as far as the process may.
void allow_many_descriptors() noexcept {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= limit.rlim_max) return;
  limit.rlim_cur = limit.rlim_max;
  (void)::setrlimit(RLIMIT_NOFILE, &limit);
}

class Server final : public PipeServer {
 public:
  explicit Server(asio::io_context& loop) : state_(std::make_shared<State>(loop)) {}
  ~Server() override { state_->stop(); }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  [[nodiscard]] Error serve(const char* name, Accepted accepted) override {
    if (state_->lock) return fail(error_already_exists);
    const std::string path = socket_path(name, true);
    if (path.empty()) return fail(error_invalid_name);
    OwnLock lock;
    if (!lock.take(path + ".lock", root()->owner, OwnLock::Wait::no)) {
      return errno == EWOULDBLOCK ? fail(error_already_exists) : fail_errno();
    }
    allow_many_descriptors();
    Descriptor socket;
    if (const Error error = listen_at(path, socket)) return error;
    asio::error_code code;
    state_->acceptor.assign(Protocol(), socket.get(), code);
    if (code) return fail(error_of(code));
    (void)socket.release();
    state_->lock = std::move(lock);
    state_->path = path;
    state_->accepted = std::move(accepted);
    (void)state_->reserve.hold();
    State::await_client(state_);
    return error_none;
  }

 private:
  struct State {
    explicit State(asio::io_context& loop) : acceptor(loop), pause(loop) {}

    Protocol::acceptor acceptor;
    asio::steady_timer pause;
    Reserve reserve;
    SpareMemory spare;
    Accepted accepted;
    std::string path;
    OwnLock lock;  // held while serving: who has it may take over what it finds

    // Asio's own accept would try without a client, too, and take a failure to have a descriptor for it as one.
    static void await_client(const std::shared_ptr<State>& state) {
      try {
        state->acceptor.async_wait(Protocol::acceptor::wait_read, [state](const asio::error_code& code) {
          if (!state->acceptor.is_open()) return;
          Descriptor client;
          bool from_reserve = false;
          const bool fine = !code && state->accept(client, from_reserve);
          fine ? await_client(state) : await_client_later(state);
          if (client) hand_over(state, client, from_reserve);
        });
      } catch (const std::bad_alloc&) {
        await_client_later(state);
      }
    }

    static void await_client_later(const std::shared_ptr<State>& state) {
      state->pause.expires_after(accept_pause);
      state->pause.async_wait([state](const asio::error_code& code) {
        if (!code && state->acceptor.is_open()) await_client(state);
      });
    }

    [[nodiscard]] Descriptor next_client() {
      const int flags = SOCK_CLOEXEC | SOCK_NONBLOCK;
      return Descriptor(retry([&] { return ::accept4(acceptor.native_handle(), nullptr, nullptr, flags); }));
    }

    // False when it has to be tried again later. Without an error there may be no client any more.
    [[nodiscard]] bool accept(Descriptor& client, bool& from_reserve) {
      client = next_client();
      if (!client && (errno == EMFILE || errno == ENFILE) && reserve.give_up()) client = next_client();
      if (!client) return errno == EAGAIN || errno == ECONNABORTED;
      from_reserve = !reserve.hold();
      return true;
    }

    static void hand_over(const std::shared_ptr<State>& state, Descriptor& client, bool from_reserve) {
      // A copy: the callee may destroy the server.
      const Accepted take = state->accepted;
      try {
        auto connection = state->spare.make([&] {
          auto made = std::make_unique<Connection>(state->acceptor.get_executor(), from_reserve);
          return made->take(client) ? std::move(made) : nullptr;
        });
        if (connection) take(std::move(connection));
      } catch (const std::bad_alloc&) {  // one client that is hung up on, not the end of the loop
      }
    }

    void stop() noexcept {
      asio::error_code ignored;
      if (lock) (void)::unlink(path.c_str());
      acceptor.close(ignored);
      pause.cancel(ignored);
      lock.give_up();
    }
  };

  // The socket gets its name when it is ready, in one step over what a dead server left.
  static Error listen_at(const std::string& path, Descriptor& listening) {
    const std::string fresh = path + ".new";
    (void)::unlink(fresh.c_str());
    SocketAddress address;
    if (!address.set(fresh)) return fail_errno();
    Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket || ::bind(socket.get(), address.get(), address.size()) != 0) return fail_errno();
    struct stat status {};
    if (::stat(root()->path.c_str(), &status) == 0) {
      (void)!::chown(fresh.c_str(), static_cast<uid_t>(-1), status.st_gid);  // as far as the process may
    }
    const bool ready = ::chmod(fresh.c_str(), socket_mode) == 0 && ::listen(socket.get(), SOMAXCONN) == 0 &&
                       ::rename(fresh.c_str(), path.c_str()) == 0;
    if (!ready) {
      const Error error = fail_errno();
      (void)::unlink(fresh.c_str());
      return error;
    }
    listening = std::move(socket);
    return error_none;
  }

  std::shared_ptr<State> state_;
};

}  // namespace

std::unique_ptr<PipeServer> make_pipe_server(asio::io_context& loop) { return std::make_unique<Server>(loop); }

}  // namespace ox::platform
