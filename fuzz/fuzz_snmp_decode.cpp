// SNMP messages: what is accepted can be read, goes out again, and comes back as it was.
#include <oxbase/oxd.h>
#include <oxbase/oxs.h>

#include "fuzz/target.h"
#include "snmp/message.h"

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

std::string_view community(const oxsSnmpMessage& message) {
  return {reinterpret_cast<const char*>(message.community), message.communityLength};
}

bool same(const oxsSnmpMessage& a, const oxsSnmpMessage& b) {
  return a.version == b.version && a.pduType == b.pduType && community(a) == community(b) &&
         a.requestId == b.requestId && a.errorStatus == b.errorStatus && a.errorIndex == b.errorIndex;
}

void run(std::string_view input, Unreadable unreadable) {
  oxsSnmpMessage message{};
  const auto size = static_cast<std::uint32_t>(input.size());
  if (const OX_RESULT result = ox::snmp::decode(input.data(), size, unreadable, message)) {
    expect(result == OX_EDECODE && message.bindings == nullptr && message.community == nullptr);
    return;
  }
  visit(message.bindings, unreadable);
  ox::fuzz::stable(message, decode, encode, release, same);
}

}  // namespace

void ox::fuzz::run(std::string_view input) {
  ::run(input, Unreadable::refused);
  ::run(input, Unreadable::fails_alone);
}
