#include "snmp/bindings.h"

#include <algorithm>
#include <utility>

#include <oxbase/oxb.h>
#include <oxbase/oxc.h>

#include "common/bytes.h"
#include "data/value_types.h"
#include "snmp/scratch.h"

namespace ox::snmp {
namespace {

constexpr char tag[] = "dn_value_015";

// The error code of a node whose object or instance the agent does not have (RFC 3416, 4.2.1).
constexpr std::uint32_t no_such_value = OX_ENOSUCHVALUE;

// ---- Writing ----

std::string_view without_terminator(std::string_view text) noexcept {
  if (!text.empty() && text.back() == '\0') text.remove_suffix(1);
  return text;
}

// A block that a caller handed over as a value may have any size: what the form does not allow is refused here.
OX_RESULT put_value(ber::ReverseWriter& out, const data::Value& value) noexcept {
  const data::ValueType& type = data::value_type(value.type);
  const auto* bytes = static_cast<const unsigned char*>(value.bytes);
  switch (type.snmp_tag) {
    case ber::integer:
      if (value.size == 0) return OX_EENCODE;
      out.put_signed(bytes, value.size);
      return OX_OK;
    case ber::counter32:
    case ber::gauge32:
    case ber::time_ticks:
    case ber::counter64:
      if (value.size == 0) return OX_EENCODE;
      out.put_unsigned(type.snmp_tag, bytes, value.size);
      return OX_OK;
    case ber::ip_address:
      if (value.size != 4) return OX_EENCODE;
      out.put_octets(type.snmp_tag, bytes, value.size);
      return OX_OK;
    case ber::octet_string: {
      const std::string_view octets =
          type.stored == data::Stored::text ? without_terminator(value.view()) : value.view();
      out.put_octets(type.snmp_tag, octets.data(), octets.size());
      return OX_OK;
    }
    case ber::object_identifier:
      return out.put_identifier(without_terminator(value.view())) ? OX_OK : OX_EENCODE;
    case ber::null:
      out.put_null();
      return OX_OK;
    default:
      return OX_EENCODE;
  }
}

OX_RESULT put_binding(ber::ReverseWriter& out, const dnode& node, bool null_value) noexcept {
  const std::size_t before = out.size();
  if (null_value) {
    out.put_null();
  } else if (!node.has(data::bit::value)) {
    return OX_EENCODE;
  } else if (const OX_RESULT result = put_value(out, node.value); result != OX_OK) {
    return result;
  }
  const data::Text& name = node.amib_name;
  if (!out.put_identifier(name.text != nullptr ? std::string_view(name.text, name.size - 1) : std::string_view())) {
    return OX_EENCODE;
  }
  out.close(ber::sequence, before);
  return OX_OK;
}

// ---- Reading ----

OX_RESULT take_name(const ber::Element& element, dnode& node) noexcept {
  if (element.tag != ber::object_identifier || element.size == 0) return OX_EDECODE;
  Scratch<512> text(ber::identifier_text_bound(element.size));
  if (!text) return OX_ENOMEM;
  std::size_t size = 0;
  if (!ber::identifier_text(element, text.chars(), size)) return OX_EDECODE;
  return data::set_amib_path(node, {text.chars(), size});
}

// The type that the tree gives the node's attribute; 0 without a tree and for a name that the tree does not know.
std::uint32_t type_in_tree(dnode& node) noexcept {
  std::uint32_t entry = 0;
  return data::amib_entry_of(node, entry) == OX_OK && entry != 0 ? oxbAmibType(entry) : 0;
}

std::uint32_t type_of_octets(dnode& node) noexcept {
  switch (const std::uint32_t type = type_in_tree(node)) {
    case OX_DISPLAYSTRING:
    case OX_PHYSADDRESS:
    case OX_IPV6ADDRESS:
    case OX_IPV6PREFIX:
    case OX_IPV6IFID:
      return type;
    default:
      return OX_OCTETSTRING;
  }
}

OX_RESULT store(dnode& node, std::uint32_t type, const void* bytes, std::size_t size) noexcept {
  unsigned char* const room = data::new_value(node, type, static_cast<std::uint32_t>(size), tag);
  if (room == nullptr) return OX_ENOMEM;
  if (size != 0) std::memcpy(room, bytes, size);
  return OX_OK;
}

template <class Number>
OX_RESULT store_number(dnode& node, std::uint32_t type, Number value) noexcept {
  const Number wire = big_endian(value);
  return store(node, type, &wire, sizeof wire);
}

template <class Number>
OX_RESULT take_unsigned(const ber::Element& element, dnode& node, std::uint32_t type) noexcept {
  Number value = 0;
  return ber::unsigned_of(element, value) ? store_number(node, type, value) : OX_RESULT{OX_EDECODE};
}

OX_RESULT take_signed(const ber::Element& element, dnode& node) noexcept {
  std::uint32_t value = 0;
  return ber::signed_of(element, value) ? store_number(node, OX_INTEGER, value) : OX_RESULT{OX_EDECODE};
}

OX_RESULT take_address(const ber::Element& element, dnode& node) noexcept {
  if (element.size != 4) return OX_EDECODE;
  const std::uint32_t type = type_in_tree(node) == OX_NETWORKADDRESS ? OX_NETWORKADDRESS : OX_IPADDRESS;
  return store(node, type, element.content, 4);
}

// A text gets a zero byte that it counts, and keeps zeros that the agent sent inside it.
OX_RESULT take_octets(const ber::Element& element, dnode& node) noexcept {
  std::size_t size = 0;
  if (!ber::octets_of(element, nullptr, size)) return OX_EDECODE;
  if (size >= UINT32_MAX - 1) return OX_ENOMEM;
  const std::uint32_t type = type_of_octets(node);
  const bool counted = data::value_type(type).stored == data::Stored::text;
  unsigned char* const room = data::new_value(node, type, static_cast<std::uint32_t>(size) + counted, tag);
  if (room == nullptr) return OX_ENOMEM;
  (void)ber::octets_of(element, room, size);
  if (counted) room[size] = 0;
  return OX_OK;
}

OX_RESULT take_identifier(const ber::Element& element, dnode& node) noexcept {
  Scratch<1024> text(ber::identifier_text_bound(element.size));
  if (!text) return OX_ENOMEM;
  std::size_t size = 0;
  if (!ber::identifier_text(element, text.chars(), size)) return OX_EDECODE;
  text.chars()[size++] = '\0';
  return store(node, OX_OBJECTID, text.bytes(), size);
}

OX_RESULT take_value(const ber::Element& element, dnode& node) noexcept {
  switch (element.tag) {
    case ber::integer:
      return take_signed(element, node);
    case ber::counter32:
      return take_unsigned<std::uint32_t>(element, node, OX_COUNTER);
    case ber::gauge32:
      return take_unsigned<std::uint32_t>(element, node, OX_GAUGE);
    case ber::time_ticks:
      return take_unsigned<std::uint32_t>(element, node, OX_TIMETICKS);
    case ber::counter64:
      return take_unsigned<std::uint64_t>(element, node, OX_COUNTER64);
    case ber::octet_string:
    case ber::constructed_octet_string:
      return take_octets(element, node);
    case ber::object_identifier:
      return take_identifier(element, node);
    case ber::ip_address:
      return take_address(element, node);
    case ber::opaque:
      return store(node, OX_OPAQUE, element.content, element.size);
    case ber::null:
      return store(node, OX_NULL, "", 1);
    case ber::no_such_object:
    case ber::no_such_instance:
    case ber::end_of_mib_view:
      data::set_err_code(node, no_such_value);
      return OX_OK;
    default:
      return OX_EDECODE;
  }
}

}  // namespace

BindingsExtent extent_of_bindings(const dnode* list) noexcept {
  constexpr std::uint32_t headers = 3 * ber::header_bound;  // of the binding, its name and its value
  BindingsExtent extent{ber::header_bound, nullptr};
  for (const dnode* node = list; node != nullptr; node = node->next) {
    extent.bound += headers + std::uint64_t{node->amib_name.size} + ber::identifier_bound + node->value.size +
                    std::max(ber::identifier_bound, ber::number_bound);
    extent.last = node;
  }
  return extent;
}

OX_RESULT put_each_binding(ber::ReverseWriter& out, const dnode* list, const dnode* last, bool first_null) noexcept {
  for (const dnode* node = last; node != nullptr; node = node == list ? nullptr : node->prev) {
    const OX_RESULT result = put_binding(out, *node, first_null && node == list);
    if (result != OX_OK) return result;
  }
  return OX_OK;
}

OX_RESULT put_bindings(ber::ReverseWriter& out, const dnode* list, const dnode* last, bool first_null) noexcept {
  const std::size_t before = out.size();
  const OX_RESULT result = put_each_binding(out, list, last, first_null);
  if (result == OX_OK) out.close(ber::sequence, before);
  return result;
}

bool open_binding(const ber::Element& element, Binding& binding) noexcept {
  constexpr int depth = 4;  // in the list, in the PDU, in the message
  ber::ElementReader fields(element);
  return element.tag == ber::sequence && fields.next(binding.name) && fields.next(binding.value) &&
         ber::well_formed(binding.value, depth + 1) && ber::rest_is_well_formed(fields, depth + 1);
}

OX_RESULT take_binding(const Binding& binding, Unreadable unreadable, data::dnode_ptr& node) noexcept {
  data::dnode_ptr made = data::make_dnode();
  if (!made) return OX_ENOMEM;
  OX_RESULT result = take_name(binding.name, *made);
  if (result != OX_OK) return result;
  result = take_value(binding.value, *made);
  if (result == OX_EDECODE && unreadable == Unreadable::fails_alone) {
    data::set_err_code(*made, OX_EDECODE);
    result = OX_OK;
  }
  if (result == OX_OK) node = std::move(made);
  return result;
}

void BindingList::add(data::dnode_ptr node) noexcept {
  dnode* head = first_.release();
  (void)oxcQueueAdd(&head, node.release());
  first_.reset(head);
}

OX_RESULT take_bindings(const ber::Element& element, Unreadable unreadable, data::dnode_ptr& list) noexcept {
  BindingList made;
  ber::ElementReader bindings(element);
  while (!bindings.at_end()) {
    ber::Element field;
    Binding binding;
    if (!bindings.next(field) || !open_binding(field, binding)) return OX_EDECODE;
    data::dnode_ptr node;
    if (const OX_RESULT result = take_binding(binding, unreadable, node); result != OX_OK) return result;
    made.add(std::move(node));
  }
  list = made.take();
  return OX_OK;
}

}  // namespace ox::snmp
