// The client end of the manager's local byte channel: a named pipe on Windows, a stream socket under the system root
// on Linux. One owner at a time; no internal lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

#include "platform/error.h"

namespace ox::platform {

// Whether an error number means that the other end is gone.
[[nodiscard]] constexpr bool is_pipe_closed(Error error) noexcept {
  return error == error_broken_pipe || error == error_no_data || error == error_pipe_not_connected;
}

class Pipe {
 public:
  Pipe() = default;
  Pipe(Pipe&& other) noexcept : native_(std::exchange(other.native_, none)) {}
  Pipe& operator=(Pipe&& other) noexcept {
    std::swap(native_, other.native_);
    return *this;
  }
  ~Pipe() { close(); }

  // Opens the pipe of that name ("\\\\.\\PIPE\\ox_stdpipe"). error_file_not_found when nobody serves it,
  // error_access_denied, also when an account serves it that is not the installation's; error_pipe_busy. *this is
  // replaced only on success.
  [[nodiscard]] Error open(const char* name);
  void close() noexcept;

  // Blocks for at least one byte; got <= into.size(). A closed peer is error_broken_pipe, never got == 0.
  [[nodiscard]] Error read_some(std::span<std::byte> into, std::size_t& got) noexcept;
  // Writes all of `from` in one call of the system where it takes it, or fails; after a failure the pipe can only be
  // closed.
  [[nodiscard]] Error write_all(std::span<const std::byte> from) noexcept;

  // Ends the connection, as the other end could: who watches it sees that. What remains is to close it.
  void hang_up() noexcept;
  // While no bytes are expected: lets a Notification see the end of the pipe. Reading and writing end the watch.
  void watch() noexcept;

  [[nodiscard]] explicit operator bool() const noexcept { return native_ != none; }
  [[nodiscard]] std::intptr_t native() const noexcept { return native_; }  // for this folder

 private:
  static constexpr std::intptr_t none = -1;
  std::intptr_t native_ = none;
};

}  // namespace ox::platform
