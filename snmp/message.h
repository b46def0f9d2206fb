// The message around a PDU: SEQUENCE { version, community, PDU } (RFC 1157, 4; RFC 1901, 3).
#pragma once

#include <cstdint>

#include <oxbase/oxs.h>

#include "common/memory.h"
#include "snmp/ber.h"
#include "snmp/bindings.h"

namespace ox::snmp {

// What every message has in front of its PDU, in place.
struct Envelope {
  std::uint32_t version;
  ber::Element community;
  ber::Element pdu;
};

// The fields of a message. False for anything else; bytes behind it are ignored, further elements in it must be
// well-formed. What stands in the PDU is not looked at yet: it is at depth 3.
[[nodiscard]] bool open_envelope(const void* message, std::uint32_t length, Envelope& envelope) noexcept;

// The three INTEGERs and the binding list of every PDU but the trap of version 1.
struct Pdu {
  std::uint32_t request_id;
  std::uint32_t error_status;
  std::uint32_t error_index;
  ber::Element bindings;
};

// The fields of a PDU, whatever its tag. False for anything else.
[[nodiscard]] bool open_pdu(const ber::Element& element, Pdu& pdu) noexcept;

// Puts the three numbers in front of the binding list that has been written, and closes the PDU.
void close_pdu(ber::ReverseWriter& out, std::uint32_t pdu_type, std::uint32_t request_id, std::uint32_t error_status,
               std::uint32_t error_index) noexcept;

// Space that close_pdu() needs at most.
inline constexpr std::uint32_t pdu_bound =
    ber::header_bound + 3 * (ber::header_bound + sizeof(std::uint32_t) + ber::number_bound);

// A copy of the community with a zero byte behind it. 112, 3.
[[nodiscard]] OX_RESULT copy_community(const ber::Element& element, tracked_ptr<unsigned char[]>& community,
                                       std::uint32_t& length) noexcept;

// Puts version and community in front of the PDU that has been written, and closes the message.
void close_envelope(ber::ReverseWriter& out, std::uint32_t version, const void* community,
                    std::uint32_t length) noexcept;

// Space that close_envelope() needs at most.
[[nodiscard]] constexpr std::uint64_t envelope_bound(std::uint32_t community_length) noexcept {
  return std::uint64_t{3} * ber::header_bound + sizeof(std::uint32_t) + ber::number_bound +
         std::uint64_t{community_length};
}

// A new block with what has been written. 3.
[[nodiscard]] OX_RESULT hand_out(const ber::ReverseWriter& out, void*& buffer, std::uint32_t& length) noexcept;

[[nodiscard]] OX_RESULT encode(const oxsSnmpMessage* message, bool first_null, void*& buffer,
                               std::uint32_t& length) noexcept;
[[nodiscard]] OX_RESULT decode(const void* buffer, std::uint32_t length, Unreadable unreadable,
                               oxsSnmpMessage& message) noexcept;

}  // namespace ox::snmp
