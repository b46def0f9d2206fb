// The exported functions of the SNMP family.
#include <oxbase/oxs.h>

#include "common/trace.h"
#include "snmp/message.h"
#include "snmp/trap.h"

namespace ox::snmp {
namespace {

// Asked once per process: an installation does not come or go under a running program.
bool installed() noexcept {
  static const bool answer = oxcIsOxbaseInstalled() != 0;
  return answer;
}

// Runs an encoder on outputs that hold nothing until it succeeds.
template <class Encoder>
OX_RESULT encode_checked(void** buffer, std::uint32_t* length, Encoder encoder) noexcept {
  if (buffer == nullptr || length == nullptr) return OX_EARG;
  *buffer = nullptr;
  *length = 0;
  return installed() ? encoder(*buffer, *length) : OX_RESULT{OX_ENOTINSTALLED};
}

OX_RESULT encode_message(const oxsSnmpMessage* message, bool first_null, void** buffer,
                         std::uint32_t* length) noexcept {
  return encode_checked(buffer, length,
                        [&](void*& block, std::uint32_t& size) { return encode(message, first_null, block, size); });
}

OX_RESULT decode_message(const void* buffer, std::uint32_t length, Unreadable unreadable,
                         oxsSnmpMessage* message) noexcept {
  if (message == nullptr) return OX_EARG;
  *message = oxsSnmpMessage{};
  if (buffer == nullptr) return OX_EARG;
  return installed() ? decode(buffer, length, unreadable, *message) : OX_RESULT{OX_ENOTINSTALLED};
}

}  // namespace
}  // namespace ox::snmp

using namespace ox;

// The exit lines of the message encoders end in a literal "[%l]": programs that read traces know them so.

OX_RESULT OX_CALL oxsSnmpEncode(const oxsSnmpMessage* message, void** buffer, uint32_t* length) {
  OX_TRACE(trace::general, "<S:oxsSnmpEncode()>\n");
  const OX_RESULT result = guarded([&] { return snmp::encode_message(message, false, buffer, length); });
  OX_TRACE(trace::general, "%s", "<E:oxsSnmpEncode[%l]>\n");
  return result;
}

OX_RESULT OX_CALL oxsSnmpEncodeWithNull(const oxsSnmpMessage* message, void** buffer, uint32_t* length) {
  OX_TRACE(trace::general, "<S:oxsSnmpEncodeWithNull()>\n");
  const OX_RESULT result = guarded([&] { return snmp::encode_message(message, true, buffer, length); });
  OX_TRACE(trace::general, "%s", "<E:oxsSnmpEncodeWithNull[%l]>\n");
  return result;
}

OX_RESULT OX_CALL oxsSnmpDecode(const void* buffer, uint32_t length, oxsSnmpMessage* message) {
  OX_TRACE(trace::general, "<S:oxsSnmpDecode()>\n");
  return traced_as(trace::general, "<E:oxsSnmpDecode[%d]>\n",
                   [&] { return snmp::decode_message(buffer, length, snmp::Unreadable::refused, message); });
}

OX_RESULT OX_CALL oxsSnmpDecodeEach(const void* buffer, uint32_t length, oxsSnmpMessage* message) {
  OX_ENTRY("oxsSnmpDecodeEach", ":%x:%u:%x", trace::word(buffer), length, trace::word(message));
  return traced("oxsSnmpDecodeEach",
                [&] { return snmp::decode_message(buffer, length, snmp::Unreadable::fails_alone, message); });
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

OX_RESULT OX_CALL oxsSnmpTrapEncode(const oxsSnmpTrap* trap, void** buffer, uint32_t* length) {
  OX_TRACE(trace::general, "<S:oxsSnmpTrapEncode()>\n");
  return traced_as(trace::general, "<E:oxsSnmpTrapEncode[%d]>\n", [&] {
    return snmp::encode_checked(buffer, length,
                                [&](void*& block, uint32_t& size) { return snmp::encode_trap(trap, block, size); });
  });
}

OX_RESULT OX_CALL oxsSnmpTrapDecode(const void* buffer, uint32_t length, oxsSnmpTrap* trap) {
  OX_TRACE(trace::general, "<S:oxsSnmpTrapDecode()>\n");
  return traced_as(trace::general, "<E:oxsSnmpTrapDecode[%d]>\n", [&]() -> OX_RESULT {
    if (trap == nullptr) return OX_EARG;
    *trap = oxsSnmpTrap{};
    if (buffer == nullptr) return OX_EARG;
    return snmp::installed() ? snmp::decode_trap(buffer, length, *trap) : OX_RESULT{OX_ENOTINSTALLED};
  });
}

OX_RESULT OX_CALL oxsSnmpInformAnswer(const void* buffer, uint32_t length, void** answer, uint32_t* answerLength) {
  OX_ENTRY("oxsSnmpInformAnswer", ":%x:%u", trace::word(buffer), length);
  return traced("oxsSnmpInformAnswer", [&] {
    return snmp::encode_checked(answer, answerLength, [&](void*& block, uint32_t& size) {
      return buffer != nullptr ? snmp::answer_inform(buffer, length, block, size) : OX_RESULT{OX_EARG};
    });
  });
}

OX_RESULT OX_CALL oxsSnmpTrapFree(oxsSnmpTrap* trap) {
  OX_ENTRY("oxsSnmpTrapFree", ":%x", trace::word(trap));
  return traced("oxsSnmpTrapFree", [&] {
    if (trap == nullptr) return OX_OK;
    (void)oxcMemFree(trap->community);
    (void)oxcMemFree(trap->enterprise);
    (void)oxdFree(trap->bindings);
    trap->community = nullptr;
    trap->communityLength = 0;
    trap->enterprise = nullptr;
    trap->bindings = nullptr;
    return OX_OK;
  });
}
