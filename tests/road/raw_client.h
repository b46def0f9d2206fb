// A client that writes what it likes to the manager's pipe.
#pragma once

#include <cstdint>
#include <string>

#include "platform/pipe.h"

namespace ox::test {

class RawClient {
 public:
  RawClient();  // connects; throws std::runtime_error

  void send(const std::string& bytes);
  // Sends the greeting; the result code of its answer.
  std::uint32_t greet(const std::string& event_name = "none");
  // Exactly that many bytes; fewer when the manager has closed the connection.
  std::string receive(std::size_t count);
  // Waits until the manager closes the connection, dropping what it sends.
  void wait_for_end();

  // One request and its reply: the error, and in *data the payload.
  std::uint32_t ask(int type, int command, const std::string& payload, std::string* data = nullptr);
  // A get: the error, then " path = value" for each node.
  std::string get(const std::string& component, const std::string& names);

  // A message in the client's form, and a text of its payload.
  static std::string message(int type, int command, const std::string& payload);
  static std::string text(const std::string& text);

 private:
  platform::Pipe pipe_;
};

}  // namespace ox::test
