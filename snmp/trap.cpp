#include "snmp/trap.h"

#include <algorithm>
#include <cstring>

#include "common/bytes.h"
#include "snmp/bindings.h"
#include "snmp/message.h"
#include "snmp/scratch.h"
#include "snmp/trap_facts.h"

namespace ox::snmp {
namespace {

constexpr ber::Tag tag_of(std::uint32_t pdu_type) noexcept { return static_cast<ber::Tag>(ber::first_pdu + pdu_type); }

// ---- Writing ----

// Space for the PDU of version 1 without its bindings and its enterprise.
constexpr std::uint32_t trap_bound =
    6 * ber::header_bound + ber::identifier_bound + 4 + 3 * (sizeof(std::uint32_t) + ber::number_bound);

// What stands in front of the binding list in version 1.
[[nodiscard]] OX_RESULT close_trap(ber::ReverseWriter& out, const oxsSnmpTrap& trap) noexcept {
  unsigned char time[sizeof trap.timeStamp];
  unsigned char address[sizeof trap.agentAddress];
  const std::uint32_t wire_time = big_endian(trap.timeStamp);
  std::memcpy(time, &wire_time, sizeof time);
  std::memcpy(address, &trap.agentAddress, sizeof address);
  out.put_unsigned(ber::time_ticks, time, sizeof time);
  out.put_integer(trap.specificTrap);
  out.put_integer(trap.genericTrap);
  out.put_octets(ber::ip_address, address, sizeof address);
  if (!out.put_identifier(trap.enterprise != nullptr ? trap.enterprise : "")) return OX_EENCODE;
  out.close(tag_of(OXS_TRAP), 0);
  return OX_OK;
}

[[nodiscard]] OX_RESULT put_pdu(ber::ReverseWriter& out, const oxsSnmpTrap& trap, const dnode* last) noexcept {
  if (trap.pduType == OXS_TRAP) {
    const OX_RESULT result = put_bindings(out, trap.bindings, last, false);
    return result == OX_OK ? close_trap(out, trap) : result;
  }
  // Behind the caller's bindings, not in front of them as the standard has it: peers of this system expect it so.
  OX_RESULT result = put_trap_facts(out, trap);
  if (result == OX_OK) result = put_each_binding(out, trap.bindings, last, false);
  if (result != OX_OK) return result;
  out.close(ber::sequence, 0);
  close_pdu(out, trap.pduType, trap.requestId, 0, 0);
  return OX_OK;
}

// ---- Reading ----

// The fields of a trap in place. The enterprise and the four numbers are version 1's.
struct TrapPdu {
  ber::Element enterprise{ber::object_identifier, nullptr, 0};
  ber::Element bindings{};
};

bool open_trap_of_version_1(const ber::Element& element, oxsSnmpTrap& trap, TrapPdu& parts) noexcept {
  ber::ElementReader fields(element);
  ber::Element address;
  ber::Element generic;
  ber::Element specific;
  ber::Element time;
  if (!fields.next(ber::object_identifier, parts.enterprise)) return false;
  if (!fields.next(ber::ip_address, address) || address.size != sizeof trap.agentAddress) return false;
  std::memcpy(&trap.agentAddress, address.content, sizeof trap.agentAddress);
  if (!fields.next(ber::integer, generic) || !ber::signed_of(generic, trap.genericTrap)) return false;
  if (!fields.next(ber::integer, specific) || !ber::signed_of(specific, trap.specificTrap)) return false;
  if (!fields.next(ber::time_ticks, time) || !ber::unsigned_of(time, trap.timeStamp)) return false;
  return fields.next(ber::sequence, parts.bindings) && ber::rest_is_well_formed(fields, 3);
}

bool open_trap(const ber::Element& element, oxsSnmpTrap& trap, TrapPdu& parts) noexcept {
  if (element.tag == tag_of(OXS_TRAP)) {
    trap.pduType = OXS_TRAP;
    return open_trap_of_version_1(element, trap, parts);
  }
  if (element.tag != tag_of(OXS_INFORM) && element.tag != tag_of(OXS_TRAP2)) return false;
  Pdu pdu;
  if (!open_pdu(element, pdu)) return false;
  trap.pduType = static_cast<std::uint32_t>(element.tag - ber::first_pdu);
  trap.requestId = pdu.request_id;
  parts.bindings = pdu.bindings;
  return true;
}

[[nodiscard]] OX_RESULT take_enterprise(const ber::Element& element, tracked_ptr<char[]>& enterprise) noexcept {
  Scratch<1024> text(ber::identifier_text_bound(element.size));
  if (!text) return OX_ENOMEM;
  std::size_t size = 0;
  if (!ber::identifier_text(element, text.chars(), size)) return OX_EDECODE;
  return copy_enterprise({text.chars(), size}, enterprise);
}

}  // namespace

OX_RESULT encode_trap(const oxsSnmpTrap* trap, void*& buffer, std::uint32_t& length) noexcept {
  if (trap == nullptr || trap->version > OXS_V2C) return OX_EENCODE;
  if (trap->pduType != OXS_TRAP && trap->pduType != OXS_TRAP2) return OX_EENCODE;
  if (trap->community == nullptr && trap->communityLength != 0) return OX_EENCODE;
  const BindingsExtent extent = extent_of_bindings(trap->bindings);
  std::uint64_t bound = extent.bound + envelope_bound(trap->communityLength);
  if (trap->pduType == OXS_TRAP) {
    bound += trap_bound + (trap->enterprise != nullptr ? std::strlen(trap->enterprise) : 0);
  } else {
    bound += pdu_bound + trap_facts_bound;
  }
  Scratch<4096> space(bound);
  if (!space) return OX_ENOMEM;
  ber::ReverseWriter out(space.bytes(), static_cast<std::size_t>(bound));
  const OX_RESULT result = put_pdu(out, *trap, extent.last);
  if (result != OX_OK) return result;
  close_envelope(out, trap->version, trap->community, trap->communityLength);
  return hand_out(out, buffer, length);
}

OX_RESULT decode_trap(const void* buffer, std::uint32_t length, oxsSnmpTrap& trap) noexcept {
  Envelope envelope;
  oxsSnmpTrap made{};
  TrapPdu parts;
  if (!open_envelope(buffer, length, envelope) || !open_trap(envelope.pdu, made, parts)) return OX_EDECODE;
  tracked_ptr<char[]> enterprise;
  OX_RESULT result = take_enterprise(parts.enterprise, enterprise);
  if (result != OX_OK) return result;
  data::dnode_ptr bindings;
  result = envelope.version == OXS_V1 ? take_bindings(parts.bindings, Unreadable::refused, bindings)
                                      : take_trap_bindings(parts.bindings, bindings, made, enterprise);
  if (result != OX_OK) return result;
  tracked_ptr<unsigned char[]> community;
  result = copy_community(envelope.community, community, made.communityLength);
  if (result != OX_OK) return result;
  made.version = OXS_V1;  // the record is in the terms of version 1, whatever came in
  made.community = community.release();
  made.enterprise = enterprise.release();
  made.bindings = bindings.release();
  trap = made;
  return OX_OK;
}

OX_RESULT answer_inform(const void* buffer, std::uint32_t length, void*& answer,
                        std::uint32_t& answer_length) noexcept {
  Envelope envelope;
  oxsSnmpTrap ignored{};
  TrapPdu parts;
  ber::Element whole;
  if (!ber::ElementReader(static_cast<const unsigned char*>(buffer), length).next(whole)) return OX_EDECODE;
  if (!open_envelope(buffer, length, envelope) || envelope.pdu.tag != tag_of(OXS_INFORM)) return OX_EDECODE;
  if (!open_trap(envelope.pdu, ignored, parts)) return OX_EDECODE;
  const auto* bytes = static_cast<const unsigned char*>(buffer);
  const auto size = static_cast<std::uint32_t>(whole.content + whole.size - bytes);
  auto copy = make_tracked_array<unsigned char>(size, "snmp_message");
  if (!copy) return OX_ENOMEM;
  std::memcpy(copy.get(), bytes, size);
  copy[envelope.community.content + envelope.community.size - bytes] = tag_of(OXS_RESPONSE);
  answer = copy.release();
  answer_length = size;
  return OX_OK;
}

}  // namespace ox::snmp
