// The value type codes with their keywords in definition files. The same codes stand in tree nodes and in data nodes;
// what a data node does with a type is one floor up (data/value_types.h).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include <oxbase/oxtypes.h>

namespace ox {

struct ValueTypeName {
  std::uint32_t code;
  const char* keyword;  // null: no tree node has this type
  bool leaf;            // a tree node of this type holds a value
};

// Indexed by code.
inline constexpr std::array<ValueTypeName, 25> value_type_names{{
    {0, nullptr, false},
    {OX_INTEGER, "INTEGER", true},
    {OX_COUNTER, "Counter", true},
    {OX_GAUGE, "Gauge", true},
    {OX_TIMETICKS, "TimeTicks", true},
    {OX_UNIXTIME, "UnixTime", true},
    {OX_IPADDRESS, "IpAddress", true},
    {OX_NETWORKADDRESS, "NetworkAddress", true},
    {OX_OCTETSTRING, "OctetString", true},
    {OX_DISPLAYSTRING, "DisplayString", true},
    {OX_PHYSADDRESS, "PhysAddress", true},
    {OX_OBJECTID, "ObjectID", true},
    {OX_OPAQUE, "Opaque", true},
    {OX_NULL, "NULL", true},
    {OX_DELETED, nullptr, false},
    {OX_AGGREGATE, "Aggregate", false},
    {OX_AMIBNONE, "AMIBNONE", false},
    {17, nullptr, false},
    {OX_COUNTER64, "Counter64", true},
    {19, nullptr, false},
    {OX_IPXADDRESS, "IpxAddress", true},
    {OX_IPV6ADDRESS, "Ipv6Address", true},
    {OX_IPV6PREFIX, "Ipv6AddressPrefix", true},
    {OX_IPV6IFID, "Ipv6AddressIfIdentifier", true},
    {OX_CODESTRING, "CodeString", true},
}};

inline constexpr std::uint32_t value_type_count = value_type_names.size();

static_assert([] {
  for (std::size_t code = 0; code < value_type_names.size(); ++code) {
    if (value_type_names[code].code != code) return false;
  }
  return true;
}());

[[nodiscard]] constexpr bool is_leaf_type(std::uint32_t type) noexcept {
  return type < value_type_count && value_type_names[type].leaf;
}

}  // namespace ox
