// Component types and relation types: records, names, adding.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <oxbase/oxf.h>

// Both records are shared: by their list, and a type also by the relations that name it. A record that has left its
// list lives as long as somebody refers to it.
struct oxfType {
  oxfType* next;
  oxfType* prev;
  char* name;
  std::uint32_t built_in;
  const oxfType* parent;
  std::uint32_t alias_count;
  char** aliases;
  std::uint32_t users;
};

struct oxfRelt {
  oxfRelt* next;
  oxfRelt* prev;
  char* name;
  oxfType* source;
  oxfType* destination;
  std::uint32_t relation_class;
};

namespace ox {

// 1 to 63 letters, digits, "_" and "-".
[[nodiscard]] bool is_type_name(std::string_view name) noexcept;

// "node" for the six kinds of nodes, else the name itself.
[[nodiscard]] std::string_view own_type_name(std::string_view name) noexcept;

// Whether a pattern of oxcRegMatch is met by one of the six.
[[nodiscard]] bool matches_node_kind(const char* pattern) noexcept;

[[nodiscard]] oxfType* find_type(oxfType* list, std::string_view name) noexcept;
[[nodiscard]] oxfRelt* find_relation(oxfRelt* list, std::string_view name) noexcept;

// Appends a type; of one that is there already the missing aliases are filled in. OX_ETYPENAME; OX_ETYPEEXISTS, with
// the type; throws std::bad_alloc.
OX_RESULT add_type(oxfType*& list, std::string_view name, const std::vector<std::string>& aliases, bool built_in,
                   oxfType** added);

struct RelationText {
  std::string name, source, destination, relation_class;  // empty: not given
};
// OX_ERELATIONNAME, OX_ERELATIONEXISTS, OX_ECOMPTYPE, OX_ERELATIONCLASS; throws std::bad_alloc.
OX_RESULT add_relation(oxfRelt*& list, oxfType* types, const RelationText& text, oxfRelt** added);

void free_type(oxfType* type) noexcept;  // when the last one gives it up
void free_relation(oxfRelt* relation) noexcept;

// Gives every fault of a file to `fault`, and goes on behind it; without it the first fault ends the reading. Returns
// that first one, and nothing of a faulty file is added.
struct DefinitionFaults {
  oxfFault call = nullptr;
  void* argument = nullptr;
};
[[nodiscard]] OX_RESULT read_type_file(const char* path, oxfType*& list, const DefinitionFaults& faults);
[[nodiscard]] OX_RESULT read_relation_file(const char* path, oxfRelt*& list, oxfType* types,
                                           const DefinitionFaults& faults);

}  // namespace ox
