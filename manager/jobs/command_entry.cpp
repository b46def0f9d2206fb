#include "manager/jobs/command_entry.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

#include <oxbase/oxc.h>

#include "common/code_page.h"
#include "manager/base/paths.h"

namespace ox::manager {
namespace {

namespace fs = std::filesystem;
using Attribute = CommandAttribute;

constexpr std::size_t kept_output = 4096;
constexpr std::uint32_t most_words = 1024;

std::string text_of(const Values& values, Attribute attribute) {
  const auto found = values.find(command_path(attribute));
  if (found == values.end()) return {};
  return found->second.bytes.substr(0, found->second.bytes.find('\0'));
}

bool has_range(const oxcmdSchTime* times) {
  while (times != nullptr && times->end == 0) times = times->next;
  return times != nullptr;
}

bool ends_in_exe(const std::string& name) {
  constexpr std::string_view exe = ".exe";
  return name.size() > exe.size() && std::equal(exe.begin(), exe.end(), name.end() - exe.size(), [](char a, char b) {
           return a == std::tolower(static_cast<unsigned char>(b));
         });
}

std::vector<std::string> folders_of(const std::string& text) {
  std::vector<std::string> folders;
  for (std::size_t at = 0; at <= text.size() && !text.empty();) {
    const std::size_t end = std::min(text.find(';', at), text.size());
    if (end != at) folders.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  if (folders.empty()) folders = {join(oxcGetHomedir(), "bin"), platform::own_program_folder()};
  return folders;
}

// Empty when the file does not stand there.
std::string program_in(const std::string& folder, const std::string& name) {
  std::error_code error;
  const fs::path given(name);
  if (given.has_parent_path() && !fs::equivalent(given.parent_path(), folder, error)) return {};
  const std::string file = join(folder, given.filename().string());
  return fs::is_regular_file(file, error) ? file : std::string();
}

}  // namespace

std::uint32_t number_of(const Values& values, Attribute attribute) {
  const auto found = values.find(command_path(attribute));
  return number_of(found == values.end() ? nullptr : &found->second);
}

CommandEntry command_entry(const Values& values) {
  CommandEntry entry;
  entry.command = text_of(values, Attribute::command);
  entry.argument = text_of(values, Attribute::argument);
  entry.start_time = number_of(values, Attribute::start_time);
  entry.interval = number_of(values, Attribute::interval);
  entry.armed = number_of(values, Attribute::admin_status) == 1;
  entry.mode = number_of(values, Attribute::mode);
  entry.schedule = text_of(values, Attribute::schedule);
  entry.invalid_command = text_of(values, Attribute::invalid_command);
  entry.invalid_argument = text_of(values, Attribute::invalid_argument);
  return entry;
}

OX_RESULT check_command(const Change& change) {
  if (change.kind != Change::Kind::set) return OX_OK;
  const Values set{{change.path, change.value}};
  if (change.path == command_path(Attribute::schedule)) {
    return oxcmdStrToSchedule(text_of(set, Attribute::schedule).c_str(), nullptr);
  }
  const bool status = change.path == command_path(Attribute::admin_status);
  return status && number_of(set, Attribute::admin_status) > 1 ? OX_RESULT{OX_EFORMAT} : OX_RESULT{OX_OK};
}

OX_RESULT plan_of(const CommandEntry& entry, const Zone& zone, Plan& plan) {
  plan.period = {entry.interval, 's'};
  plan.from_opening = true;
  plan.start = entry.start_time;
  plan.zone = &zone;
  return read_schedule(entry.schedule, plan.schedule);
}

bool has_ranges(const Plan& plan) {
  const Schedule* const schedule = plan.schedule.get();
  if (schedule == nullptr || (schedule->dates != nullptr && !has_range(schedule->dates))) return false;
  if (schedule->times == nullptr || has_range(schedule->times)) return true;
  for (const oxcmdCalender* item = schedule->calender; item != nullptr; item = item->next) {
    if (item->flag == 0 && (item->times == nullptr || has_range(item->times))) return true;
  }
  return false;
}

std::string find_command(const std::string& command, const std::string& folders, std::string& why) {
  why.clear();
  if (command.empty()) {
    why = "it has no CmdName";
    return {};
  }
  std::string all;
  for (const std::string& folder : folders_of(folders)) {
    for (const std::string& name :
         {command, ends_in_exe(command) ? command.substr(0, command.size() - 4) : command + ".exe"}) {
      if (const std::string file = program_in(folder, name); !file.empty()) return file;
    }
    all += (all.empty() ? "" : ", ") + folder;
  }
  why = command + " is no program of " + all + "; next: put it there, or name its folder in CommandPath of oxmgrd.cf";
  return {};
}

std::string whole_output(std::string_view kept) {
  static const CodePage page(oxcGetCodePage());
  return std::string(kept.size() < kept_output ? kept : kept.substr(page.first_whole(kept)));
}

OX_RESULT command_order(const std::string& program, const std::string& argument, std::vector<std::string> variables,
                        Programs::Order& order) {
  order.arguments = {program};
  order.setting = {
      .variables = std::move(variables), .kept_output = kept_output, .keeps_end = true, .folder = oxcGetWorkdir()};
  if (platform::takes_line_as_it_is) {
    order.setting.rest_of_line = argument;
    return OX_OK;
  }
  if (argument.empty()) return OX_OK;
  std::string line = argument;
  std::vector<char*> words(most_words);
  std::uint32_t count = 0;
  if (const OX_RESULT result = oxcToken(line.data(), nullptr, words.data(), most_words, &count)) return result;
  order.arguments.insert(order.arguments.end(), words.begin(), words.begin() + count);
  return OX_OK;
}

}  // namespace ox::manager
