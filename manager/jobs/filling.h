// The data entry that a log entry fills, and the rounds that are still open in it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "manager/series/store.h"

namespace ox::manager {

struct Filling {
  EntryId id = 0;
  std::string name{};        // of the data entry
  std::uint32_t until = 0;   // the next one begins then; 0: never
  std::uint32_t opened = 0;  // rounds
  bool closing = false;
  std::uint32_t serial = 0;  // numbers that were got of another one are void
};

// One due moment of a log entry.
struct Round {
  std::shared_ptr<Filling> filling{};
  std::uint32_t due = 0;
  std::uint32_t number = 0;
  std::size_t targets_left = 0;
  bool begun = false;   // all its targets have been asked
  bool failed = false;  // a value that was due is not there
};

}  // namespace ox::manager
