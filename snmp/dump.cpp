#include "snmp/dump.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include <oxbase/oxc.h>
#include <oxbase/oxs.h>

#include "common/trace.h"
#include "snmp/bindings.h"
#include "snmp/message.h"

namespace ox::snmp {
namespace {

constexpr std::array<const char*, 9> pdu_names{"get",  "get-next", "response", "set",   "trap",
                                               "bulk", "inform",   "trap2",    "report"};

// Tag and length at the front of a content that may be cut off: what is left behind them. False when they are cut, too.
bool pass_header(std::string_view& rest, std::size_t& length) noexcept {
  if (rest.size() < 2) return false;
  length = static_cast<unsigned char>(rest[1]);
  std::size_t count = 0;
  if (length >= 0x80) {
    count = length & 0x7F;
    if (count > 4 || rest.size() < 2 + count) return false;
    length = 0;
    for (std::size_t i = 0; i < count; ++i) length = length << 8 | static_cast<unsigned char>(rest[2 + i]);
  }
  rest.remove_prefix(2 + count);
  return true;
}

// The fields in front of the bindings.
ber::Element show_numbers(const ber::Element& element, std::string& line) {
  Pdu pdu;
  if (!open_pdu(element, pdu)) return {};
  char text[64];
  (void)std::snprintf(text, sizeof text, " id %d error %d/%d", static_cast<int>(pdu.request_id),
                      static_cast<int>(pdu.error_status), static_cast<int>(pdu.error_index));
  line += text;
  return pdu.bindings;
}

// Of a trap of version 1.
ber::Element show_trap(const ber::Element& element, std::string& line) {
  ber::ElementReader fields(element);
  ber::Element enterprise, address, bindings;
  if (!fields.next(ber::object_identifier, enterprise) || !fields.next(address)) return {};
  std::string name(ber::identifier_text_bound(enterprise.size), '\0');
  std::size_t size = 0;
  if (!ber::identifier_text(enterprise, name.data(), size)) return {};
  line += " of " + name.substr(0, size);
  for (const char* const what : {" generic ", " specific ", " time "}) {
    ber::Element field;
    std::uint32_t number = 0;
    if (!fields.next(field) ||
        !(field.tag == ber::integer ? ber::signed_of(field, number) : ber::unsigned_of(field, number))) {
      return {};
    }
    line += what + std::to_string(number);
  }
  return fields.next(ber::sequence, bindings) ? bindings : ber::Element{};
}

void show_bindings(const ber::Element& element, std::string& line) {
  data::dnode_ptr list;
  if (element.tag != ber::sequence || take_bindings(element, Unreadable::fails_alone, list) != OX_OK) {
    line += " malformed";
    return;
  }
  for (dnode* node = list.get(); node != nullptr; node = node->next) {
    const char* const value = node->has(data::bit::err_code) ? "(unreadable)" : oxdGetValueByStr(node);
    line += std::string(" ") + node->amib_name.text + " = " + value;
  }
}

}  // namespace

std::string without_community(std::string_view packet) {
  std::string shown(packet);
  std::string_view rest = packet;
  std::size_t length = 0;
  if (!pass_header(rest, length) || !pass_header(rest, length) || rest.size() < length) return shown;
  rest.remove_prefix(length);  // the version
  if (!pass_header(rest, length)) return shown;
  std::fill_n(shown.end() - static_cast<std::ptrdiff_t>(rest.size()), std::min(length, rest.size()), '*');
  return shown;
}

Shown show(std::string_view packet) {
  Envelope envelope;
  if (!open_envelope(packet.data(), static_cast<std::uint32_t>(packet.size()), envelope)) return {"malformed"};
  const auto kind = static_cast<std::size_t>(envelope.pdu.tag) - ber::first_pdu;
  if (envelope.pdu.tag < ber::first_pdu || kind >= pdu_names.size()) return {"malformed"};
  Shown shown{std::string(envelope.version == OXS_V1 ? "v1 " : "v2c ") + pdu_names[kind]};
  shown.trap = kind == OXS_TRAP || kind == OXS_INFORM || kind == OXS_TRAP2;
  show_bindings(kind == OXS_TRAP ? show_trap(envelope.pdu, shown.line) : show_numbers(envelope.pdu, shown.line),
                shown.line);
  return shown;
}

}  // namespace ox::snmp

using namespace ox;

OX_RESULT OX_CALL oxsSnmpDump(const char* source, const char* destination, const void* packet, uint32_t length) {
  if (!trace::on(trace::snmp_dump | trace::trap_dump)) return OX_OK;
  if (packet == nullptr && length != 0) return OX_EARG;
  return guarded([&]() -> OX_RESULT {
    const std::string_view bytes(static_cast<const char*>(packet), length);
    const snmp::Shown shown = snmp::show(bytes);
    const std::uint32_t bit = shown.trap ? trace::trap_dump : trace::snmp_dump;
    if (!trace::on(bit)) return OX_OK;
    (void)trace::write("<M:SNMP %s > %s, %u bytes: %s>\n", trace::text(source), trace::text(destination), length,
                       shown.line.c_str());
    const std::string masked = snmp::without_community(bytes);
    const auto dump = shown.trap ? oxcMemDumpLogForSNMPTrap : oxcMemDumpLogForSNMP;
    return dump(masked.data(), length);
  });
}
