// Datagrams of a UDP socket, taken many at a time. For the manager only: the library itself does not use it.
#pragma once

#include <array>
#include <asio/ip/udp.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

namespace ox::platform {

// Space for the datagrams that are taken at once.
class DatagramBatch {
 public:
  static constexpr std::size_t most = 64;

  DatagramBatch();
  ~DatagramBatch();
  DatagramBatch(const DatagramBatch&) = delete;
  DatagramBatch& operator=(const DatagramBatch&) = delete;

  // Takes what has come, without waiting. How many datagrams there are then; those of the call before are gone.
  [[nodiscard]] std::size_t receive(asio::ip::udp::socket& socket);
  [[nodiscard]] std::span<const std::byte> bytes(std::size_t at) const;
  [[nodiscard]] asio::ip::udp::endpoint sender(std::size_t at) const;

 private:
  struct Space;
  std::unique_ptr<Space> space_;
};

// Asks the system to hold that many bytes of datagrams that have not been taken; it may hold fewer.
void set_receive_space(asio::ip::udp::socket& socket, std::uint32_t bytes);

// How many datagrams the system has dropped for want of space since the socket was made, modulo 2^32; nothing on a
// system that does not tell.
[[nodiscard]] std::optional<std::uint32_t> dropped_datagrams(asio::ip::udp::socket& socket);

}  // namespace ox::platform
