// The older encoding, of one event: eleven numbers, eight texts, and the encoded data nodes up to the end.
#include <cstring>

#include "common/trace.h"
#include "event/evmsg.h"

namespace ox::event {
namespace {

constexpr std::uint32_t longest = 0xFFFF;  // what a 16-bit length tells

// Call `visit` with the rows in this encoding's order until it answers false.
template <class Visit>
bool every_number(Visit&& visit) {
  using namespace fields;
  return visit(event_id) && visit(snd_id) && visit(occur_time) && visit(recover_time) && visit(event_type) &&
         visit(msg_number) && visit(flag) && visit(snmp_agent_addr) && visit(snmp_gen_trap) && visit(snmp_spec_trap) &&
         visit(snmp_time_stamp);
}
template <class Visit>
bool every_text(Visit&& visit) {
  using namespace fields;
  return visit(comm_name) && visit(map_name) && visit(comp_type) && visit(comp_name) && visit(opt_msg) && visit(memo) &&
         visit(snmp_comm_name) && visit(snmp_enterprises);
}

constexpr std::uint32_t trap_fields = fields::snmp_agent_addr.bit | fields::snmp_gen_trap.bit |
                                      fields::snmp_spec_trap.bit | fields::snmp_time_stamp.bit |
                                      fields::snmp_comm_name.bit | fields::snmp_enterprises.bit;

// Absent fields are zero, and are written so. Of the texts only the memo is held to its length word; that of the others
// wraps, as it always has.
OX_RESULT encode(const evmsg& event, void** buffer, std::uint32_t* length) noexcept {
  EncodedNodes nodes;
  if (const OX_RESULT result = nodes.encode(event.dnode_list)) return result;
  if (nodes.size > longest || event.memo.size > longest) return OX_EENCODEDLONG;
  std::uint64_t size = nodes.size;
  every_number([&](const auto&) { return size += sizeof(Number), true; });
  every_text([&](const auto& field) { return size += wire_size(static_cast<const Text&>(event.*field.member)), true; });
  if (size > UINT32_MAX - copy_step) return OX_EENCODEDLONG;
  auto block = make_tracked_array<unsigned char>(static_cast<std::uint32_t>(size) + copy_step, "ev_encode_r21");
  if (!block) return OX_ENOMEM;
  FieldWriter out(block.get());
  every_number([&](const auto& field) { return out.put(event.*field.member), true; });
  every_text([&](const auto& field) { return out.put(static_cast<const Text&>(event.*field.member)), true; });
  out.put_bytes(nodes.bytes.get(), nodes.size);
  *length = static_cast<std::uint32_t>(size);
  *buffer = block.release();
  return OX_OK;
}

// The text up to its first zero byte, which need not stand where the length says.
[[nodiscard]] bool take_older_text(Reader& in, View& view) noexcept {
  std::uint16_t size = 0;
  if (!in.take(size) || !in.take_bytes(size, view.bytes)) return false;
  const void* const end = size != 0 ? std::memchr(view.bytes, 0, size) : nullptr;
  view.size = end != nullptr ? static_cast<std::uint32_t>(static_cast<const unsigned char*>(end) - view.bytes) + 1 : 0;
  return end != nullptr || size == 0;
}

// A number of 0 counts as absent, that of a generic trap too: the encoding cannot tell the two apart.
[[nodiscard]] bool parse(Reader& in, ParsedEvent& parsed) noexcept {
  const bool whole = every_number([&](const auto& field) {
                       View& view = parsed.views[field.index()];
                       if (!take(in, view, Field<Number>::kind)) return false;
                       if (view.number != 0) parsed.present |= field.bit;
                       return true;
                     }) &&
                     every_text([&](const auto& field) {
                       View& view = parsed.views[field.index()];
                       if (!take_older_text(in, view)) return false;
                       if (!is_empty(view, Field<Text>::kind)) parsed.present |= field.bit;
                       return true;
                     });
  if (!whole) return false;
  const bool has_type = (parsed.present & fields::event_type.bit) != 0;
  const Number type = has_type ? parsed.views[fields::event_type.index()].number : 0;
  if ((type & OX_EVENT_TRAP) == 0) parsed.present &= ~trap_fields;
  View& nodes = parsed.views[fields::dnode_list.index()];
  nodes.size = static_cast<std::uint32_t>(in.remaining());
  if (nodes.size != 0) parsed.present |= fields::dnode_list.bit;
  return in.take_bytes(nodes.size, nodes.bytes);
}

OX_RESULT decode(const void* buffer, std::uint32_t length, evmsg** out) noexcept {
  Reader in(buffer, length);
  ParsedEvent parsed;
  evmsg_ptr event;
  if (!parse(in, parsed)) return OX_EARG;
  if (const OX_RESULT result = build(parsed, event)) return result;
  *out = event.release();
  return OX_OK;
}

}  // namespace
}  // namespace ox::event

using namespace ox;

OX_RESULT OX_CALL oxeEvmsgEncodeR21(const evmsg* event, void** buffer, uint32_t* length) {
  OX_ENTRY("oxeEvmsgEncodeR21", ":%x", trace::word(event));
  return traced("oxeEvmsgEncodeR21", [&]() -> OX_RESULT {
    if (event == nullptr || buffer == nullptr || length == nullptr) return OX_EARG;
    return event::encode(*event, buffer, length);
  });
}

OX_RESULT OX_CALL oxeEvmsgDecodeR21(const void* buffer, uint32_t length, evmsg** event) {
  OX_ENTRY("oxeEvmsgDecodeR21", ":%x:%u", trace::word(buffer), length);
  return traced("oxeEvmsgDecodeR21", [&]() -> OX_RESULT {
    if (event == nullptr || buffer == nullptr) return OX_EARG;
    return event::decode(buffer, length, event);
  });
}
