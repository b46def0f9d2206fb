#include "platform/linux/socket_path.h"

#include <fcntl.h>

#include <cerrno>
#include <string_view>

#include "platform/linux/root.h"

namespace ox::platform {

std::string socket_path(const char* name, bool make) {
  if (name == nullptr) return {};
  std::string_view last(name);
  if (const auto separator = last.find_last_of("\\/"); separator != std::string_view::npos) {
    last.remove_prefix(separator + 1);
  }
  const std::string file = file_name_of(last);
  if (file.empty()) return {};
  return root_directory("pipe", make) + "/" + file;
}

bool SocketAddress::set(const std::string& path) {
  address_ = sockaddr_un{};
  address_.sun_family = AF_UNIX;
  std::string reachable = path;
  if (reachable.size() >= sizeof address_.sun_path) {
    const std::size_t slash = path.rfind('/');
    directory_ = Descriptor(::open(path.substr(0, slash).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!directory_) return false;
    reachable = "/proc/self/fd/" + std::to_string(directory_.get()) + path.substr(slash);
  }
  if (reachable.size() >= sizeof address_.sun_path) {
    errno = ENAMETOOLONG;
    return false;
  }
  reachable.copy(address_.sun_path, sizeof address_.sun_path - 1);
  return true;
}

}  // namespace ox::platform
