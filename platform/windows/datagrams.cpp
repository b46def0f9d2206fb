#include "platform/server/datagrams.h"

#include <algorithm>
#include <asio/buffer.hpp>
#include <asio/error.hpp>
#include <limits>

namespace ox::platform {
namespace {

constexpr std::size_t largest = 65536;

}  // namespace

struct DatagramBatch::Space {
  std::unique_ptr<std::byte[]> bytes = std::make_unique_for_overwrite<std::byte[]>(most * largest);
  std::array<asio::ip::udp::endpoint, most> senders;
  std::array<std::size_t, most> sizes{};
};

DatagramBatch::DatagramBatch() : space_(std::make_unique<Space>()) {}
DatagramBatch::~DatagramBatch() = default;

// One call for each datagram: the system has none for many.
std::size_t DatagramBatch::receive(asio::ip::udp::socket& socket) {
  asio::error_code error;
  socket.non_blocking(true, error);
  std::size_t count = 0;
  for (std::size_t i = 0; i < most; ++i) {
    const auto into = asio::buffer(space_->bytes.get() + count * largest, largest);
    space_->sizes[count] = socket.receive_from(into, space_->senders[count], 0, error);
    if (error == asio::error::would_block) break;
    if (!error) ++count;  // others tell of an earlier answer that nobody took
  }
  return count;
}

std::span<const std::byte> DatagramBatch::bytes(std::size_t at) const {
  return {space_->bytes.get() + at * largest, space_->sizes[at]};
}

asio::ip::udp::endpoint DatagramBatch::sender(std::size_t at) const { return space_->senders[at]; }

void set_receive_space(asio::ip::udp::socket& socket, std::uint32_t bytes) {
  const auto size = std::min<std::uint32_t>(bytes, std::numeric_limits<int>::max());
  asio::error_code ignored;
  socket.set_option(asio::socket_base::receive_buffer_size(static_cast<int>(size)), ignored);
}

// The system counts them for the whole machine only.
std::optional<std::uint32_t> dropped_datagrams(asio::ip::udp::socket&) { return {}; }

}  // namespace ox::platform
