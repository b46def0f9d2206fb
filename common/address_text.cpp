// The exported conversions of addresses.
#include <cstring>

#include <oxbase/oxc.h>

#include "common/addresses.h"
#include "common/text_result.h"

namespace {

using Ipv4Text = ox::TextBuffer<struct Ipv4TextKind, 16>;
using IpxText = ox::TextBuffer<struct IpxTextKind, 22>;
using Ipv6Text = ox::TextBuffer<struct Ipv6TextKind, 46>;

template <std::size_t size>
ox::AddressBytes<size> bytes_at(const void* address) noexcept {
  return ox::AddressBytes<size>(static_cast<const unsigned char*>(address), size);
}
template <std::size_t size>
ox::AddressRoom<size> room_at(void* address) noexcept {
  return ox::AddressRoom<size>(static_cast<unsigned char*>(address), size);
}

}  // namespace

const char* OX_CALL oxcIpAddrToStr(uint32_t address) {
  OX_ENTRY("oxcIpAddrToStr", ":%x", address);
  return ox::traced_text("oxcIpAddrToStr",
                         [&] { return ox::print_ipv4(bytes_at<4>(&address), ox::context<Ipv4Text>().text); });
}

OX_RESULT OX_CALL oxcStrToIpAddr(const char* text, uint32_t* address) {
  OX_ENTRY("oxcStrToIpAddr", ":%s:%x", ox::trace::text(text), ox::trace::word(address));
  return ox::traced("oxcStrToIpAddr", [&]() -> OX_RESULT {
    if (text == nullptr || address == nullptr) return OX_EARG;
    return ox::parse_ipv4(text, room_at<4>(address));
  });
}

const char* OX_CALL oxcIpxAddrToStr(const void* address) {
  OX_ENTRY("oxcIpxAddrToStr", ":%x", ox::trace::word(address));
  return ox::traced_text("oxcIpxAddrToStr", [&]() -> const char* {
    if (address == nullptr) return nullptr;
    return ox::print_ipx(bytes_at<10>(address), ox::context<IpxText>().text);
  });
}

OX_RESULT OX_CALL oxcStrToIpxAddr(const char* text, void* address) {
  OX_ENTRY("oxcStrToIpxAddr", ":%s:%x", ox::trace::text(text), ox::trace::word(address));
  return ox::traced("oxcStrToIpxAddr", [&]() -> OX_RESULT {
    if (text == nullptr || address == nullptr) return OX_EARG;
    return ox::parse_ipx(text, room_at<10>(address));
  });
}

const char* OX_CALL oxcIpv6AddrToStr(const void* address) {
  OX_ENTRY("oxcIpv6AddrToStr", ":%x", ox::trace::word(address));
  return ox::traced_text("oxcIpv6AddrToStr", [&]() -> const char* {
    if (address == nullptr) return nullptr;
    return ox::print_ipv6(bytes_at<16>(address), ox::context<Ipv6Text>().text);
  });
}

OX_RESULT OX_CALL oxcStrToIpv6Addr(const char* text, void* address) {
  OX_ENTRY("oxcStrToIpv6Addr", ":%s:%x", ox::trace::text(text), ox::trace::word(address));
  return ox::traced("oxcStrToIpv6Addr", [&]() -> OX_RESULT {
    if (text == nullptr || address == nullptr) return OX_EARG;
    return ox::parse_ipv6(text, room_at<16>(address));
  });
}
