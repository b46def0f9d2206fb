// The types of components and of relations that this installation knows.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include <oxbase/oxf.h>

#include "manager/base/faults.h"
#include "manager/components/store.h"

namespace ox::manager {

class Vocabulary {
 public:
  Vocabulary();  // with the built-in types
  ~Vocabulary();
  Vocabulary(const Vocabulary&) = delete;
  Vocabulary& operator=(const Vocabulary&) = delete;

  // Adds the types of "public/comptype" and the relation types of "public/reltype". False, with every fault reported,
  // when a file is wrong, which then adds nothing; the other files do.
  [[nodiscard]] bool read(const std::string& work_directory, const FaultSink& faults);

  // The type's own name: the kinds of nodes ("printer") stand for "node", an alias for its type. An unknown one stays
  // as it is.
  [[nodiscard]] std::string canonical_type(std::string_view type) const;
  [[nodiscard]] bool has_type(const std::string& type) const { return names_.contains(type); }
  // 94 for an unknown relation type, 57 when an end's type is not that of the relation type.
  [[nodiscard]] OX_RESULT check(const Relation& relation) const;

 private:
  void note_names();

  oxfType* types_ = nullptr;
  oxfRelt* relations_ = nullptr;
  std::map<std::string, std::string, std::less<>> names_;  // each name and alias, and the type's own name
};

}  // namespace ox::manager
