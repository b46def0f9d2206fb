#include "platform/icmp_echo.h"

#include <netinet/in.h>
#include <netinet/ip_icmp.h>
#include <poll.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <cstring>

#include "platform/linux/descriptor.h"
#include "platform/linux/fail.h"

namespace ox::platform {
namespace {

using Clock = std::chrono::steady_clock;

struct Echo {
  icmphdr header{};
  std::uint64_t mark = 0;  // that no other request has, of this process or of another
};

bool is_unreachable(int number) noexcept {
  return number == ENETUNREACH || number == EHOSTUNREACH || number == EHOSTDOWN || number == ECONNREFUSED ||
         number == ENETDOWN;
}

Error fail_echo() noexcept { return is_unreachable(errno) ? fail(error_timeout) : fail_errno(); }

// The system fills in the identifier and the checksum, and hands over what carries this identifier alone.
Error wait_for(int socket, const Echo& sent, Clock::time_point end) noexcept {
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    if (left <= 0) return fail(error_timeout);
    pollfd waiting{.fd = socket, .events = POLLIN, .revents = 0};
    if (retry([&] { return ::poll(&waiting, 1, static_cast<int>(left)); }) < 0) return fail_errno();
    if (waiting.revents == 0) continue;
    Echo answer;
    const ssize_t size = ::recv(socket, &answer, sizeof answer, MSG_DONTWAIT);
    if (size < 0 && errno != EAGAIN && errno != EINTR) return fail_echo();
    if (size == sizeof answer && answer.header.type == ICMP_ECHOREPLY && answer.mark == sent.mark) return error_none;
  }
}

}  // namespace

Error icmp_echo(const std::array<unsigned char, 4>& address, std::uint32_t milliseconds,
                std::uint32_t& microseconds) noexcept {
  static std::atomic<std::uint64_t> marks{static_cast<std::uint64_t>(Clock::now().time_since_epoch().count())};
  const Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_ICMP));
  if (!socket) return fail_errno();
  sockaddr_in to{};
  to.sin_family = AF_INET;
  std::memcpy(&to.sin_addr, address.data(), address.size());
  if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&to), sizeof to) != 0) return fail_echo();
  Echo request{.mark = ++marks};
  request.header.type = ICMP_ECHO;
  const Clock::time_point begin = Clock::now();
  if (retry([&] { return ::send(socket.get(), &request, sizeof request, 0); }) < 0) return fail_echo();
  const Error error = wait_for(socket.get(), request, begin + std::chrono::milliseconds(milliseconds));
  if (error != error_none) return error;
  microseconds =
      static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin).count());
  return error_none;
}

}  // namespace ox::platform
