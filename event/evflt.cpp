#include "event/evflt.h"

#include <type_traits>

#include <oxbase/oxc.h>

#include "common/pointer_result.h"
#include "common/trace.h"

namespace ox::event {
namespace {

template <class Kind>
void clear(evflt& filter, const Criterion<Kind>& criterion) noexcept {
  field::clear(filter.*criterion.member);
  filter.on &= ~criterion.bit;
}

OX_RESULT set(evflt& filter, const Criterion<Number>& criterion, std::uintptr_t value) noexcept {
  filter.*criterion.member = static_cast<Number>(value);
  filter.on |= criterion.bit;
  return OX_OK;
}

// An empty pattern would match nothing here and travel as an absent one, which matches everything.
template <class AnyText>
OX_RESULT set(evflt& filter, const Criterion<AnyText>& criterion, std::uintptr_t value) noexcept {
  const char* const pattern = reinterpret_cast<const char*>(value);
  if (pattern == nullptr || *pattern == '\0') return OX_EMISSING;
  if (const OX_RESULT result = field::assign(filter.*criterion.member, pattern)) return result;
  filter.on |= criterion.bit;
  return OX_OK;
}

OX_RESULT set(evflt& filter, const Criterion<Address>& criterion, std::uintptr_t value) noexcept {
  if (value == 0) return OX_EMISSING;
  (void)field::assign(filter.*criterion.member, reinterpret_cast<const void*>(value));
  filter.on |= criterion.bit;
  return OX_OK;
}

OX_RESULT switch_on(evflt& filter, std::uint32_t bit, std::uintptr_t value) noexcept {
  constexpr std::uint32_t counts = OX_EVFLT_FIRST | OX_EVFLT_LAST;
  if ((bit == OX_EVFLT_FIRST || bit == OX_EVFLT_LAST) && filter.has(counts & ~bit)) return OX_EEXCLUSIVE;
  OX_RESULT result = OX_EMISSING;
  (void)every_criterion([&](const auto& criterion) {
    if (criterion.bit != bit) return true;
    result = set(filter, criterion, value);
    return false;
  });
  if ((filter.has(OX_EVFLT_FIRST) && filter.first == 0) || (filter.has(OX_EVFLT_LAST) && filter.last == 0)) {
    filter.on &= ~counts;
    result = OX_EMISSING;
  }
  return result;
}

template <class Kind>
bool number_of(const evflt& filter, const Criterion<Kind>& criterion, std::uint32_t& value) noexcept {
  if constexpr (std::is_same_v<Kind, Number>) value = filter.*criterion.member;
  return std::is_same_v<Kind, Number> && filter.has(criterion.bit);
}

void switch_off(evflt& filter, std::uint32_t bit) noexcept {
  (void)every_criterion([&](const auto& criterion) {
    if (criterion.bit == bit) clear(filter, criterion);
    return true;
  });
}

}  // namespace

evflt_ptr make_filter() noexcept { return evflt_ptr(make_tracked<evflt>("evflt_000").release()); }

}  // namespace ox::event

using namespace ox;

evflt* OX_CALL oxeEvfltAlloc(void) {
  OX_ENTRY("oxeEvfltAlloc", "");
  return traced_pointer("oxeEvfltAlloc", [] { return event::make_filter().release(); });
}

OX_RESULT OX_CALL oxeEvfltFree(evflt* filter) {
  OX_ENTRY("oxeEvfltFree", ":%x", trace::word(filter));
  return traced("oxeEvfltFree", [&]() -> OX_RESULT {
    if (filter == nullptr) return OX_OK;
    (void)event::every_criterion([&](const auto& criterion) {
      field::clear(filter->*criterion.member);
      return true;
    });
    return oxcMemFree(filter);
  });
}

OX_RESULT OX_CALL oxeEvfltSet(evflt* filter, uint32_t bit, uintptr_t value) {
  OX_ENTRY("oxeEvfltSet", ":%x:%x:%x", trace::word(filter), bit, static_cast<std::uint32_t>(value));
  return traced("oxeEvfltSet", [&]() -> OX_RESULT {
    if (filter == nullptr) return OX_EARG;
    return event::switch_on(*filter, bit, value);
  });
}

OX_RESULT OX_CALL oxeEvfltClr(evflt* filter, uint32_t bit) {
  OX_ENTRY("oxeEvfltClr", ":%x:%x", trace::word(filter), bit);
  return traced("oxeEvfltClr", [&]() -> OX_RESULT {
    if (filter == nullptr) return OX_EARG;
    event::switch_off(*filter, bit);
    return OX_OK;
  });
}

OX_RESULT OX_CALL oxeEvfltGetNumber(const evflt* filter, uint32_t bit, uint32_t* value) {
  OX_ENTRY("oxeEvfltGetNumber", ":%x:%x:%x", trace::word(filter), bit, trace::word(value));
  return traced("oxeEvfltGetNumber", [&]() -> OX_RESULT {
    if (filter == nullptr || value == nullptr) return OX_EARG;
    OX_RESULT result = OX_ENOTFOUND;
    (void)event::every_criterion([&](const auto& criterion) {
      std::uint32_t number = 0;
      if (criterion.bit != bit || !event::number_of(*filter, criterion, number)) return true;
      *value = number;
      result = OX_OK;
      return false;
    });
    return result;
  });
}
