// A client without the library.
#pragma once

#include <stdexcept>

#include "platform/pipe.h"
#include "tests/support/scripted_peer.h"
#include "tests/support/test.h"

namespace ox::test {

// A client that writes what it likes to the manager's pipe.
class RawClient {
 public:
  RawClient() {
    if (const auto error = pipe_.open("\\\\.\\PIPE\\ox_stdpipe")) {
      throw std::runtime_error("pipe: " + std::to_string(error));
    }
  }

  void send(const std::string& bytes) { (void)pipe_.write_all(std::as_bytes(std::span(bytes))); }
  // Exactly that many bytes; fewer when the manager has closed the connection.
  std::string receive(std::size_t count) {
    std::string bytes(count, '\0');
    std::size_t at = 0;
    for (std::size_t got = 0; at < count; at += got) {
      if (pipe_.read_some(std::as_writable_bytes(std::span(bytes)).subspan(at), got) != platform::error_none) break;
    }
    return bytes.substr(0, at);
  }
  // Waits until the manager closes the connection, dropping what it sends.
  void wait_for_end() {
    while (!receive(1).empty()) {
    }
  }
  // Whether the greeting is accepted.
  bool greet() { return greeted() == 0; }
  // What it is answered with; 17 when it is not.
  std::uint32_t greeted() {
    send(half(7) + text("none"));
    const std::string answer = receive(4);
    if (answer.size() < 4) return 17;
    (void)receive(number(answer.substr(0, 2)) - 4);
    return number(answer.substr(2));
  }

 private:
  platform::Pipe pipe_;
};

}  // namespace ox::test
