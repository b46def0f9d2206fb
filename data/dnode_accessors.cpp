// The exported triples of the data node's fields.
#include <cstring>

#include <oxbase/oxb.h>

#include "common/trace.h"
#include "data/dnode_fields.h"

namespace ox::data {
namespace {

const char* view(const Text& field) noexcept { return field.text; }
template <class Number>
std::uint32_t view(Number field) noexcept {
  return field;
}

template <class Member, class Out>
OX_RESULT get_field(const dnode* node, const Field<Member>& field, Out* out) noexcept {
  if (node == nullptr || out == nullptr) return OX_EARG;
  if (!node->has(field.bit)) return field.absent;
  *out = view(node->*field.member);
  return OX_OK;
}

// Identifier and error code read as 0 when they are absent.
template <class Member>
OX_RESULT get_field_or_0(const dnode* node, const Field<Member>& field, std::uint32_t* out) noexcept {
  const OX_RESULT result = get_field(node, field, out);
  if (result == field.absent) *out = 0;
  return result;
}

OX_RESULT set_text(dnode* node, const Field<Text>& field, const char* text) noexcept {
  if (node == nullptr) return OX_EARG;
  if (text == nullptr || *text == '\0') return field.empty;
  return assign(*node, field, text, field.tags.set);
}

template <class Number>
OX_RESULT set_number(dnode* node, const Field<Number>& field, std::uint32_t value) noexcept {
  if (node == nullptr) return OX_EARG;
  node->*field.member = static_cast<Number>(value);
  node->present |= field.bit;
  return OX_OK;
}

template <class Member>
OX_RESULT clear_field(dnode* node, const Field<Member>& field) noexcept {
  if (node == nullptr) return OX_EARG;
  clear(*node, field);
  return OX_OK;
}

void drop_amib_entry(dnode& node) noexcept {
  node.amib_entry = 0;
  node.present &= ~bit::amib_entry;
}

OX_RESULT set_path(dnode* node, const char* name) noexcept {
  if (node == nullptr) return OX_EARG;
  const char* path = nullptr;
  const OX_RESULT result = access_path(name, path);
  return result == OX_OK ? set_amib_path(*node, path) : result;
}

OX_RESULT clear_path(dnode* node, const Field<Text>& field) noexcept {
  if (node != nullptr) drop_amib_entry(*node);
  return clear_field(node, field);
}

}  // namespace

OX_RESULT access_path(const char* name, const char*& path) noexcept {
  if (name == nullptr || *name == '\0') return OX_EAMIBNAME;
  // Taken as it stands, so that ".1.1.0" is not expanded; the tree is not needed for it.
  if (name[std::strspn(name, "0123456789.")] == '\0') {
    path = name;
    return OX_OK;
  }
  return oxbNumName(name, &path);
}

OX_RESULT set_amib_path(dnode& node, std::string_view path) noexcept {
  const OX_RESULT result = assign(node, fields::amib_name, path, fields::amib_name.tags.set);
  if (result == OX_OK) drop_amib_entry(node);
  return result;
}

OX_RESULT amib_entry_of(dnode& node, std::uint32_t& entry) noexcept {
  if (!node.has(bit::amib_name)) return OX_ENOAMIBNAME;
  if (!node.has(bit::amib_entry)) {
    std::uint32_t found = 0;
    if (const OX_RESULT result = oxbEntry(node.amib_name.text, &found); result != OX_OK) return result;
    node.amib_entry = found;
    node.present |= bit::amib_entry;
  }
  entry = node.amib_entry;
  return OX_OK;
}

void set_err_code(dnode& node, std::uint32_t code) noexcept { (void)set_number(&node, fields::err_code, code); }

}  // namespace ox::data

using namespace ox;
using namespace ox::data;

#define SETTER(Stem, Argument, format, shown, body)                    \
  OX_RESULT OX_CALL oxdSet##Stem(dnode* node, Argument value) {        \
    OX_ENTRY("oxdSet" #Stem, ":%x:" format, trace::word(node), shown); \
    return traced("oxdSet" #Stem, [&] { return body; });               \
  }
#define GETTER(Stem, Out, body)                                   \
  OX_RESULT OX_CALL oxdGet##Stem(const dnode* node, Out* value) { \
    OX_ENTRY("oxdGet" #Stem, ":%x", trace::word(node));           \
    return traced("oxdGet" #Stem, [&] { return body; });          \
  }
#define CLEARER(Stem, body)                              \
  OX_RESULT OX_CALL oxdClr##Stem(dnode* node) {          \
    OX_ENTRY("oxdClr" #Stem, ":%x", trace::word(node));  \
    return traced("oxdClr" #Stem, [&] { return body; }); \
  }

#define TEXT(Stem, row)                                                           \
  SETTER(Stem, const char*, "%s", trace::text(value), set_text(node, row, value)) \
  GETTER(Stem, const char*, get_field(node, row, value))                          \
  CLEARER(Stem, clear_field(node, row))
#define PATH(Stem, row)                                                      \
  SETTER(Stem, const char*, "%s", trace::text(value), set_path(node, value)) \
  GETTER(Stem, const char*, get_field(node, row, value))                     \
  CLEARER(Stem, clear_path(node, row))
#define NUMBER(Stem, row)                                           \
  SETTER(Stem, uint32_t, "%u", value, set_number(node, row, value)) \
  GETTER(Stem, uint32_t, get_field(node, row, value))               \
  CLEARER(Stem, clear_field(node, row))
#define NUMBER_OR_0(Stem, row)                                      \
  SETTER(Stem, uint32_t, "%u", value, set_number(node, row, value)) \
  GETTER(Stem, uint32_t, get_field_or_0(node, row, value))          \
  CLEARER(Stem, clear_field(node, row))
#define VALUE(Stem, row) CLEARER(Stem, clear_field(node, row))  // set and read in dnode_value.cpp

#define X(kind, Stem, member, absent, empty, copy_tag, decode_tag, set_tag) kind(Stem, fields::member)
OX_DNODE_FIELDS(X)
#undef X

OX_RESULT OX_CALL oxdGetAmibEntry(dnode* node, uint32_t* entry) {
  OX_ENTRY("oxdGetAmibEntry", ":%x", trace::word(node));
  return traced("oxdGetAmibEntry", [&] {
    if (node == nullptr || entry == nullptr) return OX_RESULT{OX_EARG};
    return amib_entry_of(*node, *entry);
  });
}
