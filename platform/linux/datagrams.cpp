#include "platform/server/datagrams.h"

#include <linux/sock_diag.h>
#include <sys/socket.h>

#include <algorithm>
#include <limits>

namespace ox::platform {
namespace {

constexpr std::size_t largest = 65536;

}  // namespace

struct DatagramBatch::Space {
  std::unique_ptr<std::byte[]> bytes = std::make_unique_for_overwrite<std::byte[]>(most * largest);
  std::array<asio::ip::udp::endpoint, most> senders;
  std::array<iovec, most> parts{};
  std::array<mmsghdr, most> messages{};
};

DatagramBatch::DatagramBatch() : space_(std::make_unique<Space>()) {
  for (std::size_t i = 0; i < most; ++i) {
    space_->parts[i] = {space_->bytes.get() + i * largest, largest};
    msghdr& message = space_->messages[i].msg_hdr;
    message.msg_name = space_->senders[i].data();
    message.msg_iov = &space_->parts[i];
    message.msg_iovlen = 1;
  }
}
DatagramBatch::~DatagramBatch() = default;

std::size_t DatagramBatch::receive(asio::ip::udp::socket& socket) {
  for (std::size_t i = 0; i < most; ++i) {
    space_->messages[i].msg_hdr.msg_namelen = static_cast<socklen_t>(space_->senders[i].capacity());
  }
  const int count = ::recvmmsg(socket.native_handle(), space_->messages.data(), most, MSG_DONTWAIT, nullptr);
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

std::span<const std::byte> DatagramBatch::bytes(std::size_t at) const {
  return {space_->bytes.get() + at * largest, space_->messages[at].msg_len};
}

asio::ip::udp::endpoint DatagramBatch::sender(std::size_t at) const {
  asio::ip::udp::endpoint sender = space_->senders[at];
  sender.resize(space_->messages[at].msg_hdr.msg_namelen);
  return sender;
}

// More than the limit for everybody is for those alone who may change the machine.
void set_receive_space(asio::ip::udp::socket& socket, std::uint32_t bytes) {
  const int size = static_cast<int>(std::min<std::uint32_t>(bytes, std::numeric_limits<int>::max()));
  if (::setsockopt(socket.native_handle(), SOL_SOCKET, SO_RCVBUFFORCE, &size, sizeof size) == 0) return;
  (void)::setsockopt(socket.native_handle(), SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
}

// The count that SO_RXQ_OVFL attaches to the next datagram is the same, but here the last losses are seen, too.
std::optional<std::uint32_t> dropped_datagrams(asio::ip::udp::socket& socket) {
  std::array<std::uint32_t, SK_MEMINFO_VARS> numbers{};
  socklen_t size = sizeof numbers;
  if (::getsockopt(socket.native_handle(), SOL_SOCKET, SO_MEMINFO, numbers.data(), &size) != 0) return {};
  return numbers[SK_MEMINFO_DROPS];
}

}  // namespace ox::platform
