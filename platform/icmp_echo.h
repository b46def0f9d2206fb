// The echo of the Internet Control Message Protocol (RFC 792): whether a machine answers at all, and how fast.
#pragma once

#include <array>
#include <cstdint>

#include "platform/error.h"

namespace ox::platform {

// Sends one echo request to an IPv4 address, in network order, and waits for its answer.
// error_timeout without one in time, also when the network says that there is no way; error_access_denied where the
// system does not let this process send one: on Linux its group must be in the range of "net.ipv4.ping_group_range".
[[nodiscard]] Error icmp_echo(const std::array<unsigned char, 4>& address, std::uint32_t milliseconds,
                              std::uint32_t& microseconds) noexcept;

}  // namespace ox::platform
