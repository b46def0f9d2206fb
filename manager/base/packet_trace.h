// SNMP packets in the trace.
#pragma once

#include <asio/ip/udp.hpp>
#include <cstddef>

namespace ox::manager {

enum class Way { sent, received };

// Shows a packet that has gone through a socket, to or from a peer, when the trace wants SNMP's; else it costs a look
// at the mask. What a trace cannot show is lost to nobody else.
void trace_packet(Way way, const asio::ip::udp::socket& socket, const asio::ip::udp::endpoint& peer, const void* packet,
                  std::size_t size) noexcept;

}  // namespace ox::manager
