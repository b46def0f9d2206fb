#include "manager/components/vocabulary.h"

#include <algorithm>
#include <array>

#include <oxbase/oxf.h>

#include "manager/base/entry_file.h"
#include "manager/base/file_list.h"
#include "manager/base/paths.h"

namespace ox::manager {
namespace {

constexpr std::array<std::string_view, 17> built_in_types{
    "system", "map",     "rmap",     "icon",    "node",   "net",    "if",      "arc",   "media",
    "logEnt", "dataEnt", "ruleList", "ruleEnt", "cmdEnt", "schEnt", "repType", "repEnt"};

constexpr std::array<std::string_view, 6> node_kinds{"host", "printer", "commserver", "multiport", "modem", "repeater"};

struct BuiltInRelation {
  std::string_view name, source, destination;
};
constexpr std::array built_in_relations{
    BuiltInRelation{"map-icon", "map", "icon"},
    BuiltInRelation{"icon-obj", "icon", ""},
    BuiltInRelation{"obj-if", "", "if"},
    BuiltInRelation{"media-net", "media", "net"},
    BuiltInRelation{"busconn1", "icon", "icon"},
    BuiltInRelation{"busconn2", "icon", "icon"},
    BuiltInRelation{"busconn3", "icon", "icon"},
    BuiltInRelation{"busconn4", "icon", "icon"},
    BuiltInRelation{"arc-icon-src", "icon", "icon"},
    BuiltInRelation{"arc-icon-dst", "icon", "icon"},
    BuiltInRelation{"system-map", "system", "map"},
    BuiltInRelation{"map-cmdEnt", "map", "cmdEnt"},
    BuiltInRelation{"logEnt-dataEnt", "logEnt", "dataEnt"},
};

constexpr std::array<std::string_view, 7> relation_classes{"include", "included",  "refer",  "refered",
                                                           "project", "projected", "coexist"};

template <std::size_t n>
bool among(const std::array<std::string_view, n>& words, std::string_view word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

bool is_name(std::string_view name) {
  return !name.empty() && name.size() < 64 && std::all_of(name.begin(), name.end(), [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == '-';
  });
}

}  // namespace

Vocabulary::Vocabulary() : types_(built_in_types.begin(), built_in_types.end()) {
  for (const BuiltInRelation& one : built_in_relations) {
    relations_.emplace(one.name, RelationType{std::string(one.source), std::string(one.destination)});
  }
}

std::string Vocabulary::canonical_type(std::string_view type) {
  return std::string(among(node_kinds, type) ? std::string_view("node") : type);
}

OX_RESULT Vocabulary::check(const Relation& relation) const {
  const auto type = relations_.find(relation.name);
  if (type == relations_.end()) return OX_ERELATIONNAME;
  const auto fits = [](const std::string& wanted, const std::string& given) {
    return wanted.empty() || wanted == given;
  };
  const bool both = fits(type->second.source, relation.from.type) && fits(type->second.destination, relation.to.type);
  return both ? OX_OK : OX_ECOMPTYPE;
}

bool Vocabulary::read(const std::string& work_directory, const FaultSink& faults) {
  bool sound = true;
  for (const std::string& file : definition_files(join(work_directory, "public", "comptype"), faults, sound)) {
    sound = read_types(file, faults) && sound;
  }
  for (const std::string& file : definition_files(join(work_directory, "public", "reltype"), faults, sound)) {
    sound = read_relations(file, faults) && sound;
  }
  return sound;
}

bool Vocabulary::read_types(const std::string& file, const FaultSink& faults) {
  return read_entries(file, faults, [this](const Entry& entry) -> std::string {
    if (std::string_view(entry.keyword()) != "comptype") return {};  // attributes of a type: not the manager's
    if (entry.count() != 1 || !is_name(entry.value(0))) return oxcStrError(OX_ETYPENAME);
    types_.insert(canonical_type(entry.value(0)));
    return {};
  });
}

bool Vocabulary::read_relations(const std::string& file, const FaultSink& faults) {
  std::string name;
  RelationType type;
  // A relation type that is known already keeps its first definition.
  const auto finish = [&] {
    if (!name.empty()) relations_.try_emplace(name, std::move(type));
    name.clear();
    type = {};
  };
  const bool sound = read_entries(file, faults, [&](const Entry& entry) -> std::string {
    if (entry.count() != 1) return oxcStrError(OX_ESYNTAX);
    const std::string_view keyword = entry.keyword();
    const std::string value = entry.value(0);
    if (keyword == "reltype") {
      finish();
      if (!is_name(value)) return oxcStrError(OX_ERELATIONNAME);
      name = value;
    } else if (keyword == "srctype" || keyword == "dsttype") {
      const std::string end = canonical_type(value);
      if (!has_type(end)) return oxcStrError(OX_ECOMPTYPE);
      (keyword == "srctype" ? type.source : type.destination) = end;
    } else if (keyword == "relclass") {
      if (!among(relation_classes, value)) return oxcStrError(OX_ERELATIONCLASS);
    } else {
      return oxcStrError(OX_EKEYWORD);
    }
    return {};
  });
  finish();
  return sound;
}

}  // namespace ox::manager
