// Where the sockets that stand for named pipes live.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <string>

#include "platform/linux/descriptor.h"

namespace ox::platform {

// The socket's file under the system root, for "\\\\.\\PIPE\\name" or "name"; empty for a name that cannot be one.
// `make` makes its directory.
[[nodiscard]] std::string socket_path(const char* name, bool make);

// The address of a socket file, whatever the length of its path: an address holds some 100 bytes, and a longer path
// goes through a descriptor of its directory. The address is good while this lives.
class SocketAddress {
 public:
  // False, with errno, when the directory cannot be reached.
  [[nodiscard]] bool set(const std::string& path);
  [[nodiscard]] const sockaddr* get() const noexcept { return reinterpret_cast<const sockaddr*>(&address_); }
  [[nodiscard]] socklen_t size() const noexcept { return sizeof address_; }

 private:
  sockaddr_un address_{};
  Descriptor directory_;
};

}  // namespace ox::platform
