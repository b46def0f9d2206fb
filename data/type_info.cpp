// Value types as applications see them.
#include <oxbase/oxd.h>

#include "common/trace.h"
#include "data/value_types.h"

namespace ox {
namespace {

using data::Stored;

struct Form {
  std::uint32_t form;
  std::uint32_t size;
};

Form form_of(std::uint32_t code) noexcept {
  switch (data::value_type(code).stored) {
    case Stored::none:
      return {OXD_NO_VALUE, 0};
    case Stored::number32:
      return {code == OX_INTEGER ? OXD_SIGNED32 : OXD_UNSIGNED32, 4};
    case Stored::address:
      return {OXD_ADDRESS, 4};
    case Stored::bytes:
      return {OXD_BYTES, 0};
    case Stored::terminated:
      return {OXD_OCTETS, 0};
    case Stored::text:
      return {OXD_TEXT, 0};
    case Stored::mark:
      return {OXD_MARK, 1};
    case Stored::number64:
      return {OXD_UNSIGNED64, 8};
    case Stored::ipx:
      return {OXD_BYTES, 10};
  }
  return {OXD_NO_VALUE, 0};
}

}  // namespace
}  // namespace ox

using namespace ox;

static_assert(OXD_TYPES == value_type_count);

OX_RESULT OX_CALL oxdTypeInfo(uint32_t code, oxdType* info) {
  OX_ENTRY("oxdTypeInfo", ":%u:%x", code, trace::word(info));
  return traced("oxdTypeInfo", [&]() -> OX_RESULT {
    if (info == nullptr) return OX_EARG;
    const char* const keyword = code < value_type_count ? value_type_names[code].keyword : nullptr;
    const Form form = form_of(code);
    if (keyword == nullptr && form.form == OXD_NO_VALUE) return OX_EVALUETYPE;
    *info = {code, keyword, form.form, form.size, is_leaf_type(code) ? 1u : 0u};
    return OX_OK;
  });
}
