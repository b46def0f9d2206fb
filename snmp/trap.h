// Traps: the Trap-PDU of version 1 (RFC 1157, 4.1.6), the SNMPv2-Trap-PDU and the InformRequest-PDU of version 2 (RFC
// 3416, 4.2.6 and 4.2.7), whose facts stand in their bindings.
#pragma once

#include <cstdint>

#include <oxbase/oxs.h>

namespace ox::snmp {

[[nodiscard]] OX_RESULT encode_trap(const oxsSnmpTrap* trap, void*& buffer, std::uint32_t& length) noexcept;
[[nodiscard]] OX_RESULT decode_trap(const void* buffer, std::uint32_t length, oxsSnmpTrap& trap) noexcept;

// The answer to an inform. 112, 3.
[[nodiscard]] OX_RESULT answer_inform(const void* buffer, std::uint32_t length, void*& answer,
                                      std::uint32_t& answer_length) noexcept;

}  // namespace ox::snmp
