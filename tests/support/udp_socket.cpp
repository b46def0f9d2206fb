#include "tests/support/udp_socket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

namespace ox::test {
namespace {

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return address;
}

}  // namespace

UdpSocket::UdpSocket() : socket_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address = loopback(0);
  socklen_t size = sizeof address;
  auto* any = reinterpret_cast<sockaddr*>(&address);
  if (socket_ < 0 || bind(socket_, any, size) != 0 || getsockname(socket_, any, &size) != 0) {
    throw std::runtime_error("no loopback socket");
  }
  port_ = ntohs(address.sin_port);
}

UdpSocket::~UdpSocket() { close(socket_); }

std::string UdpSocket::address() const { return "127.0.0.1:" + std::to_string(port_); }

void UdpSocket::send(std::string_view datagram, std::uint16_t port) {
  const sockaddr_in address = loopback(port);
  (void)sendto(socket_, datagram.data(), datagram.size(), 0, reinterpret_cast<const sockaddr*>(&address),
               sizeof address);
}

std::string UdpSocket::receive(std::chrono::milliseconds limit, std::uint16_t* from) {
  pollfd ready{socket_, POLLIN, 0};
  if (poll(&ready, 1, static_cast<int>(limit.count())) != 1) return {};
  std::string datagram(65536, '\0');
  sockaddr_in sender{};
  socklen_t size = sizeof sender;
  const ssize_t got =
      recvfrom(socket_, datagram.data(), datagram.size(), 0, reinterpret_cast<sockaddr*>(&sender), &size);
  if (from != nullptr) *from = ntohs(sender.sin_port);
  datagram.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
  return datagram;
}

}  // namespace ox::test
