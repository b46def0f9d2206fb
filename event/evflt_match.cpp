// What a filter says of one event, and of a list.
#include <oxbase/oxc.h>

#include "common/trace.h"
#include "event/evflt.h"

namespace ox::event {
namespace {

// Tests of one criterion: met(value, field of the event, whether the event has it).
struct AtLeast {
  static bool met(Number value, Number field, bool present) noexcept { return present && field >= value; }
};
struct AtMost {
  static bool met(Number value, Number field, bool present) noexcept { return present && field <= value; }
};
struct Equal {
  static bool met(Number value, Number field, bool present) noexcept { return present && field == value; }
  static bool met(const Address& value, const Address& field, bool present) noexcept {
    return present && std::memcmp(value.bytes, field.bytes, sizeof value.bytes) == 0;
  }
};
struct Matches {
  static bool met(const Text& value, const Text& field, bool present) noexcept {
    return present && oxcRegMatch(value.text, field.text) != 0;
  }
};
struct Matches2 {  // file names have a matcher of their own
  static bool met(const Text& value, const Text& field, bool present) noexcept {
    return present && oxcRegMatch2(value.text, field.text) != 0;
  }
};
struct InClass {
  static bool met(Number value, Number field, bool present) noexcept {
    if (!present) return false;
    if (value >= 1 && value <= 4) return (field & OX_EVENT_LEVELLED) != 0 && (field & OX_EVENT_LEVEL) >= value;
    return (value == OX_EVENT_SECOND || value == OX_EVENT_TRAP) && (field & value) != 0;
  }
};
template <std::uint32_t bit>
struct FlagBit {  // an absent flag word is 0, as an absent number is in the record
  static bool met(Number value, Number field, bool) noexcept { return ((field & bit) != 0) == (value != 0); }
};
struct OfLists {
  static bool met(Number, Number, bool) noexcept { return true; }
};

bool passes(const evmsg& event, const evflt& filter) noexcept {
#define X(kind, member, criterion, test, field) \
  &&(!filter.has(criterion) || test::met(filter.member, event.field, event.has(fields::field.bit)))
  return true OX_EVFLT_CRITERIA(X);
#undef X
}

void keep_first(evmsg** list, std::uint32_t count) noexcept {
  evmsg* event = *list;
  for (; event != nullptr && count != 0; --count) event = event->next;
  if (event == nullptr) return;
  (void)oxcQueueSplit(list, event);
  (void)oxeEvmsgFree(event);
}

void keep_last(evmsg** list, std::uint32_t count) noexcept {
  evmsg* event = (*list)->prev;
  if (event == nullptr) return;  // one event that was never on a list
  for (; event != *list && count > 1; --count) event = event->prev;
  if (event == *list) return;
  evmsg* const before = *list;
  (void)oxcQueueSplit(list, event);
  *list = event;
  (void)oxeEvmsgFree(before);
}

}  // namespace
}  // namespace ox::event

using namespace ox;

uint32_t OX_CALL oxeEvfltMatch(const evmsg* event, const evflt* filter) {
  OX_ENTRY("oxeEvfltMatch", ":%x:%x", trace::word(event), trace::word(filter));
  return traced("oxeEvfltMatch", [&]() -> std::uint32_t {
    if (event == nullptr) return 0;
    return filter == nullptr || event::passes(*event, *filter) ? 1 : 0;
  });
}

void OX_CALL oxeEvfltFirstLast(evmsg** list, const evflt* filter) {
  OX_ENTRY("oxeEvfltFirstLast", ":%x:%x", trace::word(list), trace::word(filter));
  if (list != nullptr && *list != nullptr && filter != nullptr) {
    if (filter->has(OX_EVFLT_FIRST)) {
      event::keep_first(list, filter->first);
    } else if (filter->has(OX_EVFLT_LAST)) {
      event::keep_last(list, filter->last);
    }
  }
  OX_TRACE(trace::general, "<E:oxeEvfltFirstLast>\n");
}
