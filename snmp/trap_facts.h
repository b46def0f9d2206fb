// A trap's own facts where version 2 puts them: among the bindings (RFC 3416, 4.2.6), with an identifier in place of
// enterprise and numbers (RFC 3584, 3).
#pragma once

#include <cstdint>
#include <string_view>

#include <oxbase/oxs.h>

#include "data/dnode.h"
#include "snmp/ber.h"

namespace ox::snmp {

// Writes the bindings of time stamp and identifier, the latter when there is a usable enterprise. 111.
[[nodiscard]] OX_RESULT put_trap_facts(ber::ReverseWriter& out, const oxsSnmpTrap& trap) noexcept;

// An enterprise of so many characters is not sent in an identifier.
inline constexpr std::size_t enterprise_limit = 1022;

// Space that put_trap_facts() needs at most: two bindings, their names and values.
inline constexpr std::uint32_t trap_facts_bound = 512 + static_cast<std::uint32_t>(enterprise_limit);

// Reads the bindings of a list element: those of the facts set time stamp, numbers and enterprise of the record, the
// others are handed out. 112, 3.
[[nodiscard]] OX_RESULT take_trap_bindings(const ber::Element& element, data::dnode_ptr& list, oxsSnmpTrap& trap,
                                           tracked_ptr<char[]>& enterprise) noexcept;

// A new text; null for the empty one, which is no enterprise. 3.
[[nodiscard]] OX_RESULT copy_enterprise(std::string_view text, tracked_ptr<char[]>& enterprise) noexcept;

}  // namespace ox::snmp
