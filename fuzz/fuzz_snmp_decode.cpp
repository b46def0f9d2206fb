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

std::string encoded(const oxsSnmpMessage& message) {
  void* block = nullptr;
  std::uint32_t size = 0;
  expect(ox::snmp::encode(&message, false, block, size) == OX_OK);
  std::string bytes(static_cast<char*>(block), size);
  (void)oxcMemFree(block);
  return bytes;
}

OX_RESULT decode(std::string_view bytes, oxsSnmpMessage& message) {
  return ox::snmp::decode(bytes.data(), static_cast<std::uint32_t>(bytes.size()), message);
}

std::string_view community(const oxsSnmpMessage& message) {
  return {reinterpret_cast<const char*>(message.community), message.communityLength};
}

}  // namespace

void ox::fuzz::run(std::string_view input) {
  oxsSnmpMessage message{}, again{};
  if (const OX_RESULT result = decode(input, message); result != OX_OK) {
    expect(result == OX_EDECODE && message.bindings == nullptr && message.community == nullptr);
    return;
  }
  visit(message.bindings);
  const std::string wire = encoded(message);
  expect(decode(wire, again) == OX_OK && encoded(again) == wire);
  expect(message.version == again.version && message.pduType == again.pduType &&
         community(message) == community(again));
  expect(message.requestId == again.requestId && message.errorStatus == again.errorStatus &&
         message.errorIndex == again.errorIndex);
  oxsSnmpFree(&message);
  oxsSnmpFree(&again);
}
