// A log entry at work.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "manager/jobs/collected_names.h"
#include "manager/jobs/filling.h"
#include "manager/jobs/log_entry.h"
#include "manager/jobs/scheduler.h"
#include "manager/jobs/target.h"

namespace ox::manager {

// Rounds that the disk has refused, until it takes the gap that they are.
struct RefusedRounds {
  std::uint32_t from = 0;
  std::uint32_t to = 0;
  std::uint64_t rounds = 0;
  std::uint64_t values = 0;
  Gap gap = Gap::none;  // why the first was
};

using LogTargets = std::vector<std::shared_ptr<LogTarget>>;  // in the order of their offsets

struct LogCollection {
  ComponentName name;
  LogEntrySettings settings{};
  std::shared_ptr<const CollectedNames> names{};
  std::shared_ptr<const LogTargets> targets{};
  std::uint64_t targets_of = 0;  // the generation of the store for which they are; 0: none
  Scheduler::Id plan = 0;        // 0: nothing is collected
  std::shared_ptr<Filling> filling{};
  std::uint32_t last_collected = 0;  // a round whose values are safe
  std::uint32_t failed = 0;          // rounds that lack a value, since the start
  RefusedRounds refused{};

  [[nodiscard]] std::uint32_t expected() const {
    std::uint32_t all = 0;
    for (const auto& target : *targets) all += target->expected(*names);
    return all;
  }
};
using LogCollectionPtr = std::shared_ptr<LogCollection>;

}  // namespace ox::manager
