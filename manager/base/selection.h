// The attributes that a request names.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <oxbase/oxb.h>

#include "manager/base/oid.h"

namespace ox::manager {

struct Selection {
  Oid path;                                           // the value, or the top of the subtree
  std::uint32_t node = 0;                             // the deepest AMIB node of the path
  bool exact = false;                                 // one instance of a leaf
  OX_RESULT error = 0;                                // 125: a path that the AMIB does not have
  std::vector<std::optional<std::uint32_t>> pattern;  // numbers, nothing for "*"; empty without "*"

  // Whether a value's path is one of those selected.
  [[nodiscard]] bool covers(const Oid& value) const;
};

// Takes apart "11.15", "obj.dataEnt.{1,2}.0", "sysmib,obj.cmn", "interfaces.ifTable.ifEntry.ifDescr.*".
// 0; 125 for a name that is not in the AMIB, 126, 127, 128 (braces); 85 for more than 1024 alternatives.
// A numeric path below the AMIB's last node is no name: it gives a selection with an error of its own.
[[nodiscard]] OX_RESULT select(const std::string& names, std::vector<Selection>& selections);

// One path of a value to be written: 0; 125 when it is no instance of a leaf.
[[nodiscard]] OX_RESULT select_value(const char* name, Selection& selection);

}  // namespace ox::manager
