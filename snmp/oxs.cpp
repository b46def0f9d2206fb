// The exported functions of the SNMP family.
#include <oxbase/oxs.h>

#include "common/trace.h"
#include "snmp/message.h"

namespace ox::snmp {
namespace {

// Asked once per process: an installation does not come or go under a running program.
bool installed() noexcept {
  static const bool answer = oxcIsOxbaseInstalled() != 0;
  return answer;
}

OX_RESULT encode_checked(const oxsSnmpMessage* message, bool first_null, void** buffer,
                         std::uint32_t* length) noexcept {
  if (buffer == nullptr || length == nullptr) return OX_EARG;
  *buffer = nullptr;
  *length = 0;
  return installed() ? encode(message, first_null, *buffer, *length) : OX_RESULT{OX_ENOTINSTALLED};
}

}  // namespace
}  // namespace ox::snmp

using namespace ox;

// The exit lines of the encoders end in a literal "[%l]": programs that read traces know them so.

OX_RESULT OX_CALL oxsSnmpEncode(const oxsSnmpMessage* message, void** buffer, uint32_t* length) {
  OX_TRACE(trace::general, "<S:oxsSnmpEncode()>\n");
  const OX_RESULT result = guarded([&] { return snmp::encode_checked(message, false, buffer, length); });
  OX_TRACE(trace::general, "%s", "<E:oxsSnmpEncode[%l]>\n");
  return result;
}

OX_RESULT OX_CALL oxsSnmpEncodeWithNull(const oxsSnmpMessage* message, void** buffer, uint32_t* length) {
  OX_TRACE(trace::general, "<S:oxsSnmpEncodeWithNull()>\n");
  const OX_RESULT result = guarded([&] { return snmp::encode_checked(message, true, buffer, length); });
  OX_TRACE(trace::general, "%s", "<E:oxsSnmpEncodeWithNull[%l]>\n");
  return result;
}

OX_RESULT OX_CALL oxsSnmpDecode(const void* buffer, uint32_t length, oxsSnmpMessage* message) {
  OX_TRACE(trace::general, "<S:oxsSnmpDecode()>\n");
  return traced_as(trace::general, "<E:oxsSnmpDecode[%d]>\n", [&]() -> OX_RESULT {
    if (message == nullptr) return OX_EARG;
    *message = oxsSnmpMessage{};
    if (buffer == nullptr) return OX_EARG;
    return snmp::installed() ? snmp::decode(buffer, length, *message) : OX_RESULT{OX_ENOTINSTALLED};
  });
}

OX_RESULT OX_CALL oxsSnmpFree(oxsSnmpMessage* message) {
  OX_ENTRY("oxsSnmpFree", ":%x", trace::word(message));
  return traced("oxsSnmpFree", [&] {
    if (message == nullptr) return OX_OK;
    (void)oxcMemFree(message->community);
    (void)oxdFree(message->bindings);
    message->community = nullptr;
    message->communityLength = 0;
    message->bindings = nullptr;
    return OX_OK;
  });
}
