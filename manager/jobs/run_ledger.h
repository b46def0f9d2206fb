// The record of all runs, in a database of its own.
#pragma once

#include <asio/io_context.hpp>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>

#include "manager/base/clock.h"
#include "manager/base/pace.h"
#include "manager/base/settings.h"
#include "manager/jobs/run.h"
#include "manager/storage/database.h"

namespace ox::manager {

class RunLedger final : public RunBook {
 public:
  // "jobs.db" of the directory.
  RunLedger(asio::io_context& loop, Clock& clock, const Settings& settings, const std::string& directory);
  [[nodiscard]] static std::span<const Table> tables();

  // Opens the database; takes faults from then on. What is damaged is set aside, and what reads of it is kept. False,
  // and told, when it cannot be used.
  [[nodiscard]] bool open(FaultSink faults);
  // Checks the database beside the work; what turns out to be damaged is set aside, and what reads of it kept.
  void check();
  void renew();
  [[nodiscard]] Database& database() { return database_; }
  // The programs that run, by the keys of their runs; first those that the last manager has left.
  [[nodiscard]] const std::map<std::uint64_t, RunningProgram>& running() const { return running_; }

  void put(const Run& run) override;
  void erase(std::uint64_t key) override;
  void changed(std::uint64_t entry) override;
  void put(std::uint64_t key, const RunningProgram& program) override;
  void ended(std::uint64_t key) override;
  [[nodiscard]] bool commit() override;
  [[nodiscard]] std::vector<Run> read(std::uint64_t entry, const Window& window) override;
  bool read(std::uint64_t key, Run& run) override;

 private:
  [[nodiscard]] bool load();
  [[nodiscard]] bool go_on_behind_runs();
  void schedule();
  void write();
  void tidy();
  [[nodiscard]] bool tidy_entry(std::uint64_t entry, RunState& state);

  asio::io_context& loop_;
  Clock& clock_;
  const Settings& settings_;
  Database database_;
  std::map<std::uint64_t, RunningProgram> running_;
  // Of this turn, or not taken yet; nothing for what goes.
  std::map<std::uint64_t, std::optional<Run>> fresh_runs_;
  std::set<std::uint64_t> fresh_states_;
  std::set<std::uint64_t> fresh_running_;
  bool scheduled_ = false;
  std::unique_ptr<Timer> again_;  // after a refusal
  std::unique_ptr<Timer> tidying_;
  std::uint64_t tidied_ = 0;  // the entry up to which that has come
  Pace pace_;
};

}  // namespace ox::manager
