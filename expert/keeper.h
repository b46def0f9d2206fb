// All rules of the manager: follows them, and lets each do what is due.
#pragma once

#include <functional>
#include <map>
#include <string>

#include "expert/rule.h"

namespace expert {

class Keeper {
 public:
  // `folder` is that of the files of what rules print; `clock` gives a time that only grows.
  Keeper(RunFile& run_file, std::string folder, std::function<Time()> clock)
      : run_file_(run_file), folder_(std::move(folder)), clock_(std::move(clock)) {}
  ~Keeper();
  Keeper(const Keeper&) = delete;
  Keeper& operator=(const Keeper&) = delete;

  // There is a session, the first one or another: all rules are looked at.
  void attach();
  // Does what is due.
  void turn();
  // Ends all programs; some seconds at most.
  void end();

  [[nodiscard]] bool idle() const noexcept { return programs_ == 0; }

 private:
  static void OX_CALL on_report(void* request, void* argument, dnode* list, OX_RESULT code);
  void take(dnode* node);
  void list();
  void turn(Rule& rule, const std::string& name, Time now);

  RunFile& run_file_;
  std::string folder_;
  std::function<Time()> clock_;
  std::map<std::string, Rule> rules_;
  void* following_ = nullptr;
  bool lists_ = false;         // all of them are to be looked at
  std::uint32_t running_ = 0;  // programs, without those that are about to end
  std::size_t programs_ = 0;
  Time looked_at_output_{};
};

}  // namespace expert
