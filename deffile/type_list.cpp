#include "deffile/type_list.h"

#include <algorithm>
#include <array>

#include "common/ascii.h"
#include "common/memory.h"
#include "common/trace.h"

namespace ox {
namespace {

constexpr std::array<const char*, 6> node_kinds{"host", "printer", "commserver", "multiport", "modem", "repeater"};
constexpr oxcKeyword relation_classes[] = {{"include", 1}, {"included", 2},  {"refer", 3},   {"refered", 4},
                                           {"project", 5}, {"projected", 6}, {"coexist", 7}, {nullptr, 0}};
constexpr std::size_t longest_name = 63;

struct TypeDelete {
  void operator()(oxfType* type) const noexcept { free_type(type); }
};
struct RelationDelete {
  void operator()(oxfRelt* relation) const noexcept { free_relation(relation); }
};

char* copy_or_throw(std::string_view text, const char* tag) {
  auto copy = copy_text(std::string(text).c_str(), tag);
  if (!copy) out_of_memory();
  return copy.release();
}

void set_aliases(oxfType& type, const std::vector<std::string>& aliases) {
  if (type.alias_count != 0 || aliases.empty()) return;
  const auto size = static_cast<std::uint32_t>(aliases.size() * sizeof(char*));
  tracked_ptr<char*[]> array(static_cast<char**>(oxcMemZalloc(size, "type_alias_000")));
  if (!array) out_of_memory();
  std::vector<tracked_ptr<char[]>> copies;
  for (const std::string& alias : aliases) copies.push_back(tracked_ptr<char[]>(copy_or_throw(alias, "str_set")));
  for (std::size_t i = 0; i < copies.size(); ++i) array[i] = copies[i].release();
  type.aliases = array.release();
  type.alias_count = static_cast<std::uint32_t>(aliases.size());
}

bool answers_to(const oxfType& type, std::string_view name) noexcept {
  return type.name == name ||
         std::any_of(type.aliases, type.aliases + type.alias_count, [&](const char* alias) { return alias == name; });
}

// Null for a type that is not given.
OX_RESULT find_end(oxfType* types, const std::string& name, oxfType*& end) noexcept {
  if (name.empty()) return OX_OK;
  end = find_type(types, name);
  return end != nullptr ? OX_OK : OX_ECOMPTYPE;
}

}  // namespace

bool is_type_name(std::string_view name) noexcept {
  return !name.empty() && name.size() <= longest_name && std::all_of(name.begin(), name.end(), [](char c) {
    return is_digit(c) || is_letter(c) || c == '_' || c == '-';
  });
}

std::string_view own_type_name(std::string_view name) noexcept {
  return std::find(node_kinds.begin(), node_kinds.end(), name) != node_kinds.end() ? "node" : name;
}

bool matches_node_kind(const char* pattern) noexcept {
  return std::any_of(node_kinds.begin(), node_kinds.end(),
                     [&](const char* kind) { return oxcRegMatch(pattern, kind) != 0; });
}

oxfType* find_type(oxfType* list, std::string_view name) noexcept {
  if (name.size() > longest_name) return nullptr;
  name = own_type_name(name);
  while (list != nullptr && !answers_to(*list, name)) list = list->next;
  return list;
}

oxfRelt* find_relation(oxfRelt* list, std::string_view name) noexcept {
  while (list != nullptr && list->name != name) list = list->next;
  return list;
}

static OX_RESULT add_checked(oxfType*& list, std::string_view name, const std::vector<std::string>& aliases,
                             bool built_in, oxfType** added) {
  if (!is_type_name(name)) return OX_ETYPENAME;
  if (oxfType* const present = find_type(list, name)) {
    set_aliases(*present, aliases);
    if (built_in) present->built_in = 1;
    if (added != nullptr) *added = present;
    return OX_ETYPEEXISTS;
  }
  std::unique_ptr<oxfType, TypeDelete> type(make_tracked<oxfType>("type").release());
  if (!type) out_of_memory();
  type->name = copy_or_throw(name, "str_set");
  type->built_in = built_in ? 1 : 0;
  set_aliases(*type, aliases);
  (void)oxcQueueAdd(&list, type.get());
  if (added != nullptr) *added = type.get();
  (void)type.release();
  return OX_OK;
}

OX_RESULT add_type(oxfType*& list, std::string_view name, const std::vector<std::string>& aliases, bool built_in,
                   oxfType** added) {
  OX_TRACE(trace::general, "<S:type_add2(%s)>\n", std::string(name).c_str());
  const OX_RESULT result = add_checked(list, name, aliases, built_in, added);
  OX_TRACE(trace::general, "<E:type_add2[%#lx]>\n", static_cast<unsigned long>(result));
  return result;
}

static OX_RESULT add_checked(oxfRelt*& list, oxfType* types, const RelationText& text, oxfRelt** added) {
  if (!is_type_name(text.name)) return OX_ERELATIONNAME;
  if (find_relation(list, text.name) != nullptr) return OX_ERELATIONEXISTS;
  oxfType* source = nullptr;
  oxfType* destination = nullptr;
  OX_RESULT result = find_end(types, text.source, source);
  if (result == OX_OK) result = find_end(types, text.destination, destination);
  if (result != OX_OK) return result;
  std::uint32_t relation_class = 0;
  const bool known = text.relation_class.empty() ||
                     oxcStrToValue(relation_classes, text.relation_class.c_str(), &relation_class) == OX_OK;
  if (!known) return OX_ERELATIONCLASS;
  std::unique_ptr<oxfRelt, RelationDelete> relation(make_tracked<oxfRelt>("reltype").release());
  if (!relation) out_of_memory();
  relation->name = copy_or_throw(text.name, "str_set");
  relation->relation_class = relation_class;
  for (oxfType* const end : {source, destination}) {
    if (end != nullptr) ++end->users;
  }
  relation->source = source;
  relation->destination = destination;
  (void)oxcQueueAdd(&list, relation.get());
  if (added != nullptr) *added = relation.get();
  (void)relation.release();
  return OX_OK;
}

OX_RESULT add_relation(oxfRelt*& list, oxfType* types, const RelationText& text, oxfRelt** added) {
  OX_TRACE(trace::general, "<S:reltype_add2(%s)>\n", text.name.c_str());
  const OX_RESULT result = add_checked(list, types, text, added);
  OX_TRACE(trace::general, "<E:reltype_add2[%#lx]>\n", static_cast<unsigned long>(result));
  return result;
}

void free_type(oxfType* type) noexcept {
  if (type == nullptr) return;
  if (type->users != 0) {
    --type->users;
    return;
  }
  for (std::uint32_t i = 0; i < type->alias_count; ++i) (void)oxcMemFree(type->aliases[i]);
  (void)oxcMemFree(type->aliases);
  (void)oxcMemFree(type->name);
  (void)oxcMemFree(type);
}

void free_relation(oxfRelt* relation) noexcept {
  free_type(relation->source);
  free_type(relation->destination);
  (void)oxcMemFree(relation->name);
  (void)oxcMemFree(relation);
}

}  // namespace ox
