// A UDP socket on a loopback port of its own.
#pragma once

#include <asio/io_context.hpp>
#include <asio/ip/udp.hpp>
#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace ox::test {

class UdpSocket {
 public:
  [[nodiscard]] std::uint16_t port() const { return socket_.local_endpoint().port(); }
  [[nodiscard]] std::string address() const { return "127.0.0.1:" + std::to_string(port()); }

  void send(std::string_view datagram, std::uint16_t port) {
    asio::error_code ignored;  // of an earlier datagram that nobody took
    socket_.send_to(asio::buffer(datagram), {asio::ip::address_v4::loopback(), port}, 0, ignored);
  }

  // The next datagram, and the port that it came from; empty when none comes in time.
  [[nodiscard]] std::string receive(std::chrono::milliseconds limit, std::uint16_t* from = nullptr) {
    std::string datagram(65536, '\0');
    asio::ip::udp::endpoint sender;
    std::size_t size = 0;
    socket_.async_receive_from(asio::buffer(datagram), sender,
                               [&size](const asio::error_code& error, std::size_t count) { size = error ? 0 : count; });
    loop_.restart();
    if (loop_.run_for(limit) == 0) {
      socket_.cancel();
      loop_.run();
    }
    if (from != nullptr) *from = sender.port();
    datagram.resize(size);
    return datagram;
  }

 private:
  asio::io_context loop_;
  asio::ip::udp::socket socket_{loop_, {asio::ip::address_v4::loopback(), 0}};
};

}  // namespace ox::test
