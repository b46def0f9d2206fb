// SNMP messages and traps: what is accepted can be read, goes out again, and comes back as it was.
#include <cstring>

#include <oxbase/oxd.h>
#include <oxbase/oxs.h>

#include "fuzz/target.h"
#include "snmp/message.h"
#include "snmp/trap.h"

namespace {

using ox::fuzz::expect;
using ox::snmp::Unreadable;

// Reads every field; a node whose value cannot be sent (an exception, an Opaque one, one that could not be read) gets
// the value NULL.
void visit(dnode* list, Unreadable unreadable) {
  for (dnode* node = list; node != nullptr; node = oxdNext(node)) {
    const char* name = nullptr;
    expect(oxdGetAmibName(node, &name) == OX_OK && *name != '\0');
    if (oxdGetValueType(node) == -1) {
      std::uint32_t code = 0;
      expect(oxdGetErrCode(node, &code) == OX_OK);
      expect(code == OX_ENOSUCHVALUE || (code == OX_EDECODE && unreadable == Unreadable::fails_alone));
      expect(oxdSetValue(node, OX_NULL, 0, 0) == OX_OK);
    }
    expect(oxdGetValueByStr(node) != nullptr);
    if (oxdGetValueType(node) == OX_OPAQUE) expect(oxdSetValue(node, OX_NULL, 0, 0) == OX_OK);
  }
}

OX_RESULT encode(const oxsSnmpMessage& message, void** block, std::uint32_t* size) {
  return ox::snmp::encode(&message, false, *block, *size);
}
OX_RESULT decode(const void* bytes, std::uint32_t size, oxsSnmpMessage* message) {
  return ox::snmp::decode(bytes, size, Unreadable::refused, *message);
}
int release(oxsSnmpMessage& message) { return oxsSnmpFree(&message), 0; }

OX_RESULT encode_trap(const oxsSnmpTrap& trap, void** wire, std::uint32_t* length) {
  return ox::snmp::encode_trap(&trap, *wire, *length);
}
OX_RESULT decode_trap(const void* bytes, std::uint32_t size, oxsSnmpTrap* trap) {
  return ox::snmp::decode_trap(bytes, size, *trap);
}
int release_trap(oxsSnmpTrap& trap) { return oxsSnmpTrapFree(&trap), 0; }

template <class Record>
std::string_view community(const Record& record) {
  return {reinterpret_cast<const char*>(record.community), record.communityLength};
}

bool same(const oxsSnmpMessage& a, const oxsSnmpMessage& b) {
  return a.version == b.version && a.pduType == b.pduType && community(a) == community(b) &&
         a.requestId == b.requestId && a.errorStatus == b.errorStatus && a.errorIndex == b.errorIndex;
}
bool same_text(const char* a, const char* b) { return a == nullptr || b == nullptr ? a == b : std::strcmp(a, b) == 0; }
// A single number, left of an identifier of two, is written with a second one.
bool same_trap(const oxsSnmpTrap& a, const oxsSnmpTrap& b) {
  const bool single = a.enterprise != nullptr && std::strchr(a.enterprise, '.') == nullptr;
  return (single || same_text(a.enterprise, b.enterprise)) && a.agentAddress == b.agentAddress &&
         a.genericTrap == b.genericTrap && a.specificTrap == b.specificTrap && a.timeStamp == b.timeStamp &&
         community(a) == community(b);
}

// Of what is refused nothing is left.
template <class Record>
bool accepted(OX_RESULT result, const Record& record) {
  expect(result == OX_OK || (result == OX_EDECODE && record.bindings == nullptr && record.community == nullptr));
  return result == OX_OK;
}

}  // namespace

void ox::fuzz::run(std::string_view input) {
  const auto size = static_cast<std::uint32_t>(input.size());
  for (const Unreadable unreadable : {Unreadable::refused, Unreadable::fails_alone}) {
    oxsSnmpMessage message{};
    if (!accepted(snmp::decode(input.data(), size, unreadable, message), message)) continue;
    visit(message.bindings, unreadable);
    stable(message, decode, encode, release, same);
  }
  oxsSnmpTrap trap{};
  if (!accepted(decode_trap(input.data(), size, &trap), trap)) return;
  expect(trap.version == OXS_V1 && trap.community[trap.communityLength] == 0);
  expect(trap.enterprise == nullptr || *trap.enterprise != '\0');
  visit(trap.bindings, Unreadable::fails_alone);
  trap.pduType = OXS_TRAP;  // of version 1, which carries all but the request's number
  stable(trap, decode_trap, encode_trap, release_trap, same_trap);
}
