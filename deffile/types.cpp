// The exported functions on type lists and relation type lists.
#include <algorithm>
#include <cstring>
#include <iterator>

#include <oxbase/oxd.h>

#include "common/memory.h"
#include "common/paths.h"
#include "common/pointer_result.h"
#include "common/trace.h"
#include "deffile/type_list.h"

namespace ox {
namespace {

constexpr const char* built_in_types[] = {"system", "map",   "rmap",   "icon",    "node",     "net",     "if",
                                          "arc",    "media", "logEnt", "dataEnt", "ruleList", "ruleEnt", "cmdEnt"};

struct BuiltInRelation {
  const char *name, *source, *destination, *relation_class;
};
constexpr BuiltInRelation built_in_relations[] = {
    {"map-icon", "map", "icon", "include"},
    {"icon-obj", "icon", "", "project"},
    {"obj-if", "", "if", "include"},
    {"media-net", "media", "net", "refer"},
    {"busconn1", "icon", "icon", "coexist"},
    {"busconn2", "icon", "icon", "coexist"},
    {"busconn3", "icon", "icon", "coexist"},
    {"busconn4", "icon", "icon", "coexist"},
    {"arc-icon-src", "icon", "icon", "included"},
    {"arc-icon-dst", "icon", "icon", "included"},
    {"system-map", "system", "map", ""},
    {"map-cmdEnt", "map", "cmdEnt", "include"},
    {"logEnt-dataEnt", "logEnt", "dataEnt", "include"},
};

// Puts the built-in entries into the list; the first ones' references go to `first`, as many as it holds.
template <std::size_t n>
OX_RESULT add_built_in(oxfType*& list, oxfType** const (&first)[n]) {
  for (std::size_t i = 0; i < std::size(built_in_types); ++i) {
    oxfType* added = nullptr;
    const OX_RESULT result = add_type(list, built_in_types[i], {}, true, &added);
    if (result != OX_OK && result != OX_ETYPEEXISTS) return result;
    if (i < n && first[i] != nullptr) *first[i] = added;
  }
  return OX_OK;
}

template <std::size_t n>
OX_RESULT add_built_in(oxfRelt*& list, oxfType* types, oxfRelt** const (&first)[n]) {
  for (std::size_t i = 0; i < std::size(built_in_relations); ++i) {
    const auto& [name, source, destination, relation_class] = built_in_relations[i];
    oxfRelt* added = nullptr;
    const OX_RESULT result = add_relation(list, types, {name, source, destination, relation_class}, &added);
    if (result != OX_OK) return result;
    if (i < n && first[i] != nullptr) *first[i] = added;
  }
  return OX_OK;
}

struct FilesDelete {
  void operator()(oxfFileList* list) const noexcept { (void)oxfFileListFree(list); }
};

// Every ".def" of a definition directory, until one fails.
template <class Read>
OX_RESULT each_file(const char* directory, Read read) {
  oxfFileList* found = nullptr;
  OX_RESULT result = oxfGetFileList(work_path({"public", directory}).c_str(), ".def", 0, &found);
  const std::unique_ptr<oxfFileList, FilesDelete> owner(found);
  for (const oxfFileList* file = found; file != nullptr && result == OX_OK; file = oxfGetFileNext(file)) {
    result = read(oxfGetFileName(file));
  }
  return result;
}

void report_to_system(OX_RESULT code, const char* path) {
  const char* file = nullptr;
  std::uint32_t line = 0;
  (void)oxfGetErrorFile(&file, &line);
  std::string text = std::string(oxcStrError(code)) + " file: " + path;
  if (line != 0) text += " (line=" + std::to_string(line) + ")";
  constexpr std::uint32_t error = 1;
  (void)oxcSystemLog("TesBaseService", error, text.c_str());
}

// A value as text, whatever its type; up to its first zero byte.
std::string text_of(const dnode* node) {
  const void* value = nullptr;
  std::uint32_t size = 0;
  if (oxdGetValue(node, nullptr, &size, &value) != OX_OK || size == 0) return {};
  const auto* text = static_cast<const char*>(value);
  const void* end = std::memchr(text, 0, size);
  return {text, end != nullptr ? static_cast<const char*>(end) : text + size};
}

bool is_named(const dnode* node, const char* path) noexcept {
  const char* name = nullptr;
  return oxdGetAmibName(node, &name) == OX_OK && std::strcmp(name, path) == 0;
}

OX_RESULT type_name(const dnode* nodes, std::string& name) {
  if (nodes == nullptr) return OX_EINCOMPLETE;
  for (const dnode* node = nodes; node != nullptr; node = oxdNext(node)) {
    if (!is_named(node, "10.7.1.0")) return OX_EAMIBNAME;
    name = text_of(node);
  }
  name = own_type_name(name);
  return is_type_name(name) ? OX_OK : OX_ETYPENAME;
}

OX_RESULT relation_text(const dnode* nodes, RelationText& text) {
  const std::pair<const char*, std::string*> fields[] = {{"10.7.4.0", &text.name},
                                                         {"10.7.5.0", &text.source},
                                                         {"10.7.6.0", &text.destination},
                                                         {"10.7.28.0", &text.relation_class}};
  for (const dnode* node = nodes; node != nullptr; node = oxdNext(node)) {
    const auto* field =
        std::find_if(std::begin(fields), std::end(fields), [&](const auto& one) { return is_named(node, one.first); });
    if (field == std::end(fields)) return OX_EAMIBNAME;
    *field->second = text_of(node);
  }
  return text.name.empty() ? OX_EINCOMPLETE : OX_OK;
}

template <class Record, class Free>
OX_RESULT remove(Record** list, Record* record, Free free) noexcept {
  if (record == nullptr) return OX_ECOMPTYPE;
  (void)oxcQueueDel(list, record);
  free(record);
  return OX_OK;
}

template <class Record, class Free>
OX_RESULT free_all(Record* list, Free free) noexcept {
  while (list != nullptr) (void)remove(&list, list, free);
  return OX_OK;
}

OX_RESULT read_types(oxfType** list, oxfType** const (&first)[9]) {
  if (list == nullptr) return OX_EARG;
  const OX_RESULT result = add_built_in(*list, first);
  return result == OX_OK ? oxfReadCompTypeDef(list) : result;
}

OX_RESULT read_relations(oxfRelt** list, oxfType* types, oxfRelt** const (&first)[3]) {
  if (list == nullptr) return OX_EARG;
  const OX_RESULT result = add_built_in(*list, types, first);
  if (result != OX_OK) return result;
  return each_file("reltype", [&](const char* path) {
    const OX_RESULT read = read_relation_file(path, *list, types, {});
    if (read != OX_OK) report_to_system(read, path);
    return read;
  });
}

}  // namespace
}  // namespace ox

