// The components as requests name them.
#pragma once

#include <string>
#include <vector>

#include "manager/components/store.h"
#include "manager/components/vocabulary.h"

namespace ox::manager {

class Directory {
 public:
  Directory(const Vocabulary& vocabulary, const Store& store) : vocabulary_(vocabulary), store_(store) {}

  // Puts the type in its canonical form: 197 for an unknown type.
  [[nodiscard]] OX_RESULT find_type(std::string& type) const;
  // The component of that name, its type put in the canonical form: 197 for an unknown type, 84 for an unknown one.
  [[nodiscard]] OX_RESULT find(ComponentName& name) const;
  // Reads "type:name", whose name may be a pattern: 59, 197, and 84 for an unknown name that is no pattern.
  [[nodiscard]] OX_RESULT parse(const std::string& text, ComponentName& name) const;
  // The component that a text names, or all that match its pattern, by name. 59, 197, 84.
  [[nodiscard]] OX_RESULT match(const std::string& text, std::vector<ComponentName>& found) const;

 private:
  const Vocabulary& vocabulary_;
  const Store& store_;
};

}  // namespace ox::manager
