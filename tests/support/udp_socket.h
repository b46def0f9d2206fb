// A UDP socket on a loopback port of its own.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace ox::test {

class UdpSocket {
 public:
  UdpSocket();  // throws std::runtime_error
  UdpSocket(const UdpSocket&) = delete;
  UdpSocket& operator=(const UdpSocket&) = delete;
  ~UdpSocket();

  [[nodiscard]] std::uint16_t port() const noexcept { return port_; }
  [[nodiscard]] std::string address() const;  // "127.0.0.1:port"

  void send(std::string_view datagram, std::uint16_t port);
  // The next datagram, and the port that it came from; empty when none comes in time.
  [[nodiscard]] std::string receive(std::chrono::milliseconds limit, std::uint16_t* from = nullptr);

 private:
  int socket_;
  std::uint16_t port_ = 0;
};

}  // namespace ox::test