using namespace ox;

#define OX_CODE_EXIT(name) trace::general, "<E:" name "[%#ld]>\n"

OX_RESULT OX_CALL oxf_type_read(oxfType** list, oxfType** system, oxfType** map, oxfType** rmap, oxfType** icon,
                                oxfType** node, oxfType** net, oxfType** netInterface, oxfType** arc, oxfType** media) {
  OX_TRACE(trace::general, "<S:type_init()>\n");
  return traced_as(OX_CODE_EXIT("type_init"), [&] {
    return read_types(list, {system, map, rmap, icon, node, net, netInterface, arc, media});
  });
}

OX_RESULT OX_CALL oxfAddBuiltInTypes(oxfType** list) {
  OX_ENTRY("oxfAddBuiltInTypes", ":%x", trace::word(list));
  return traced("oxfAddBuiltInTypes", [&]() -> OX_RESULT {
    oxfType** const none[] = {nullptr};
    return list != nullptr ? add_built_in(*list, none) : OX_RESULT{OX_EARG};
  });
}

OX_RESULT OX_CALL oxfReadCompTypeDef(oxfType** list) {
  OX_ENTRY("oxfReadCompTypeDef", ":%x", trace::word(list));
  return traced("oxfReadCompTypeDef", [&]() -> OX_RESULT {
    if (list == nullptr) return OX_EARG;
    return each_file("comptype", [&](const char* path) { return read_type_file(path, *list, {}); });
  });
}

