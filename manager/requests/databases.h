// The manager's databases, their check and their backup.
#pragma once

#include <array>
#include <string>

#include "manager/components/file.h"
#include "manager/events/store.h"
#include "manager/jobs/run_ledger.h"
#include "manager/series/books.h"
#include "manager/series/collected_file.h"
#include "manager/storage/snapshots.h"

namespace ox::manager {

inline constexpr std::array databases{
    DatabaseShape{"components.db", &ComponentFile::tables},
    DatabaseShape{"events.db", &EventStore::tables, &check_events},
    DatabaseShape{"collected.db", &CollectedFile::tables, &check_books},
    DatabaseShape{"jobs.db", &RunLedger::tables},
};

// Those of a folder that no manager works on.
[[nodiscard]] bool check_databases(const std::string& folder, const FaultSink& faults, const Tell& tell);

// Copies them into a folder of their own under "backup" of the work folder, which has its name when all are there;
// tells which, and what they hold. False, and told, when that fails.
[[nodiscard]] bool back_up(Snapshots& snapshots, const FaultSink& faults, const Tell& tell);

}  // namespace ox::manager
