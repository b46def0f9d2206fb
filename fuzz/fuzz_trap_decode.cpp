// SNMP traps: what is accepted can be read, and most of it goes out again and comes back as it was.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <oxbase/oxc.h>
#include <oxbase/oxd.h>
#include <oxbase/oxs.h>

#include "snmp/trap.h"

namespace {

void expect(bool condition) {
  if (!condition) std::abort();
}

// Reads every field; a node of an exception value, which cannot be sent, gets the value NULL.
void visit(const oxsSnmpTrap& trap) {
  expect(trap.version == OXS_V1 && trap.community[trap.communityLength] == 0);
  expect(trap.enterprise == nullptr || *trap.enterprise != '\0');
  for (dnode* node = trap.bindings; node != nullptr; node = oxdNext(node)) {
    const char* name = nullptr;
    expect(oxdGetAmibName(node, &name) == OX_OK && *name != '\0');
    expect(oxdGetValueByStr(node) != nullptr);
    if (oxdGetValueType(node) == -1) expect(oxdSetValue(node, OX_NULL, 0, 0) == OX_OK);
  }
}

bool same_text(const char* a, const char* b) { return a == nullptr || b == nullptr ? a == b : std::strcmp(a, b) == 0; }

// As a trap of version 1, which carries all but the request's number.
void send_again(oxsSnmpTrap& trap) {
  trap.pduType = OXS_TRAP;
  void* wire = nullptr;
  std::uint32_t length = 0;
  expect(ox::snmp::encode_trap(&trap, wire, length) == OX_OK);
  oxsSnmpTrap again{};
  expect(ox::snmp::decode_trap(wire, length, again) == OX_OK);
  // A single number, left of an identifier of two, is written with a second one.
  const bool single = trap.enterprise != nullptr && std::strchr(trap.enterprise, '.') == nullptr;
  expect(single || same_text(trap.enterprise, again.enterprise));
  expect(trap.agentAddress == again.agentAddress);
  expect(trap.genericTrap == again.genericTrap && trap.specificTrap == again.specificTrap);
  expect(trap.timeStamp == again.timeStamp && trap.communityLength == again.communityLength);
  void* rewritten = nullptr;
  std::uint32_t rewritten_length = 0;
  expect(ox::snmp::encode_trap(&again, rewritten, rewritten_length) == OX_OK);
  expect(length == rewritten_length && std::memcmp(wire, rewritten, length) == 0);
  oxcMemFree(wire);
  oxcMemFree(rewritten);
  oxsSnmpTrapFree(&again);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  oxsSnmpTrap trap{};
  const OX_RESULT result = ox::snmp::decode_trap(data, static_cast<std::uint32_t>(size), trap);
  expect(result == OX_OK || (result == OX_EDECODE && trap.bindings == nullptr && trap.community == nullptr));
  if (result != OX_OK) return 0;
  visit(trap);
  send_again(trap);
  oxsSnmpTrapFree(&trap);
  return 0;
}
