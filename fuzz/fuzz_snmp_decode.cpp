// SNMP messages: what is accepted can be read, goes out again, and comes back as it was.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <oxbase/oxd.h>
#include <oxbase/oxs.h>

#include "snmp/message.h"

namespace {

void expect(bool condition) {
  if (!condition) std::abort();
}

// Reads every field; a node of an exception value, which cannot be sent, gets the value NULL.
void visit(dnode* list) {
  for (dnode* node = list; node != nullptr; node = oxdNext(node)) {
    const char* name = nullptr;
    expect(oxdGetAmibName(node, &name) == OX_OK && *name != '\0');
    if (oxdGetValueType(node) == -1) {
      std::uint32_t code = 0;
      expect(oxdGetErrCode(node, &code) == OX_OK && code == OX_ENOSUCHVALUE);
      expect(oxdSetValue(node, OX_NULL, 0, 0) == OX_OK);
    }
    expect(oxdGetValueByStr(node) != nullptr);
  }
}

void expect_same(const oxsSnmpMessage& a, const oxsSnmpMessage& b) {
  expect(a.version == b.version && a.pduType == b.pduType && a.requestId == b.requestId);
  expect(a.errorStatus == b.errorStatus && a.errorIndex == b.errorIndex);
  expect(a.communityLength == b.communityLength && std::memcmp(a.community, b.community, a.communityLength) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  oxsSnmpMessage message{};
  const OX_RESULT result = ox::snmp::decode(data, static_cast<std::uint32_t>(size), message);
  expect(result == OX_OK || (result == OX_EDECODE && message.bindings == nullptr && message.community == nullptr));
  if (result != OX_OK) return 0;
  visit(message.bindings);
  void* wire = nullptr;
  std::uint32_t length = 0;
  expect(ox::snmp::encode(&message, false, wire, length) == OX_OK);
  oxsSnmpMessage again{};
  expect(ox::snmp::decode(wire, length, again) == OX_OK);
  expect_same(message, again);
  void* rewritten = nullptr;
  std::uint32_t rewritten_length = 0;
  expect(ox::snmp::encode(&again, false, rewritten, rewritten_length) == OX_OK);
  expect(length == rewritten_length && std::memcmp(wire, rewritten, length) == 0);
  oxcMemFree(wire);
  oxcMemFree(rewritten);
  oxsSnmpFree(&message);
  oxsSnmpFree(&again);
  return 0;
}
