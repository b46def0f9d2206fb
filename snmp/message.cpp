#include "snmp/message.h"

#include "snmp/scratch.h"

namespace ox::snmp {
namespace {

constexpr std::uint32_t last_version = OXS_V2C;
constexpr std::uint32_t last_pdu_type = OXS_SET;

}  // namespace

bool open_pdu(const ber::Element& element, Pdu& pdu) noexcept {
  ber::ElementReader fields(element);
  for (std::uint32_t* number : {&pdu.request_id, &pdu.error_status, &pdu.error_index}) {
    ber::Element field;
    if (!fields.next(ber::integer, field) || !ber::signed_of(field, *number)) return false;
  }
  return fields.next(ber::sequence, pdu.bindings) && ber::rest_is_well_formed(fields, 3);
}

void close_pdu(ber::ReverseWriter& out, std::uint32_t pdu_type, std::uint32_t request_id, std::uint32_t error_status,
               std::uint32_t error_index) noexcept {
  out.put_integer(error_index);
  out.put_integer(error_status);
  out.put_integer(request_id);
  out.close(static_cast<ber::Tag>(ber::first_pdu + pdu_type), 0);
}

bool open_envelope(const void* message, std::uint32_t length, Envelope& envelope) noexcept {
  ber::Element whole;
  if (!ber::ElementReader(static_cast<const unsigned char*>(message), length).next(ber::sequence, whole)) return false;
  ber::ElementReader parts(whole);
  ber::Element version;
  if (!parts.next(ber::integer, version) || !ber::signed_of(version, envelope.version)) return false;
  if (envelope.version > last_version) return false;
  return parts.next(envelope.community) && envelope.community.is_octet_string() &&
         ber::well_formed(envelope.community, 2) && parts.next(envelope.pdu) && ber::rest_is_well_formed(parts, 2);
}

OX_RESULT copy_community(const ber::Element& element, tracked_ptr<unsigned char[]>& community,
                         std::uint32_t& length) noexcept {
  std::size_t size = 0;
  if (!ber::octets_of(element, nullptr, size)) return OX_EDECODE;
  if (size >= UINT32_MAX) return OX_ENOMEM;
  auto copy = make_tracked_array<unsigned char>(static_cast<std::uint32_t>(size) + 1, "snmp_comm");
  if (!copy) return OX_ENOMEM;
  (void)ber::octets_of(element, copy.get(), size);
  copy[size] = 0;
  community = std::move(copy);
  length = static_cast<std::uint32_t>(size);
  return OX_OK;
}

void close_envelope(ber::ReverseWriter& out, std::uint32_t version, const void* community,
                    std::uint32_t length) noexcept {
  out.put_octets(ber::octet_string, community, length);
  out.put_integer(version);
  out.close(ber::sequence, 0);
}

OX_RESULT hand_out(const ber::ReverseWriter& out, void*& buffer, std::uint32_t& length) noexcept {
  const auto size = static_cast<std::uint32_t>(out.size());
  auto block = make_tracked_array<unsigned char>(size, "snmp_message");
  if (!block) return OX_ENOMEM;
  std::memcpy(block.get(), out.front(), size);
  buffer = block.release();
  length = size;
  return OX_OK;
}

OX_RESULT encode(const oxsSnmpMessage* message, bool first_null, void*& buffer, std::uint32_t& length) noexcept {
  if (message == nullptr || message->version > last_version || message->pduType > last_pdu_type) return OX_EENCODE;
  if (message->community == nullptr && message->communityLength != 0) return OX_EENCODE;
  const BindingsExtent extent = extent_of_bindings(message->bindings);
  const std::uint64_t bound = extent.bound + pdu_bound + envelope_bound(message->communityLength);
  Scratch<4096> space(bound);
  if (!space) return OX_ENOMEM;
  ber::ReverseWriter out(space.bytes(), static_cast<std::size_t>(bound));
  const OX_RESULT result = put_bindings(out, message->bindings, extent.last, first_null);
  if (result != OX_OK) return result;
  close_pdu(out, message->pduType, message->requestId, message->errorStatus, message->errorIndex);
  close_envelope(out, message->version, message->community, message->communityLength);
  return hand_out(out, buffer, length);
}

OX_RESULT decode(const void* buffer, std::uint32_t length, Unreadable unreadable, oxsSnmpMessage& message) noexcept {
  Envelope envelope;
  Pdu pdu;
  if (!open_envelope(buffer, length, envelope)) return OX_EDECODE;
  if (envelope.pdu.tag < ber::first_pdu || envelope.pdu.tag > ber::first_pdu + last_pdu_type) return OX_EDECODE;
  if (!open_pdu(envelope.pdu, pdu)) return OX_EDECODE;
  data::dnode_ptr bindings;
  OX_RESULT result = take_bindings(pdu.bindings, unreadable, bindings);
  if (result != OX_OK) return result;
  tracked_ptr<unsigned char[]> community;
  std::uint32_t community_length = 0;
  result = copy_community(envelope.community, community, community_length);
  if (result != OX_OK) return result;
  message.version = envelope.version;
  message.community = community.release();
  message.communityLength = community_length;
  message.pduType = static_cast<std::uint32_t>(envelope.pdu.tag - ber::first_pdu);
  message.requestId = pdu.request_id;
  message.errorStatus = pdu.error_status;
  message.errorIndex = pdu.error_index;
  message.bindings = bindings.release();
  return OX_OK;
}

}  // namespace ox::snmp
