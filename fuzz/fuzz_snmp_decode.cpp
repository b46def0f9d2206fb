// SNMP messages: what is accepted can be read, goes out again, and comes back as it was.
#include <oxbase/oxd.h>
#include <oxbase/oxs.h>

#include "fuzz/target.h"
#include "snmp/message.h"

namespace {

using ox::fuzz::expect;

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

OX_RESULT encode(const oxsSnmpMessage& message, void** block, std::uint32_t* size) {
  return ox::snmp::encode(&message, false, *block, *size);
}
OX_RESULT decode(const void* bytes, std::uint32_t size, oxsSnmpMessage* message) {
  return ox::snmp::decode(bytes, size, *message);
}
int release(oxsSnmpMessage& message) { return oxsSnmpFree(&message), 0; }

std::string_view community(const oxsSnmpMessage& message) {
  return {reinterpret_cast<const char*>(message.community), message.communityLength};
}

bool same(const oxsSnmpMessage& a, const oxsSnmpMessage& b) {
  return a.version == b.version && a.pduType == b.pduType && community(a) == community(b) &&
         a.requestId == b.requestId && a.errorStatus == b.errorStatus && a.errorIndex == b.errorIndex;
}

}  // namespace

void ox::fuzz::run(std::string_view input) {
  oxsSnmpMessage message{};
  if (const OX_RESULT result = decode(input.data(), static_cast<std::uint32_t>(input.size()), &message)) {
    expect(result == OX_EDECODE && message.bindings == nullptr && message.community == nullptr);
    return;
  }
  visit(message.bindings);
  stable(message, decode, encode, release, same);
}
