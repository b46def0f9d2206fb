#include "expert/rule.h"

#include <utility>

#include <oxbase/oxcmd.h>

#include "expert/attributes.h"
#include "expert/log.h"
#include "platform/process_list.h"

namespace expert {
namespace {

constexpr Time patience = std::chrono::seconds(10);  // for a program that is asked to end
constexpr Time again_soon = std::chrono::seconds(1);
constexpr Time again_later = std::chrono::seconds(10);
constexpr std::uint32_t waiting = 2;        // OperStatus
constexpr std::uint32_t most_running = 63;  // the library starts no more

bool is_limited(const std::string& schedule) { return !schedule.empty() && schedule != "* * * * *"; }

bool is_away(OX_RESULT result) { return result == OX_ENOSESSION || result == OX_ECLOSED; }

std::string text_of(OX_RESULT result) { return "error " + std::to_string(result) + ": " + oxcStrError(result); }

std::string text_of(const char* text) { return text != nullptr ? text : ""; }

// Statuses above 128 are those of signals, where there are signals.
std::string end_text(std::int32_t status) {
  const bool is_signal = status > 128 && status < 128 + 65;
  return "ended with exit status " + std::to_string(status) +
         (is_signal ? " (signal " + std::to_string(status - 128) + ")" : "");
}

// Why the library starts nothing, and says nothing; empty: it does.
std::string refusal(const oxrRule& rule) {
  const std::string program = text_of(rule.RuleName);
  const std::string component = text_of(rule.Component);
  if (program.find(':') != std::string::npos) return "\"" + program + "\" is a program of another machine";
  if (!component.empty() && component != oxcGetMyComm()) {
    return "it runs at the manager " + component + ", and this one is " + oxcGetMyComm();
  }
  return "";
}

// The command entry by which the schedule asks for the rule, which may be a user's own of the same name.
void delete_command(const std::string& name) {
  cmdEntry* entry = nullptr;
  const char* argument = nullptr;
  if (oxcmdEntryOpen(nullptr, name.c_str(), &entry) != OX_OK) return;
  (void)oxcmdCmdEntGetArgument(entry, &argument);
  const bool is_ours = text_of(argument) == "-nopass ruleEnt:" + name + ' ' + request_path + " 1";
  (void)oxcmdEntryFree(entry);
  if (is_ours) (void)oxcmdDeleteCmdEntry(nullptr, name.c_str());
}

}  // namespace

Rule::Rule(std::string name, const std::string& folder) : name_(std::move(name)), output_(folder, name_) {}

void Rule::tell(unsigned told) {
  told_ |= told;
  look_at_ = {};
}

void Rule::turn(Time now, std::uint32_t running) {
  if (told_ != 0 && now >= look_at_) look(now);
  see_end(now);
  write_down();
  if (wanted_ && record_ == nullptr && now >= due_) start(now, running);
  write_down();
}

OX_RESULT Rule::read(Record& record) const {
  oxrRule* made = nullptr;
  const OX_RESULT result = oxrGetRule(nullptr, name_.c_str(), &made);
  record.reset(made);
  return result;
}

void Rule::look(Time now) {
  Record fresh;
  const unsigned told = std::exchange(told_, 0u);
  OX_RESULT result = read(fresh);
  if (result == OX_ENOCOMP) return vanish(now);
  if (result == OX_ENOTFOUND) return;  // it has no attributes yet
  const std::string schedule = fresh ? text_of(fresh->Schedule) : "";
  if (result == OX_OK && fresh->AdminStatus != 0 && fresh->OperStatus == waiting && armed_ != schedule) {
    result = oxrConfSetOperStatus(nullptr, fresh.get(), 0);  // arming tells whether it still waits
  }
  if (result == OX_OK) result = arm(fresh);
  if (result != OX_OK) {
    if (!is_away(result)) log_once("its schedule or its attributes cannot be used: " + text_of(result));
    told_ |= told;
    look_at_ = now + again_later;
    return;
  }
  take(std::move(fresh), told, now);
}

// Arms or disarms what is not yet so; the record is then read again.
OX_RESULT Rule::arm(Record& fresh) {
  const std::string schedule = text_of(fresh->Schedule);
  const bool arms = fresh->AdminStatus == 1 && is_limited(schedule);
  const std::string wanted = arms ? schedule : "";
  if (armed_ == wanted) return OX_OK;
  std::uint32_t armed = 0;
  OX_RESULT result = oxrMakeSchedule(name_.c_str(), arms ? 1 : 0, &armed);
  if (result == OX_OK) result = read(fresh);
  if (result == OX_OK) armed_ = wanted;
  return result;
}

void Rule::take(Record fresh, unsigned told, Time now) {
  const Wish wish = {fresh->AdminStatus, fresh->Request, text_of(fresh->Schedule)};
  const bool limited = is_limited(wish.schedule);
  const bool anew = !known_ || known_->schedule != wish.schedule;
  const bool admin_set = !anew && ((told & admin) != 0 || known_->admin != wish.admin);
  const bool request_set = !anew && ((told & request) != 0 || known_->request != wish.request);
  gone_ = false;
  known_ = wish;
  if (anew) {
    const bool is_open = wish.request == 1 && fresh->OperStatus != waiting;
    wish.admin == 1 && (!limited || is_open) ? want(now) : unwant(now);
  }
  if (admin_set && wish.admin != 1) unwant(now);
  if (admin_set && wish.admin == 1 && !limited) want(now);
  if (request_set) wish.request == 1 ? want(now) : unwant(now);
  if (due_ == Time::max()) due_ = now;  // what kept it from starting may be changed
  correct_status(*fresh);
}

// What a daemon that was killed has left, and what does not hold any more.
void Rule::correct_status(const oxrRule& fresh) {
  const bool waits = fresh.OperStatus == waiting && fresh.AdminStatus == 1;
  if (wanted_ || has_program() || waits || fresh.OperStatus == 0) return;
  if (fresh.OperStatus == waiting) say(error_path, "");
  say(oper_path, "0");
}

void Rule::vanish(Time now) {
  if (gone_) return;
  gone_ = true;
  if (std::exchange(known_, std::nullopt)) log(Severity::information, "rule " + name_ + ": it is deleted");
  if (!std::exchange(armed_, std::nullopt).value_or("").empty()) delete_command(name_);
  unwant(now);
}

void Rule::want(Time now) {
  if (!wanted_ || due_ > now) pause_.reset();
  wanted_ = true;
  due_ = now;
}

void Rule::unwant(Time now) {
  wanted_ = false;
  stop(now);
}

void Rule::refuse(const std::string& reason, Time again) {
  due_ = again;
  record_.reset();
  log_once("not started: " + reason);
  say(end_path, "not started: " + reason);
}

void Rule::start(Time now, std::uint32_t running) {
  const OX_RESULT result = read(record_);
  if (result != OX_OK)
    return is_away(result) ? void(due_ = now + again_soon) : refuse(text_of(result), now + again_later);
  if (const std::string reason = refusal(*record_); !reason.empty()) return refuse(reason, Time::max());
  if (running >= most_running) return refuse("63 rule programs run, which is the most", now + again_soon);
  output_.keep_small();
  output_.note("starting " + text_of(record_->RuleName));
  output_.begin_run();
  record_->OutputFile = output_.path();
  unwritten_.erase(oper_path);
  const OX_RESULT started = oxrStart(record_.get());
  if (started == 1 && runs()) return tell_start(now);
  if (started != 0) return refuse(text_of(started), now + pause_.after({}));
  wanted_ = false;
  if (record_->AdminStatus != 0) say(admin_path, "0");
  Record told;
  const std::string error = read(told) == OX_OK ? text_of(told->Error) : "";
  const std::string program = text_of(record_->RuleName);
  refuse("its program \"" + program + "\" cannot be started (system error " + error +
             "); next: see that it is in the folder of rule programs, then oxrule start " + name_,
         Time::max());
}

void Rule::tell_start(Time now) {
  started_ = now;
  by_force_ = false;
  logged_.clear();
  process_.id = oxcProcessId(record_->Process);
  process_.started = ox::platform::start_of_process(process_.id);
  log(Severity::information, "rule " + name_ + ": started, process " + std::to_string(process_.id));
  if (!text_of(record_->Error).empty()) say(error_path, "");
  say(process_path, std::to_string(process_.id));
  say(starts_path, std::to_string(++starts_));
}

void Rule::look_at_output() {
  output_.keep_small();
  tell_output();
}

void Rule::tell_output() {
  std::string lines = output_.last_lines();
  if (lines == told_output_) return;
  say(output_path, lines);
  told_output_ = std::move(lines);
}

void Rule::stop(Time now) {
  if (!runs()) return;
  (void)oxrStop(record_.get(), 2);
  kill_at_ = now + patience;
}

void Rule::see_end(Time now) {
  if (record_ == nullptr || runs()) return;
  if (record_->Ending == nullptr) return end_by_itself(now);
  std::uint32_t ended = 0;
  (void)oxcProcessEnded(record_->Ending, &ended, nullptr);
  if (ended == 0 && now >= kill_at_) {
    by_force_ = true;
    (void)oxcEndProcess(record_->Ending);
    (void)oxcProcessEnded(record_->Ending, &ended, nullptr);
  }
  if (ended != 0) finish(by_force_ ? "stopped by force: it had not ended 10 seconds after it was asked to" : "stopped");
}

void Rule::end_by_itself(Time now) {
  std::string reason = end_text(record_->ExitStatus);
  if (wanted_) {
    const Time rest = pause_.after(now - started_);
    due_ = now + rest;
    reason +=
        "; starts again after " + std::to_string(std::chrono::duration_cast<std::chrono::seconds>(rest).count()) + " s";
  }
  finish(reason);
}

void Rule::finish(const std::string& reason) {
  log(Severity::information, "rule " + name_ + ": " + reason);
  tell_output();
  output_.note(reason);
  record_.reset();
  process_ = {};
  const bool waits = !wanted_ && known_ && known_->admin == 1 && is_limited(known_->schedule);
  if (waits) say(error_path, std::to_string(OX_ERULESCHEDULE));
  say(oper_path, waits ? "2" : "0");
  say(end_path, reason);
  say(process_path, "0");
}

void Rule::give_up(Time now) {
  wanted_ = false;
  stop(now);
  see_end(now);
  write_down();
}

void Rule::write_down() {
  if (gone_) unwritten_.clear();
  while (!unwritten_.empty()) {
    const auto first = unwritten_.begin();
    const OX_RESULT result = oxrConfSet(nullptr, name_.c_str(), first->first.c_str(), first->second.c_str());
    if (is_away(result)) return;
    if (result != OX_OK) log_once("its attribute " + first->first + " cannot be written: " + text_of(result));
    unwritten_.erase(first);
  }
}

void Rule::log_once(const std::string& text) {
  if (text == logged_) return;
  logged_ = text;
  log(Severity::warning, "rule " + name_ + ": " + text);
}

}  // namespace expert
