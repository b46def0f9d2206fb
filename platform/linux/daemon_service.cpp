#include "platform/daemon_service.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "platform/linux/descriptor.h"
#include "platform/linux/fail.h"

namespace ox::platform {
namespace {

std::uint64_t number_of(const char* name) noexcept {
  const char* const text = std::getenv(name);
  std::uint64_t number = 0;
  if (text != nullptr) (void)std::from_chars(text, text + std::strlen(text), number);
  return number;
}

// Where systemd listens: a path, or behind "@" a name that lies in no folder. Kept, since the daemon cleans its
// environment.
struct Listener {
  Listener() noexcept {
    const char* const given = std::getenv("NOTIFY_SOCKET");
    const std::string_view place = given != nullptr ? given : "";
    if (place.empty() || place.size() >= sizeof address.sun_path || (place[0] != '/' && place[0] != '@')) return;
    address.sun_family = AF_UNIX;
    place.copy(address.sun_path, place.size());
    if (place[0] == '@') address.sun_path[0] = '\0';
    size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + place.size());
    const std::uint64_t process = number_of("WATCHDOG_PID");
    const bool is_watched = process == 0 || process == static_cast<std::uint64_t>(::getpid());
    if (is_watched) alive = std::chrono::milliseconds(number_of("WATCHDOG_USEC") / 2000);  // twice as often as needed
  }
  sockaddr_un address{};
  socklen_t size = 0;
  std::chrono::milliseconds alive{};
};

const Listener& listener() noexcept {
  static const Listener found;
  return found;
}

}  // namespace

void tell_state(DaemonState state) noexcept {
  const Listener& to = listener();
  if (to.size == 0) return;
  const std::string_view text = state == DaemonState::ready   ? "READY=1"
                                : state == DaemonState::alive ? "WATCHDOG=1"
                                                              : "STOPPING=1";
  const Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!socket) return;
  (void)::sendto(socket.get(), text.data(), text.size(), MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&to.address),
                 to.size);
}

std::chrono::milliseconds alive_interval() noexcept { return listener().alive; }

Error install_service(const ServiceEntry&) { return fail(error_not_supported); }
Error remove_service(const ServiceEntry&) { return fail(error_not_supported); }
Error run_service(const char*, int (*)(), int&) { return fail(error_not_supported); }

}  // namespace ox::platform
