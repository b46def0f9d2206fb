// One rule: whether it is to run, its program, and what is told of it.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include <oxbase/oxr.h>

#include "expert/output.h"
#include "expert/pause.h"
#include "expert/run_file.h"

namespace expert {

class Rule {
 public:
  // `folder` is that of the files of what rules print.
  Rule(std::string name, const std::string& folder);

  // What the manager has reported of it. A request, or an admin status, counts when it is set, also to what it was.
  enum Told : unsigned { anything = 1, admin = 2, request = 4 };
  void tell(unsigned told);

  // Does what is due. `running` is how many programs of rules run.
  void turn(Time now, std::uint32_t running);
  // Ends its program because the daemon ends; it is not started again.
  void give_up(Time now);
  // What its program has printed until now is told, and kept small.
  void look_at_output();

  [[nodiscard]] bool runs() const noexcept { return record_ != nullptr && record_->Process != nullptr; }
  [[nodiscard]] bool has_program() const noexcept { return record_ != nullptr; }  // it may be about to end
  [[nodiscard]] bool gone() const noexcept { return gone_ && record_ == nullptr; }
  [[nodiscard]] const Identity& process() const noexcept { return process_; }  // 0 without one

 private:
  struct Free {
    void operator()(oxrRule* record) const noexcept { (void)oxrFreeRule(record); }
  };
  using Record = std::unique_ptr<oxrRule, Free>;
  // What of the rule decides whether it runs.
  struct Wish {
    std::uint32_t admin = 0;
    std::uint32_t request = 0;
    std::string schedule;
  };

  [[nodiscard]] OX_RESULT read(Record& record) const;
  void look(Time now);
  void take(Record fresh, unsigned told, Time now);
  [[nodiscard]] OX_RESULT arm(Record& fresh);
  void correct_status(const oxrRule& fresh);
  void vanish(Time now);
  void want(Time now);
  void unwant(Time now);

  void start(Time now, std::uint32_t running);
  void tell_start(Time now);
  void refuse(const std::string& reason, Time again);
  void tell_output();
  void stop(Time now);
  void see_end(Time now);
  void end_by_itself(Time now);
  void finish(const std::string& reason);

  void say(const char* path, const std::string& text) { unwritten_[path] = text; }
  void write_down();
  void log_once(const std::string& text);

  std::string name_;
  Output output_;
  unsigned told_ = anything;
  Time look_at_{};  // not before
  std::optional<Wish> known_;
  std::optional<std::string> armed_;  // the schedule that is armed; the empty one: none
  bool wanted_ = false;
  bool gone_ = false;
  Time due_{};  // when it may start

  Record record_;  // while a program of it runs
  Identity process_;
  std::uint32_t starts_ = 0;
  Time started_{};
  Time kill_at_{};
  bool by_force_ = false;
  Pause pause_;

  std::string told_output_;
  std::map<std::string, std::string> unwritten_;  // attributes, until the manager has them
  std::string logged_;
};

}  // namespace expert
