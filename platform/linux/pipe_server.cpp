#include "platform/server/pipe_server.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <asio/local/stream_protocol.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <asio/write.hpp>
#include <chrono>
#include <cstring>
#include <utility>

#include "platform/linux/descriptor.h"
#include "platform/linux/fail.h"
#include "platform/linux/root.h"
#include "platform/linux/socket_path.h"

namespace ox::platform {
namespace {

using Protocol = asio::local::stream_protocol;

constexpr mode_t socket_mode = 0660;
constexpr auto accept_pause = std::chrono::milliseconds(200);  // after a failure, as with every descriptor in use

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
  explicit Connection(Protocol::socket socket) : state_(std::make_shared<State>(std::move(socket))) {}
  ~Connection() override {
    asio::error_code ignored;
    state_->open = false;
    state_->socket.close(ignored);
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void read_some(std::span<std::byte> into, Handler handler) override {
    state_->socket.async_read_some(asio::buffer(into.data(), into.size()), reply(std::move(handler)));
  }
  void write_all(std::span<const std::byte> from, Handler handler) override {
    std::size_t sent = 0;
    if (state_->gift) sent = send_with(state_->socket.native_handle(), state_->gift.get(), from);
    state_->gift.close();
    from = from.subspan(sent);
    asio::async_write(state_->socket, asio::buffer(from.data(), from.size()), reply(std::move(handler), sent));
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

  [[nodiscard]] std::uint32_t peer_process() const override {
    ucred peer{};
    socklen_t size = sizeof peer;
    const int fd = state_->socket.native_handle();
    if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 || peer.pid < 0) return 0;
    return static_cast<std::uint32_t>(peer.pid);
  }

 private:
  std::shared_ptr<State> state_;
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
    Descriptor lock(::open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0664));
    if (!lock) return fail_errno();
    if (::flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
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
    State::accept(state_);
    return error_none;
  }

 private:
  struct State {
    explicit State(asio::io_context& loop) : acceptor(loop), pause(loop) {}

    Protocol::acceptor acceptor;
    asio::steady_timer pause;
    Accepted accepted;
    std::string path;
    Descriptor lock;  // held while serving: who has it may take over what it finds

    static void accept(const std::shared_ptr<State>& state) {
      state->acceptor.async_accept([state](const asio::error_code& code, Protocol::socket socket) {
        if (!state->acceptor.is_open()) return;
        if (code) return accept_later(state);
        accept(state);
        // A copy: the callee may destroy the server.
        const Accepted take = state->accepted;
        take(std::make_unique<Connection>(std::move(socket)));
      });
    }

    static void accept_later(const std::shared_ptr<State>& state) {
      state->pause.expires_after(accept_pause);
      state->pause.async_wait([state](const asio::error_code& code) {
        if (!code && state->acceptor.is_open()) accept(state);
      });
    }

    void stop() noexcept {
      asio::error_code ignored;
      if (lock) (void)::unlink(path.c_str());
      acceptor.close(ignored);
      pause.cancel(ignored);
      lock.close();
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
