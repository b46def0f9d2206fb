#include "platform/notification.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "platform/linux/descriptor.h"
#include "platform/linux/fail.h"
#include "platform/linux/own_descriptor.h"

namespace ox::platform {
namespace {

// The descriptor that came with a message.
Descriptor taken_from(msghdr& message) noexcept {
  const cmsghdr* const part = CMSG_FIRSTHDR(&message);
  if (part == nullptr || part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_RIGHTS) return {};
  int fd = -1;
  std::memcpy(&fd, CMSG_DATA(part), sizeof fd);
  return Descriptor(fd);
}

}  // namespace

struct Notification::Impl {
  explicit Impl(int event) noexcept : woken(event) {}

  OwnDescriptor woken;
  OwnDescriptor announced{-1};  // a stream of bytes without meaning

  void forget_announcements() noexcept {
    std::array<char, 256> bytes;
    ssize_t count = 0;
    do {
      count = retry([&] { return ::recv(announced.get(), bytes.data(), bytes.size(), MSG_DONTWAIT); });
    } while (count == static_cast<ssize_t>(bytes.size()));
    if (count == 0) announced.take(-1);  // the manager has let go of it; the pipe's own end will be seen
  }
};

Notification::Notification() = default;
Notification::Notification(Notification&&) noexcept = default;
Notification& Notification::operator=(Notification&&) noexcept = default;
Notification::~Notification() = default;

Error Notification::create(const char*) {
  auto made = std::make_unique<Impl>(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (!made->woken) return fail_errno();
  impl_ = std::move(made);
  return error_none;
}

Error Notification::read_first(Pipe& pipe, std::span<std::byte> into, std::size_t& got) noexcept {
  iovec bytes{into.data(), into.size()};
  alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
  msghdr message{};
  message.msg_iov = &bytes;
  message.msg_iovlen = 1;
  message.msg_control = control.data();
  message.msg_controllen = CMSG_LEN(sizeof(int));  // without the padding, where a second one would find room
  const ssize_t count = retry([&] { return ::recvmsg(descriptor_of(pipe.native()), &message, MSG_CMSG_CLOEXEC); });
  if (count < 0) return fail_errno();
  Descriptor came = taken_from(message);
  if (impl_ != nullptr && came) impl_->announced.take(came.release());
  if (count == 0) return fail(error_broken_pipe);
  got = static_cast<std::size_t>(count);
  return error_none;
}

Notification::Sign Notification::wait(const Pipe& pipe) noexcept {
  for (;;) {
    std::array<pollfd, 3> signs{{{impl_->woken.get(), POLLIN, 0},
                                 {descriptor_of(pipe.native()), POLLRDHUP, 0},  // not its bytes: they answer requests
                                 {impl_->announced.get(), POLLIN, 0}}};
    (void)retry([&] { return ::poll(signs.data(), signs.size(), -1); });
    if (signs[0].revents != 0) return Sign::woken;
    if (signs[1].revents != 0) return Sign::closed;
    if (signs[2].revents == 0) continue;
    impl_->forget_announcements();
    if (impl_->announced) return Sign::announced;
  }
}

void Notification::wake() noexcept {
  const std::uint64_t one = 1;
  if (impl_ != nullptr) (void)!::write(impl_->woken.get(), &one, sizeof one);
}

bool Notification::pause(std::uint32_t milliseconds) noexcept {
  pollfd woken{impl_->woken.get(), POLLIN, 0};
  return ::poll(&woken, 1, static_cast<int>(milliseconds)) <= 0;
}

}  // namespace ox::platform
