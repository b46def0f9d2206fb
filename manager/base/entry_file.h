// Keyword files, entry by entry.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include <oxbase/oxc.h>

#include "manager/base/faults.h"

namespace ox::manager {

// One entry; a view that is valid inside the callback.
class Entry {
 public:
  explicit Entry(const oxcConfigEntry& entry) : entry_(entry) {}
  [[nodiscard]] const char* keyword() const { return entry_.keyword; }
  [[nodiscard]] std::uint32_t count() const { return entry_.count; }
  [[nodiscard]] const char* value(std::uint32_t at) const { return entry_.values[at]; }

 private:
  const oxcConfigEntry& entry_;
};

// Hands every entry to `take`, which returns what is wrong with it, or an empty text. A missing file has none. False
// when anything was wrong, also for a link, which is not followed; every fault is reported with its line.
[[nodiscard]] bool read_entries(const std::string& file, const FaultSink& faults,
                                const std::function<std::string(const Entry&)>& take);

}  // namespace ox::manager
