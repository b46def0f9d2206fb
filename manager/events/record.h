// Owners of events, and their bytes.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include <oxbase/oxe.h>

#include "manager/base/component_name.h"
#include "manager/base/payload.h"

namespace ox::manager {

struct FreeEvents {
  void operator()(evmsg* list) const noexcept { (void)oxeEvmsgFree(list); }
};
// Owns an event and those behind it.
using EventPtr = std::unique_ptr<evmsg, FreeEvents>;

struct FreeFilter {
  void operator()(evflt* filter) const noexcept { (void)oxeEvfltFree(filter); }
};
using FilterPtr = std::unique_ptr<evflt, FreeFilter>;

// Decodes a list of events: 0; 56 without an event; 1 for bytes that are none; 3.
[[nodiscard]] OX_RESULT decode_events(std::span<const std::byte> bytes, EventPtr& list);

// The first event of a list, in the current encoding, or in the older one, which cannot hold every event: no bytes
// then. Throws std::bad_alloc.
[[nodiscard]] Bytes encode_event(const evmsg* event);
[[nodiscard]] Bytes encode_event_r21(const evmsg* event);

// The sender of the manager's own events.
inline constexpr char own_name[] = "oxmgrd";

// An event of the manager about itself. Throws std::bad_alloc.
[[nodiscard]] EventPtr own_event(std::uint32_t level, const std::string& summary, const std::string& detail);

using NumberGetter = OX_RESULT(OX_CALL*)(const evmsg*, std::uint32_t*);
using TextGetter = OX_RESULT(OX_CALL*)(const evmsg*, const char**);

// The component that it names, as it names it.
[[nodiscard]] ComponentName component_of(const evmsg* event);

// The field; 0 or an empty text when it is absent.
[[nodiscard]] std::uint32_t number_of(const evmsg* event, NumberGetter get);
[[nodiscard]] std::string text_of(const evmsg* event, TextGetter get);

}  // namespace ox::manager
