#include "expert/keeper.h"

#include <algorithm>
#include <memory>
#include <string_view>
#include <utility>

#include <oxbase/oxa.h>

#include "expert/attributes.h"
#include "expert/log.h"
#include "platform/environment.h"

namespace expert {
namespace {

constexpr char all_rules[] = "ruleEnt:*";

struct FreeNodes {
  void operator()(dnode* list) const noexcept { (void)oxdFree(list); }
};
using Nodes = std::unique_ptr<dnode, FreeNodes>;

// What a report of that attribute means; 0 for those that the daemon writes itself.
unsigned told_by(std::string_view path) {
  if (path == admin_path) return Rule::anything | Rule::admin;
  if (path == request_path) return Rule::anything | Rule::request;
  for (const char* const own : {oper_path, error_path, output_path, end_path, process_path, starts_path}) {
    if (path == own) return 0;
  }
  return Rule::anything;
}

}  // namespace

Keeper::~Keeper() {
  if (following_ != nullptr) (void)oxaClose(following_);
}

void Keeper::attach() {
  constexpr std::uint32_t only_changes = 64;
  lists_ = true;
  if (following_ != nullptr) return;  // it goes on with the new session
  const OX_RESULT result =
      oxaAsyGet(nullptr, all_rules, all_paths, nullptr, only_changes, 0, &on_report, this, &following_);
  if (result != OX_OK) log(Severity::error, std::string("rules cannot be followed: ") + oxcStrError(result));
}

void Keeper::on_report(void* request, void* argument, dnode* list, OX_RESULT code) {
  auto& self = *static_cast<Keeper*>(argument);
  const Nodes nodes(list);
  if (code == OX_EENDED) {  // the manager has ended it
    (void)oxaClose(request);
    self.following_ = nullptr;
    self.attach();
  }
  if (code != OX_OK) self.lists_ = true;
  for (dnode* node = list; node != nullptr; node = oxdNext(node)) self.take(node);
}

void Keeper::take(dnode* node) {
  const char* name = nullptr;
  const char* path = nullptr;
  if (oxdGetCompName(node, &name) != OX_OK || oxdGetAmibName(node, &path) != OX_OK) return;
  if (const unsigned told = told_by(path)) rules_.try_emplace(name, name, folder_).first->second.tell(told);
}

// Those that are known and not there any more are found to be gone.
void Keeper::list() {
  dnode* answer = nullptr;
  const OX_RESULT result = oxaGet(nullptr, all_rules, name_path, nullptr, 0, 20, &answer);
  const Nodes nodes(answer);
  if (result != OX_OK && result != OX_ENOTFOUND && result != OX_ENOCOMP) return;  // at the next turn
  lists_ = false;
  for (auto& [name, rule] : rules_) rule.tell(Rule::anything);
  for (dnode* node = answer; node != nullptr; node = oxdNext(node)) take(node);
}

void Keeper::turn(Rule& rule, const std::string& name, Time now) {
  running_ -= rule.runs() ? 1 : 0;
  programs_ -= rule.has_program() ? 1 : 0;
  rule.turn(now, running_);
  running_ += rule.runs() ? 1 : 0;
  programs_ += rule.has_program() ? 1 : 0;
  run_file_.note(name, rule.process());
}

void Keeper::turn() {
  constexpr Time output_interval = std::chrono::seconds(10);
  const Time now = clock_();
  if (lists_) list();
  (void)oxrProcessCheck();
  running_ = static_cast<std::uint32_t>(
      std::count_if(rules_.begin(), rules_.end(), [](const auto& entry) { return entry.second.runs(); }));
  for (auto& [name, rule] : rules_) turn(rule, name, now);
  std::erase_if(rules_, [](const auto& entry) { return entry.second.gone(); });
  if (now - looked_at_output_ < output_interval) return;
  looked_at_output_ = now;
  for (auto& [name, rule] : rules_) {
    if (rule.has_program()) rule.look_at_output();
  }
}

void Keeper::end() {
  bool some = true;
  while (std::exchange(some, false)) {
    const Time now = clock_();
    (void)oxrProcessCheck();
    for (auto& [name, rule] : rules_) {
      rule.give_up(now);
      run_file_.note(name, rule.process());
      some = some || rule.has_program();
    }
    if (some) ox::platform::sleep_ms(20);
  }
}

}  // namespace expert
