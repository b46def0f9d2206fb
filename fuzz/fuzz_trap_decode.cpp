// SNMP traps: what is accepted can be read, and most of it goes out again and comes back as it was.
#include <cstdint>
#include <cstring>

#include <oxbase/oxc.h>
#include <oxbase/oxd.h>
#include <oxbase/oxs.h>

#include "fuzz/target.h"
#include "snmp/trap.h"

namespace {

using ox::fuzz::expect;

// Reads every field; a node of an exception value or an Opaque one, which cannot be sent, gets the value NULL.
void visit(const oxsSnmpTrap& trap) {
  expect(trap.version == OXS_V1 && trap.community[trap.communityLength] == 0);
  expect(trap.enterprise == nullptr || *trap.enterprise != '\0');
  for (dnode* node = trap.bindings; node != nullptr; node = oxdNext(node)) {
    const char* name = nullptr;
    expect(oxdGetAmibName(node, &name) == OX_OK && *name != '\0');
    expect(oxdGetValueByStr(node) != nullptr);
    const auto type = oxdGetValueType(node);
    if (type == -1 || type == OX_OPAQUE) expect(oxdSetValue(node, OX_NULL, 0, 0) == OX_OK);
  }
}

bool same_text(const char* a, const char* b) { return a == nullptr || b == nullptr ? a == b : std::strcmp(a, b) == 0; }

OX_RESULT encode(const oxsSnmpTrap& trap, void** wire, std::uint32_t* length) {
  return ox::snmp::encode_trap(&trap, *wire, *length);
}
OX_RESULT decode(const void* bytes, std::uint32_t size, oxsSnmpTrap* trap) {
  return ox::snmp::decode_trap(bytes, size, *trap);
}
int release(oxsSnmpTrap& trap) { return oxsSnmpTrapFree(&trap), 0; }

// A single number, left of an identifier of two, is written with a second one.
bool same(const oxsSnmpTrap& a, const oxsSnmpTrap& b) {
  const bool single = a.enterprise != nullptr && std::strchr(a.enterprise, '.') == nullptr;
  return (single || same_text(a.enterprise, b.enterprise)) && a.agentAddress == b.agentAddress &&
         a.genericTrap == b.genericTrap && a.specificTrap == b.specificTrap && a.timeStamp == b.timeStamp &&
         a.communityLength == b.communityLength;
}

}  // namespace

void ox::fuzz::run(std::string_view input) {
  oxsSnmpTrap trap{};
  const OX_RESULT result = decode(input.data(), static_cast<std::uint32_t>(input.size()), &trap);
  expect(result == OX_OK || (result == OX_EDECODE && trap.bindings == nullptr && trap.community == nullptr));
  if (result != OX_OK) return;
  visit(trap);
  trap.pduType = OXS_TRAP;  // of version 1, which carries all but the request's number
  stable(trap, decode, encode, release, same);
}