OX_RESULT OX_CALL oxfReadTypeFile(oxfType** list, const char* path, oxfFault fault, void* argument) {
  OX_ENTRY("oxfReadTypeFile", ":%x:%s", trace::word(list), trace::text(path));
  return traced("oxfReadTypeFile", [&]() -> OX_RESULT {
    if (list == nullptr || path == nullptr) return OX_EARG;
    return read_type_file(path, *list, {fault, argument});
  });
}

OX_RESULT OX_CALL oxf_type_add(oxfType** list, const dnode* nodes) {
  OX_TRACE(trace::general, "<S:type_add(%x,%x,%x)>\n", trace::word(list), trace::word(nodes), 0u);
  return traced_as(OX_CODE_EXIT("type_add"), [&]() -> OX_RESULT {
    if (list == nullptr) return OX_EARG;
    std::string name;
    const OX_RESULT result = type_name(nodes, name);
    return result == OX_OK ? add_type(*list, name, {}, false, nullptr) : result;
  });
}

OX_RESULT OX_CALL oxf_type_del(oxfType** list, const dnode* nodes) {
  OX_ENTRY("oxf_type_del", ":%x:%x", trace::word(list), trace::word(nodes));
  return traced("oxf_type_del", [&]() -> OX_RESULT {
    if (list == nullptr) return OX_EARG;
    std::string name;
    const OX_RESULT result = type_name(nodes, name);
    return result == OX_OK ? remove(list, find_type(*list, name), free_type) : result;
  });
}

oxfType* OX_CALL oxf_type_search(oxfType* list, const char* name) {
  OX_ENTRY("oxf_type_search", ":%x:%s", trace::word(list), trace::text(name));
  return traced_pointer("oxf_type_search", [&] { return name != nullptr ? find_type(list, name) : nullptr; });
}

uint32_t OX_CALL oxf_type_cnvCompType(char* name) {
  OX_ENTRY("oxf_type_cnvCompType", ":%s", trace::text(name));
  return traced("oxf_type_cnvCompType", [&]() -> OX_RESULT {
    if (name == nullptr || own_type_name(name) == name) return 0;
    std::memcpy(name, "node", sizeof "node");  // the kinds' names are not shorter
    return 1;
  });
}

uint32_t OX_CALL oxf_type_CompTypeMatch(const char* pattern) {
  OX_ENTRY("oxf_type_CompTypeMatch", ":%s", trace::text(pattern));
  return traced("oxf_type_CompTypeMatch", [&] { return matches_node_kind(pattern) ? 1u : 0u; });
}

OX_RESULT OX_CALL oxfTypeFree(oxfType* list) {
  OX_ENTRY("oxfTypeFree", ":%x", trace::word(list));
  return traced("oxfTypeFree", [&] { return free_all(list, free_type); });
}

OX_RESULT OX_CALL oxf_relt_read(oxfRelt** list, oxfType* types, oxfRelt** mapIcon, oxfRelt** iconObject,
                                oxfRelt** objectInterface) {
  OX_TRACE(trace::general, "<S:relt_init()>\n");
  return traced_as(OX_CODE_EXIT("relt_init"), [&] {
    return read_relations(list, types, {mapIcon, iconObject, objectInterface});
  });
}

OX_RESULT OX_CALL oxfAddBuiltInRelts(oxfRelt** list, oxfType* types) {
  OX_ENTRY("oxfAddBuiltInRelts", ":%x:%x", trace::word(list), trace::word(types));
  return traced("oxfAddBuiltInRelts", [&]() -> OX_RESULT {
    oxfRelt** const none[] = {nullptr};
    return list != nullptr ? add_built_in(*list, types, none) : OX_RESULT{OX_EARG};
  });
}

