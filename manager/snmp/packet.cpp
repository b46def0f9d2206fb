#include "manager/snmp/packet.h"

#include <memory>
#include <utility>

#include <oxbase/oxs.h>

#include "manager/snmp/engine.h"

namespace ox::manager {
namespace {

// Any that takes 4 bytes.
constexpr std::uint32_t some_id = 0x01000000;

// Where an element's content begins; `size` gets its length. The bytes are the encoder's.
std::size_t content_of(const std::vector<std::uint8_t>& bytes, std::size_t at, std::size_t& size) {
  size = bytes[at + 1];
  if (size < 0x80) return at + 2;
  const std::size_t count = size & 0x7F;
  size = 0;
  for (std::size_t i = 0; i < count; ++i) size = size << 8 | bytes[at + 2 + i];
  return at + 2 + count;
}

}  // namespace

void Packet::set_id(std::uint32_t id) {
  for (std::size_t i = 0; i < sizeof id; ++i) bytes[id_at + i] = static_cast<std::uint8_t>(id >> (24 - 8 * i));
}

Packet make_packet(const Agent& agent, const SnmpRequest& request, const NodeList& bindings) {
  const bool bulk = request.pdu == pdu_get_bulk;
  std::string community = request.pdu == OXS_SET ? agent.write_community : agent.read_community;
  oxsSnmpMessage message{};
  message.version = agent.version;
  message.community = reinterpret_cast<unsigned char*>(community.data());
  message.communityLength = static_cast<std::uint32_t>(community.size());
  message.pduType = bulk ? std::uint32_t{OXS_GETNEXT} : request.pdu;
  message.requestId = some_id;
  message.errorStatus = request.non_repeaters;  // the two have their places there
  message.errorIndex = request.repetitions;
  message.bindings = bindings.get();
  void* buffer = nullptr;
  std::uint32_t length = 0;
  if (oxsSnmpEncode(&message, &buffer, &length) != OX_OK) return {};
  const std::unique_ptr<void, decltype(&oxcMemFree)> owner(buffer, oxcMemFree);
  const auto* const first = static_cast<const std::uint8_t*>(buffer);
  Packet packet{{first, first + length}, 0, agent.version, std::move(community)};
  std::size_t size = 0;
  const std::size_t version = content_of(packet.bytes, 0, size);
  const std::size_t name = content_of(packet.bytes, version, size) + size;
  const std::size_t pdu = content_of(packet.bytes, name, size) + size;
  if (bulk) packet.bytes[pdu] = static_cast<std::uint8_t>(0xA0 + pdu_get_bulk);
  packet.id_at = content_of(packet.bytes, content_of(packet.bytes, pdu, size), size);
  return packet;
}

}  // namespace ox::manager
