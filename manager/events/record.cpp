#include "manager/events/record.h"

#include <new>

#include <oxbase/oxc.h>

namespace ox::manager {
namespace {

Bytes taken(void* buffer, std::uint32_t length) {
  const std::unique_ptr<void, decltype(&oxcMemFree)> owner(buffer, oxcMemFree);
  const auto* const first = static_cast<const std::byte*>(buffer);
  return {first, first + length};
}

}  // namespace

OX_RESULT decode_events(std::span<const std::byte> bytes, EventPtr& list) {
  evmsg* read = nullptr;
  if (const OX_RESULT result = oxeEvmsgDecode(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &read)) {
    return result;
  }
  if (read == nullptr) return OX_EINCOMPLETE;
  list.reset(read);
  return OX_OK;
}

Bytes encode_event(const evmsg* event) {
  void* buffer = nullptr;
  std::uint32_t length = 0;
  if (oxeEvmsgEncode(event, &buffer, &length, 1) != OX_OK) throw std::bad_alloc();
  return taken(buffer, length);
}

Bytes encode_event_r21(const evmsg* event) {
  void* buffer = nullptr;
  std::uint32_t length = 0;
  const OX_RESULT result = oxeEvmsgEncodeR21(event, &buffer, &length);
  if (result == OX_ENOMEM) throw std::bad_alloc();
  return result == OX_OK ? taken(buffer, length) : Bytes();
}

EventPtr own_event(std::uint32_t level, const std::string& summary, const std::string& detail) {
  EventPtr event(oxeEvmsgAlloc());
  if (!event || oxeEvmsgSetEventType(event.get(), OX_EVENT_LEVELLED | level) != OX_OK ||
      oxeEvmsgSetCompType(event.get(), "system") != OX_OK || oxeEvmsgSetCompName(event.get(), "system") != OX_OK ||
      oxeEvmsgSetOptMsg(event.get(), summary.c_str()) != OX_OK ||
      oxeEvmsgSetMemo(event.get(), detail.c_str()) != OX_OK) {
    throw std::bad_alloc();
  }
  return event;
}

std::uint32_t number_of(const evmsg* event, NumberGetter get) {
  std::uint32_t number = 0;
  return get(event, &number) == OX_OK ? number : 0;
}

std::string text_of(const evmsg* event, TextGetter get) {
  const char* text = nullptr;
  return get(event, &text) == OX_OK ? text : std::string();
}

ComponentName component_of(const evmsg* event) {
  return {text_of(event, &oxeEvmsgGetCompType), text_of(event, &oxeEvmsgGetCompName)};
}

}  // namespace ox::manager
