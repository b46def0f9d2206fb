// The types of components and of relations that this installation knows.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>

#include "manager/base/faults.h"
#include "manager/components/store.h"

namespace ox::manager {

class Vocabulary {
 public:
  Vocabulary();  // with the built-in types

  // Adds the types of "public/comptype" and the relation types of "public/reltype". False, with every fault reported,
  // when a file is wrong; what was read before stays.
  [[nodiscard]] bool read(const std::string& work_directory, const FaultSink& faults);

  // The kinds of nodes ("printer") stand for "node".
  [[nodiscard]] static std::string canonical_type(std::string_view type);
  [[nodiscard]] bool has_type(const std::string& type) const { return types_.contains(type); }
  // 94 for an unknown relation type, 57 when an end's type is not that of the relation type.
  [[nodiscard]] OX_RESULT check(const Relation& relation) const;

 private:
  struct RelationType {
    std::string source;  // empty: any
    std::string destination;
  };
  [[nodiscard]] bool read_types(const std::string& file, const FaultSink& faults);
  [[nodiscard]] bool read_relations(const std::string& file, const FaultSink& faults);

  std::set<std::string, std::less<>> types_;
  std::map<std::string, RelationType, std::less<>> relations_;
};

}  // namespace ox::manager
