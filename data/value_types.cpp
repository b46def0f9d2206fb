#include "data/value_types.h"

#include "data/value_conversions.h"

namespace ox::data {
namespace {

// BER tags of the values that SNMP carries (RFC 2578 section 7.1, RFC 3416 section 3).
constexpr std::uint8_t integer = 0x02, octets = 0x04, null = 0x05, oid = 0x06, address = 0x40, counter = 0x41,
                       gauge = 0x42, ticks = 0x43, counter64 = 0x46;
constexpr std::uint8_t not_carried = 0;

}  // namespace

// code, stored form, SNMP tag, text to value, value to display text, value to raw text
constexpr std::array<ValueType, value_type_count> value_types{{
    {0, Stored::none, not_carried, nullptr, nullptr, nullptr},
    {OX_INTEGER, Stored::number32, integer, parse_signed, print_named_number, print_signed},
    {OX_COUNTER, Stored::number32, counter, parse_unsigned, print_unsigned, print_unsigned},
    {OX_GAUGE, Stored::number32, gauge, parse_unsigned, print_unsigned, print_unsigned},
    {OX_TIMETICKS, Stored::number32, ticks, parse_ticks, print_ticks, print_ticks},
    {OX_UNIXTIME, Stored::number32, not_carried, parse_time, print_time, print_time},
    {OX_IPADDRESS, Stored::address, address, parse_address, print_address, print_address},
    {OX_NETWORKADDRESS, Stored::address, address, parse_address, print_address, print_address},
    {OX_OCTETSTRING, Stored::terminated, octets, parse_hex, print_readable, print_hex},
    {OX_DISPLAYSTRING, Stored::text, octets, parse_text, print_text, print_text},
    {OX_PHYSADDRESS, Stored::bytes, octets, parse_hex, print_hex, print_hex},
    {OX_OBJECTID, Stored::text, oid, parse_path, print_path, print_path},
    {OX_OPAQUE, Stored::bytes, not_carried, parse_hex, print_opaque, print_opaque},
    {OX_NULL, Stored::mark, null, parse_mark, print_null, print_null},
    {OX_DELETED, Stored::mark, not_carried, parse_mark, print_deleted, print_deleted},
    {OX_AGGREGATE, Stored::none, not_carried, nullptr, nullptr, nullptr},
    {OX_AMIBNONE, Stored::none, not_carried, nullptr, nullptr, nullptr},
    {17, Stored::none, not_carried, nullptr, nullptr, nullptr},
    {OX_COUNTER64, Stored::number64, counter64, parse_unsigned64, print_unsigned64, print_unsigned64},
    {19, Stored::none, not_carried, nullptr, nullptr, nullptr},
    {OX_IPXADDRESS, Stored::ipx, not_carried, parse_ipx, print_ipx, print_ipx},
    {OX_IPV6ADDRESS, Stored::bytes, octets, parse_ipv6, print_ipv6, print_ipv6},
    {OX_IPV6PREFIX, Stored::bytes, octets, parse_prefix, print_prefix, print_prefix},
    {OX_IPV6IFID, Stored::bytes, octets, parse_interface_id, print_interface_id, print_interface_id},
    {OX_CODESTRING, Stored::terminated, not_carried, parse_code, print_code, print_code},
}};

static_assert([] {
  for (std::size_t code = 0; code < value_types.size(); ++code) {
    if (value_types[code].code != code) return false;
  }
  return true;
}());

}  // namespace ox::data
