#include "event/evmsg.h"

#include <functional>
#include <utility>

#include <oxbase/oxc.h>

#include "common/pointer_result.h"
#include "common/trace.h"

namespace ox::event {
namespace {

// A text that lies behind its record goes with the record's block.
template <class Kind>
void release(const evmsg&, Kind& member) noexcept {
  field::clear(member);
}
void release(const evmsg& event, Text& member) noexcept {
  const char* const begin = reinterpret_cast<const char*>(&event + 1);
  const std::less<const char*> before;
  if (before(member.text, begin) || !before(member.text, begin + event.text_bytes)) return field::clear(member);
  member = {};
}
void release(const evmsg& event, Memo& member) noexcept { release(event, static_cast<Text&>(member)); }

// Whether a setter was given a value, and not one to be ignored.
[[nodiscard]] constexpr bool is_given(Number) noexcept { return true; }
[[nodiscard]] bool is_given(const char* text) noexcept { return text != nullptr && *text != '\0'; }
[[nodiscard]] bool is_given(const void* value) noexcept { return value != nullptr; }

// Marks a field that has got its value, and one that is about to lose it.
template <class Kind>
void mark(evmsg& event, const Field<Kind>& field) noexcept {
  event.present |= field.bit;
  event.wire_bytes += wire_size(event.*field.member);
}
template <class Kind>
void unmark(evmsg& event, const Field<Kind>& field) noexcept {
  if (event.has(field.bit)) event.wire_bytes -= wire_size(event.*field.member);
  event.present &= ~field.bit;
}

void free_event(evmsg* event) noexcept {
  every_field([&](const auto& field) {
    if (event->has(field.bit)) clear(*event, field);
    return true;
  });
  (void)oxcMemFree(event);
}

// From the middle of a list: the events before stay a list of their own.
void cut_before(evmsg* event) noexcept {
  evmsg* const before = event->prev;
  if (before == nullptr || before->next != event) return;
  evmsg* head = before;
  while (head->prev != nullptr && head->prev->next == head) head = head->prev;
  (void)oxcQueueSplit(&head, event);
}

std::uint32_t time_of(const void* element) noexcept {
  const evmsg* const event = *static_cast<const evmsg* const*>(element);
  return event != nullptr ? event->occur_time : 0;
}

}  // namespace

evmsg_ptr make_event(std::uint32_t text_bytes) noexcept {
  constexpr std::uint32_t fixed = sizeof(evmsg) + copy_step;
  if (text_bytes > UINT32_MAX - fixed) return nullptr;
  void* const block = oxcMemAlloc(fixed + text_bytes, "evmsg_000");
  if (block == nullptr) return nullptr;
  evmsg* const event = new (block) evmsg{};
  event->text_bytes = text_bytes;
  return evmsg_ptr(event);
}

// Copied whole before the old value goes: the new one may be the event's own.
template <class Kind>
OX_RESULT assign(evmsg& event, const Field<Kind>& field, typename field::Access<Kind>::In value) noexcept {
  if (!is_given(value)) return OX_OK;
  Kind copy{};
  if (const OX_RESULT result = field::assign(copy, value)) return result;
  clear(event, field);
  event.*field.member = copy;
  mark(event, field);
  return OX_OK;
}

template <class Kind>
void clear(evmsg& event, const Field<Kind>& field) noexcept {
  unmark(event, field);
  release(event, event.*field.member);
}

#define INSTANTIATE(Kind)                                                                                 \
  template OX_RESULT assign<Kind>(evmsg&, const Field<Kind>&, typename field::Access<Kind>::In) noexcept; \
  template void clear<Kind>(evmsg&, const Field<Kind>&) noexcept;
INSTANTIATE(Number)
INSTANTIATE(Text)
INSTANTIATE(Memo)
INSTANTIATE(NodeList)
INSTANTIATE(Address)
#undef INSTANTIATE

}  // namespace ox::event

using namespace ox;
using namespace ox::event;

evmsg* OX_CALL oxeEvmsgAlloc(void) {
  OX_ENTRY("oxeEvmsgAlloc", "");
  return traced_pointer("oxeEvmsgAlloc", [] { return make_event(0).release(); });
}

OX_RESULT OX_CALL oxeEvmsgFree(evmsg* list) {
  OX_ENTRY("oxeEvmsgFree", ":%x", trace::word(list));
  return traced("oxeEvmsgFree", [&]() -> OX_RESULT {
    if (list != nullptr) cut_before(list);
    while (list != nullptr) free_event(std::exchange(list, list->next));
    return OX_OK;
  });
}

evmsg* OX_CALL oxeEvmsgNext(const evmsg* event) {
  return traced_read("oxeEvmsgNext", event, [](const evmsg& it) { return it.next; });
}
evmsg* OX_CALL oxeEvmsgPrev(const evmsg* event) {
  return traced_read("oxeEvmsgPrev", event, [](const evmsg& it) { return it.prev; });
}

int OX_CALL oxeEvmsgTimeCmp(const void* a, const void* b) {
  OX_ENTRY("oxeEvmsgTimeCmp", ":%x:%x", trace::word(a), trace::word(b));
  // The wrap at 2^31 seconds is the comparison's own.
  return traced_number("oxeEvmsgTimeCmp", static_cast<std::int32_t>(time_of(a) - time_of(b)));
}
