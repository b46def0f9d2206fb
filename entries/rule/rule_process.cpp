// The programs of rules.
#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

#include "common/paths.h"
#include "common/process.h"
#include "common/settings.h"
#include "entries/rule/rule.h"
#include "platform/fork.h"
#include "platform/named_event.h"

namespace ox::entries {
namespace {

constexpr std::uint32_t most_running = 63;  // the table has room for more

struct ProcessTable {
  struct Pair {
    oxcProcess* process;
    oxrRule* rule;
  };
  std::uint32_t count;
  Pair pairs[128];

  void remove(Pair& pair) noexcept { pair = pairs[--count]; }
};

ProcessTable* table = nullptr;  // made at the first start, and kept
[[maybe_unused]] const bool follows_forks = platform::in_forked_child([]() noexcept { table = nullptr; });

std::string_view text_of(const char* text) noexcept { return text != nullptr ? text : ""; }

bool is_ours(const oxrRule* rule) noexcept {
  return rule != nullptr && text_of(rule->RuleName).find(':') == std::string_view::npos;
}

bool runs_elsewhere(const oxrRule& rule) noexcept {
  const std::string_view component = text_of(rule.Component);
  return !component.empty() && component != text_of(oxcGetMyComm());
}

std::string rule_folder() {
  const std::string folder = settings::text("RulePath", max_path);
  return !folder.empty() ? folder : home_path({"rules"});
}

// A program is named, not where it is.
bool is_program_name(std::string_view name) noexcept {
  return !name.empty() && !has_separator(name) && name.find_first_of(" \t\"") == std::string_view::npos;
}

std::string command_line(const oxrRule& rule) {
  std::string line(text_of(rule.RuleName));
  line.append(".exe ").append(text_of(rule.EntryName)).append(" ").append(text_of(rule.Target)).append(" ");
  // Both are signed to those who read them.
  line.append(std::to_string(static_cast<std::int32_t>(rule.Interval))).append(" ");
  line.append(std::to_string(static_cast<std::int32_t>(rule.Level))).append(" ");
  return line.append(text_of(rule.Argument));
}

platform::Error launch(const oxrRule& rule, process_ptr& process) {
  platform::Error error = platform::error_invalid_name;
  if (is_program_name(text_of(rule.RuleName))) {
    const std::string program = join_path({rule_folder(), std::string(rule.RuleName) + ".exe"});
    error = start_process(program.c_str(), command_line(rule).c_str(), rule.OutputFile, process);
  }
  if (error != platform::error_none) {
    OX_TRACE(trace::rules, "<X:oxcCreateProcess[%ld]>\n", trace::number(error));
    return error;
  }
  error = platform::wait_for_input(process->program, platform::infinite);
  if (error == platform::error_none) return error;
  OX_TRACE(trace::rules, "<X:WaitForInputIdle[%ld]>\n", trace::number(error));
  process->program.kill();
  return error;
}

// The manager may be gone; the program runs, or does not, all the same.
OX_RESULT tell_failure(oxrRule& rule, platform::Error error) {
  (void)write_rule(nullptr, rule.EntryName, rule_error_path, std::to_string(error).c_str());
  (void)write_admin_status(nullptr, &rule, 0);
  return 0;
}

void tell_running(oxrRule& rule) {
  if (rule.OperStatus != rule_running) (void)write_oper_status(nullptr, &rule, rule_running);
}

std::uint32_t check_processes() {
  std::uint32_t ended = 0;
  for (std::uint32_t i = table != nullptr ? table->count : 0; i != 0; --i) {
    ProcessTable::Pair& pair = table->pairs[i - 1];
    if (pair.process->program.running()) continue;
    pair.rule->ExitStatus = pair.process->program.wait({});
    pair.rule->Process = nullptr;
    delete pair.process;
    table->remove(pair);
    ++ended;
  }
  return ended;
}

OX_RESULT start(oxrRule* rule) {
  if (table == nullptr) table = make_tracked<ProcessTable>("oxrProcessTable").release();
  if (table == nullptr) return OX_ENOMEM;
  if (!is_ours(rule)) return 1;
  (void)check_processes();
  if (rule->Process != nullptr) return tell_running(*rule), 1;
  if (runs_elsewhere(*rule) || table->count >= most_running) return 1;
  process_ptr process;
  if (const platform::Error error = launch(*rule, process)) return tell_failure(*rule, error);
  rule->Process = process.release();
  table->pairs[table->count++] = {rule->Process, rule};
  tell_running(*rule);
  return 1;
}

OX_RESULT stop(oxrRule* rule, std::uint32_t mode) {
  constexpr std::uint32_t tells = 2;
  if (!is_ours(rule)) return 1;
  (void)check_processes();
  OX_TRACE(trace::rules, "<X:oxrStop() : hRuleProcess = %lx>\n",
           static_cast<unsigned long>(trace::word(rule->Process)));
  if (mode != 0 && rule->Process != nullptr) {
    platform::close_window(rule->EntryName != nullptr ? rule->EntryName : "", rule->Process->program);
  } else if (mode == tells) {
    (void)write_oper_status(nullptr, rule, rule_idle);
  }
  if (rule->Process == nullptr) return 1;
  forget_rule(*rule);
  (void)oxcFreeProcess(std::exchange(rule->Ending, std::exchange(rule->Process, nullptr)));
  return 1;
}

}  // namespace

void forget_rule(const oxrRule& rule) noexcept {
  for (std::uint32_t i = table != nullptr ? table->count : 0; i != 0; --i) {
    if (table->pairs[i - 1].rule == &rule) table->remove(table->pairs[i - 1]);
  }
}

}  // namespace ox::entries

using namespace ox;
using namespace ox::entries;

OX_RESULT OX_CALL oxrStart(oxrRule* rule) {
  OX_RULE_START("oxrStart", "%lx", static_cast<unsigned long>(trace::word(rule)));
  return OX_RULE_CALL("oxrStart", [&] { return start(rule); });
}

OX_RESULT OX_CALL oxrStop(oxrRule* rule, uint32_t mode) {
  OX_RULE_START("oxrStop", "%lx,%ld", static_cast<unsigned long>(trace::word(rule)), trace::number(mode));
  return OX_RULE_CALL("oxrStop", [&]() -> OX_RESULT {
    (void)guarded([&] { return stop(rule, mode); });
    return 1;
  });
}

uint32_t OX_CALL oxrProcessCheck(void) {
  OX_RULE_START("oxrProcessCheck", "");
  return OX_RULE_CALL("oxrProcessCheck", [] { return check_processes(); });
}

OX_RESULT OX_CALL oxrStartRequest(const char* manager, oxrRule* rule) {
  OX_RULE_START("oxrStartRequest", "%s,%lx", trace::text(manager), static_cast<unsigned long>(trace::word(rule)));
  return OX_RULE_CALL("oxrStartRequest", [&]() -> OX_RESULT {
    if (rule == nullptr) return OX_EARG;
    return rule->OperStatus == rule_idle ? write_admin_status(manager, rule, 1) : OX_RESULT{OX_OK};
  });
}
