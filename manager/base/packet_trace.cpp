#include "manager/base/packet_trace.h"

#include <cstdint>
#include <new>
#include <string>

#include <oxbase/oxc.h>
#include <oxbase/oxs.h>

namespace ox::manager {
namespace {

using asio::ip::udp;

constexpr std::uint32_t packets = 0x30000;  // the mask bits of messages and of traps

std::string text_of(const udp::endpoint& endpoint) {
  const std::string address = endpoint.address().to_string();
  return (endpoint.address().is_v6() ? '[' + address + ']' : address) + ':' + std::to_string(endpoint.port());
}

}  // namespace

void trace_packet(Way way, const udp::socket& socket, const udp::endpoint& peer, const void* packet,
                  std::size_t size) noexcept {
  if ((oxcGetDebugMask() & packets) == 0) return;
  try {
    asio::error_code none;
    const std::string here = text_of(socket.local_endpoint(none));
    const std::string there = text_of(peer);
    const bool sent = way == Way::sent;
    (void)oxsSnmpDump((sent ? here : there).c_str(), (sent ? there : here).c_str(), packet,
                      static_cast<std::uint32_t>(size));
  } catch (const std::bad_alloc&) {  // it goes its way unseen
  }
}

}  // namespace ox::manager
