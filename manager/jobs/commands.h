// Command entries: what the manager runs at set times, and the record of each time that was due.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "manager/base/programs.h"
#include "manager/base/settings.h"
#include "manager/components/entry_changes.h"
#include "manager/jobs/command_entry.h"
#include "manager/jobs/run.h"
#include "manager/jobs/scheduler.h"
#include "manager/snmp/value_reader.h"

namespace ox::manager {

class Commands {
 public:
  struct Surroundings {
    Scheduler& scheduler;
    Programs& programs;
    const Store& store;
    const Zone& zone;
    const Settings& settings;
    RunBook& book;
    std::function<void(const std::string& summary, const std::string& detail)> warn;
    std::function<OX_RESULT(std::span<const Change>)> commit;
  };
  explicit Commands(Surroundings surroundings);
  Commands(const Commands&) = delete;
  Commands& operator=(const Commands&) = delete;

  // Before components are loaded: ends the programs that a manager has left which died.
  void end_left_over(const std::map<std::uint64_t, RunningProgram>& running);
  // As EntryChanges tells.
  void changed(const ComponentName& name, EntryChanges::What what, std::span<const Oid> paths);
  [[nodiscard]] OX_RESULT check(Change& change) const;
  // The manager ends in order; so do the programs that run.
  void end();
  void add_figures(const FigureQuestion& question, std::vector<Figure>& found);

 private:
  // What is run: CmdName; InvalidCmdName, since a range closes, or in place of what could not be started.
  enum class Side { command, closing, in_place };
  struct Entry {
    std::string name{};
    std::uint64_t id = 0;
    CommandEntry has{};
    Plan plan{};
    Scheduler::Id planned = 0;
    std::uint32_t running = 0;
    std::optional<Run> put_off{};  // due while the one before it ran, to be caught up
    std::uint64_t missed = 0;      // not told yet, since
    std::uint32_t missed_from = 0;
    std::string program{};  // the file, as found for the command in those folders
    std::string folders{};
  };
  struct Running {
    Run run;
    Programs::Identity identity;
  };

  [[nodiscard]] RunState& state(const Entry& entry) { return with_.book.states()[entry.id]; }
  void number(Entry& entry, const ComponentName& name);
  void take(Entry& entry, const ComponentName& name, bool fresh);
  void arm(Entry& entry, bool fresh);
  void disarm(Entry& entry);
  void bring_about(Entry& entry, std::uint32_t due);
  [[nodiscard]] bool wants_side(Entry& entry);
  void on_due(std::uint64_t id, const Due& due);
  void miss(Entry& entry, const Due& due);
  void tell_missed(Entry& entry);
  void open(Entry& entry, std::uint32_t due);
  void close(Entry& entry, std::uint32_t due);
  [[nodiscard]] Run new_run(Entry& entry, std::uint32_t due, const std::string& command);
  void run(Entry& entry, Run run, Side side);
  [[nodiscard]] std::string prepare(Entry& entry, const Run& run, Side side, const std::string& mark,
                                    Programs::Order& order, RunFate& fate);
  void start(Entry& entry, Run run, const Programs::Order& order, RunningProgram program, Side side);
  void not_run(Entry& entry, Run run, RunFate fate, const std::string& why, Side side);
  void ended(std::uint64_t key, const Programs::End& end);
  void fail(Entry& entry, const std::string& why);
  void note(Entry& entry);
  [[nodiscard]] Entry* find(std::uint64_t id);
  void add_run_figures(const Entry& entry, const FigureQuestion& question, std::vector<Figure>& found);
  [[nodiscard]] std::uint32_t oper_status(const Entry& entry);
  [[nodiscard]] std::uint32_t next_start(const Entry& entry) const;

  Surroundings with_;
  std::map<std::uint64_t, Entry> entries_;
  std::map<std::string, std::uint64_t, std::less<>> by_name_;
  std::map<std::uint64_t, Running> running_;
  const std::string marks_;  // what those of this manager's programs begin with
};

}  // namespace ox::manager
