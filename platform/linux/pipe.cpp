#include "platform/pipe.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <memory>

#include "platform/linux/descriptor.h"
#include "platform/linux/fail.h"
#include "platform/linux/own_descriptor.h"
#include "platform/linux/root.h"
#include "platform/linux/socket_path.h"

namespace ox::platform {
namespace {

// How long a connection waits for room in the server's queue before the pipe counts as busy.
constexpr timeval queue_patience{1, 0};

// Who listens is the account of the installation: what another one has put there is told nothing.
bool is_of_installation(int fd) {
  ucred server{};
  socklen_t size = sizeof server;
  return ::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &server, &size) == 0 && is_trusted(*root(), server.uid);
}

void set_send_limit(int fd, const timeval& limit) noexcept {
  (void)::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

}  // namespace

Error Pipe::open(const char* name) {
  const std::string path = socket_path(name, false);
  if (path.empty()) return fail(error_invalid_name);
  SocketAddress address;
  if (!address.set(path)) return fail_errno();
  Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!socket) return fail_errno();
  set_send_limit(socket.get(), queue_patience);
  if (retry([&] { return ::connect(socket.get(), address.get(), address.size()); }) != 0) {
    return errno == EAGAIN ? fail(error_pipe_busy) : fail_errno();
  }
  if (!is_of_installation(socket.get())) return fail(error_access_denied);
  set_send_limit(socket.get(), timeval{});
  auto made = std::make_unique<OwnDescriptor>(socket.get());
  (void)socket.release();
  close();
  native_ = reinterpret_cast<std::intptr_t>(made.release());
  return error_none;
}

void Pipe::close() noexcept {
  if (native_ != none) delete owner_of(std::exchange(native_, none));
}

void Pipe::hang_up() noexcept { (void)::shutdown(descriptor_of(native_), SHUT_RDWR); }

void Pipe::watch() noexcept {}  // who polls sees it

Error Pipe::read_some(std::span<std::byte> into, std::size_t& got) noexcept {
  if (native_ == none) return fail(error_invalid_handle);
  const int fd = descriptor_of(native_);
  const ssize_t count = retry([&] { return ::recv(fd, into.data(), into.size(), 0); });
  if (count < 0) return fail_errno();
  if (count == 0 && !into.empty()) return fail(error_broken_pipe);
  got = static_cast<std::size_t>(count);
  return error_none;
}

Error Pipe::write_all(std::span<const std::byte> from) noexcept {
  if (native_ == none) return fail(error_invalid_handle);
  const int fd = descriptor_of(native_);
  while (!from.empty()) {
    const ssize_t count = retry([&] { return ::send(fd, from.data(), from.size(), MSG_NOSIGNAL); });
    if (count < 0) return fail_errno();
    from = from.subspan(static_cast<std::size_t>(count));
  }
  return error_none;
}

}  // namespace ox::platform
