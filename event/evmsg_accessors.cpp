// The exported triples of the event's fields.
#include "common/trace.h"
#include "event/evmsg.h"

namespace ox::event {
namespace {

using field::Access;

template <class Kind>
OX_RESULT get_field(const evmsg* event, const Field<Kind>& field, typename Access<Kind>::Out out) noexcept {
  if (event == nullptr || out == nullptr) return OX_EARG;
  if (!event->has(field.bit)) return OX_EABSENT;
  field::give(event->*field.member, out);
  return OX_OK;
}

template <class Kind>
OX_RESULT set_field(evmsg* event, const Field<Kind>& field, typename Access<Kind>::In value) noexcept {
  if (event == nullptr) return OX_EARG;
  return assign(*event, field, value);
}

template <class Kind>
OX_RESULT clear_field(evmsg* event, const Field<Kind>& field) noexcept {
  if (event == nullptr) return OX_EARG;
  clear(*event, field);
  return OX_OK;
}

}  // namespace
}  // namespace ox::event

using namespace ox;
using namespace ox::event;

#define X(kind, Stem, member, bit)                                                               \
  OX_RESULT OX_CALL oxeEvmsgGet##Stem(const evmsg* event, Access<event::kind>::Out out) {        \
    OX_ENTRY("oxeEvmsgGet" #Stem, ":%x", trace::word(event));                                    \
    return traced("oxeEvmsgGet" #Stem, [&] { return get_field(event, fields::member, out); });   \
  }                                                                                              \
  OX_RESULT OX_CALL oxeEvmsgSet##Stem(evmsg* event, Access<event::kind>::In value) {             \
    OX_ENTRY("oxeEvmsgSet" #Stem, ":%x", trace::word(event));                                    \
    return traced("oxeEvmsgSet" #Stem, [&] { return set_field(event, fields::member, value); }); \
  }                                                                                              \
  OX_RESULT OX_CALL oxeEvmsgClr##Stem(evmsg* event) {                                            \
    OX_ENTRY("oxeEvmsgClr" #Stem, ":%x", trace::word(event));                                    \
    return traced("oxeEvmsgClr" #Stem, [&] { return clear_field(event, fields::member); });      \
  }
OX_EVMSG_FIELDS(X)
#undef X