OX_RESULT OX_CALL oxfReadReltFile(oxfRelt** list, oxfType* types, const char* path, oxfFault fault, void* argument) {
  OX_ENTRY("oxfReadReltFile", ":%x:%x:%s", trace::word(list), trace::word(types), trace::text(path));
  return traced("oxfReadReltFile", [&]() -> OX_RESULT {
    if (list == nullptr || path == nullptr) return OX_EARG;
    return read_relation_file(path, *list, types, {fault, argument});
  });
}

OX_RESULT OX_CALL oxf_relt_add(oxfRelt** list, oxfType* types, const dnode* nodes) {
  OX_TRACE(trace::general, "<S:reltype_add(%x,%x,%x)>\n", trace::word(list), trace::word(types), trace::word(nodes));
  return traced_as(OX_CODE_EXIT("reltype_add"), [&]() -> OX_RESULT {
    if (list == nullptr) return OX_EARG;
    RelationText text;
    const OX_RESULT result = relation_text(nodes, text);
    return result == OX_OK ? add_relation(*list, types, text, nullptr) : result;
  });
}

OX_RESULT OX_CALL oxf_relt_del(oxfRelt** list, const dnode* nodes) {
  OX_ENTRY("oxf_relt_del", ":%x:%x", trace::word(list), trace::word(nodes));
  return traced("oxf_relt_del", [&]() -> OX_RESULT {
    if (list == nullptr) return OX_EARG;
    RelationText text;
    const OX_RESULT result = relation_text(nodes, text);
    return result == OX_OK ? remove(list, find_relation(*list, text.name), free_relation) : result;
  });
}

oxfRelt* OX_CALL oxf_relt_search(oxfRelt* list, const char* name) {
  OX_ENTRY("oxf_relt_search", ":%x:%s", trace::word(list), trace::text(name));
  return traced_pointer("oxf_relt_search", [&] { return name != nullptr ? find_relation(list, name) : nullptr; });
}

OX_RESULT OX_CALL oxfReltFree(oxfRelt* list) {
  OX_ENTRY("oxfReltFree", ":%x", trace::word(list));
  return traced("oxfReltFree", [&] { return free_all(list, free_relation); });
}

// ---- Fields ----

oxfType* OX_CALL oxfTypeNext(const oxfType* type) {
  return traced_read("oxfTypeNext", type, [](const oxfType& it) { return it.next; });
}
const char* OX_CALL oxfTypeName(const oxfType* type) {
  return traced_read("oxfTypeName", type, [](const oxfType& it) { return it.name; });
}
uint32_t OX_CALL oxfTypeIsBuiltIn(const oxfType* type) {
  return traced_read("oxfTypeIsBuiltIn", type, [](const oxfType& it) { return it.built_in; });
}
uint32_t OX_CALL oxfTypeAliasCount(const oxfType* type) {
  return traced_read("oxfTypeAliasCount", type, [](const oxfType& it) { return it.alias_count; });
}
const char* OX_CALL oxfTypeAlias(const oxfType* type, uint32_t at) {
  OX_ENTRY("oxfTypeAlias", ":%x:%u", trace::word(type), at);
  return traced_pointer("oxfTypeAlias", [&]() -> const char* {
    return type != nullptr && at < type->alias_count ? type->aliases[at] : nullptr;
  });
}

oxfRelt* OX_CALL oxfReltNext(const oxfRelt* relation) {
  return traced_read("oxfReltNext", relation, [](const oxfRelt& it) { return it.next; });
}
const char* OX_CALL oxfReltName(const oxfRelt* relation) {
  return traced_read("oxfReltName", relation, [](const oxfRelt& it) { return it.name; });
}
oxfType* OX_CALL oxfReltSource(const oxfRelt* relation) {
  return traced_read("oxfReltSource", relation, [](const oxfRelt& it) { return it.source; });
}
oxfType* OX_CALL oxfReltDestination(const oxfRelt* relation) {
  return traced_read("oxfReltDestination", relation, [](const oxfRelt& it) { return it.destination; });
}
uint32_t OX_CALL oxfReltClass(const oxfRelt* relation) {
  return traced_read("oxfReltClass", relation, [](const oxfRelt& it) { return it.relation_class; });
}
