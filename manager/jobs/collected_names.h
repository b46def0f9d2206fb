// What the names of a log entry stand for: alike for all its components.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <oxbase/oxtypes.h>

#include "manager/base/selection.h"
#include "manager/snmp/values.h"

namespace ox::manager {

struct CollectedNames {
  // A value that agents are asked for by its own name. Its place in the list is its slot.
  struct Instance {
    std::string leaf;  // its numeric path
    std::string item;  // which instance of it
  };
  // A column that is walked. Its slot comes behind those of the instances.
  struct Column {
    std::string leaf;
    const Selection* selection;
  };
  std::vector<Selection> selections{};
  std::vector<Instance> instances{};
  std::vector<Column> columns{};
  std::shared_ptr<Question> instance_question{};  // null without instances
  Question column_question{};
  bool stored = false;  // there may be values that the manager keeps

  CollectedNames() = default;
  CollectedNames(const CollectedNames&) = delete;
  CollectedNames& operator=(const CollectedNames&) = delete;

  [[nodiscard]] std::size_t slots() const { return instances.size() + columns.size(); }
  [[nodiscard]] const Oid& path(std::size_t slot) const {
    return slot < instances.size() ? instance_question->wanted[slot].path
                                   : column_question.wanted[slot - instances.size()].path;
  }
};

// Reads them as a get does. Null when they cannot be read. `sparing`: agents that are silent are only probed.
[[nodiscard]] std::shared_ptr<const CollectedNames> read_collected_names(const std::string& names, bool sparing = true);

}  // namespace ox::manager
