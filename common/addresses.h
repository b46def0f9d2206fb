// Texts of network addresses. All bytes are in network order. The readers take the whole text and leave the bytes as
// they were when it is malformed; the printers terminate their text and return it.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include <oxbase/oxtypes.h>

namespace ox {

template <std::size_t size>
using AddressBytes = std::span<const unsigned char, size>;
template <std::size_t size>
using AddressRoom = std::span<unsigned char, size>;

// Dotted quad, "192.0.2.1". A number with a leading zero is refused: some readers take it for octal. OX_EFORMAT.
[[nodiscard]] OX_RESULT parse_ipv4(std::string_view text, AddressRoom<4> address) noexcept;
const char* print_ipv4(AddressBytes<4> address, char (&text)[16]) noexcept;

// Network and node, "00000001.0080c7123456"; ":" is taken for the dot. OX_EFORMAT.
[[nodiscard]] OX_RESULT parse_ipx(std::string_view text, AddressRoom<10> address) noexcept;
const char* print_ipx(AddressBytes<10> address, char (&text)[22]) noexcept;

// Read by RFC 4291, 2.2 (no zone), OX_EFORMAT; written by RFC 5952, with the dotted tail for IPv4-mapped and
// IPv4-compatible addresses.
[[nodiscard]] OX_RESULT parse_ipv6(std::string_view text, AddressRoom<16> address) noexcept;
const char* print_ipv6(AddressBytes<16> address, char (&text)[46]) noexcept;

// "address/length" (RFC 4291, 2.3): the address, then one byte of length, 0 to 128. Bits behind the length are kept.
// OX_EV6PREFIX.
[[nodiscard]] OX_RESULT parse_ipv6_prefix(std::string_view text, AddressRoom<17> prefix) noexcept;
const char* print_ipv6_prefix(AddressBytes<17> prefix, char (&text)[50]) noexcept;

// Interface identifier (RFC 4291, 2.5.1), "260:97ff:fe40:5efa": four groups of two bytes, the first byte of a group
// without leading zero, the second always with two digits. Reading takes one to four digits a group. OX_EFORMAT.
[[nodiscard]] OX_RESULT parse_ipv6_interface(std::string_view text, AddressRoom<8> interface_id) noexcept;
const char* print_ipv6_interface(AddressBytes<8> interface_id, char (&text)[20]) noexcept;

}  // namespace ox
