// Log entries at work: who collects when, and what becomes of what is set.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <span>
#include <vector>

#include "manager/jobs/agent_memory.h"
#include "manager/jobs/collector_tools.h"
#include "manager/jobs/data_entries.h"
#include "manager/jobs/fit.h"
#include "manager/jobs/log_collection.h"
#include "manager/jobs/rounds.h"

namespace ox::manager {

class Collector {
 public:
  // Keeps the log entries from then on.
  explicit Collector(CollectorTools tools);

  [[nodiscard]] const LogCollection* find(const ComponentName& name) const;
  // Makes the log entry of how the manager itself does, where there is none.
  void make_own_entry();
  void add_own_figures(const FigureQuestion& question, std::vector<Figure>& found) const;
  // What has been learned of agents, for the next manager; else it is done once a minute.
  void remember_agents();
  // That, and what has expired goes; by itself once a minute.
  void look_after();
  [[nodiscard]] Fit& fit() { return fit_; }
  // The data entry that takes a round from outside, due then: a new one when there is none, or its period is over. 0;
  // 84; 279 for an entry that is stopped; 70 for a time that is not after its last round; 144.
  [[nodiscard]] OX_RESULT fill(const ComponentName& name, std::uint32_t due, EntryId& id);
  // That round is safe.
  void filled(const ComponentName& name, std::uint32_t due);

 private:
  void changed(const ComponentName& name, EntryChanges::What what, std::span<const Oid> paths);
  [[nodiscard]] OX_RESULT check(Change& change);
  [[nodiscard]] OX_RESULT check_start(const Change& change);
  void complete(const ComponentName& name);
  void removed(const ComponentName& name);
  void apply(const LogCollectionPtr& entry, bool loaded);
  void start(const LogCollectionPtr& entry, bool loaded);
  void stop(LogCollection& entry);
  void due(const LogCollectionPtr& entry, const Due& moment);
  void missed(LogCollection& entry, const Due& moment);
  void round_ended(const LogCollectionPtr& entry, const Round& round);
  void tell_later(const LogCollectionPtr& entry);
  void tell();
  [[nodiscard]] bool disk_is_full();

  const CollectorTools tools_;
  DataEntries data_;
  Fit fit_;
  AgentMemory memory_;
  Rounds rounds_;
  std::map<ComponentName, LogCollectionPtr> entries_;
  std::map<ComponentName, std::map<Oid, Value>> checked_;  // what is being set in this turn
  std::set<LogCollectionPtr> to_tell_;
  std::unique_ptr<Timer> teller_;
  std::unique_ptr<Timer> looker_;
  std::int64_t disk_looked_ = 0;
  std::uint32_t disk_use_ = 0;  // per cent
};

}  // namespace ox::manager
