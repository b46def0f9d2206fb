#include "expert/run_file.h"

#include <cinttypes>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <vector>

#include "expert/log.h"
#include "platform/environment.h"
#include "platform/file.h"
#include "platform/process_list.h"
#include "platform/program.h"

namespace expert {
namespace {

namespace platform = ox::platform;

constexpr char mark_name[] = "OXEXPD_RUN";

std::string mark_of(const Identity& daemon) { return std::to_string(daemon.id) + '.' + std::to_string(daemon.started); }

std::string line_of(const char* kind, const Identity& process, const std::string& name) {
  return std::string(kind) + ' ' + std::to_string(process.id) + ' ' + std::to_string(process.started) +
         (name.empty() ? "" : ' ' + name) + '\n';
}

// Lines that do not read are passed over: the others count all the same.
std::vector<platform::LeftOver> read(const std::string& path) {
  std::vector<platform::LeftOver> all;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line);
    std::string kind;
    platform::LeftOver one;
    if (!(words >> kind >> one.id >> one.started) || one.id == 0 || one.started == 0) continue;
    one.is_owner = kind == "daemon";
    if (one.is_owner) one.mark = std::string(mark_name) + '=' + mark_of({one.id, one.started});
    if (one.is_owner || kind == "rule") all.push_back(std::move(one));
  }
  return all;
}

}  // namespace

bool RunFile::take_over() {
  const std::vector<platform::LeftOver> left = read(path_);
  if (platform::end_left_over(left)) {
    for (int i = 0; i < 500 && platform::end_left_over(left); ++i) platform::sleep_ms(10);  // until they are gone
    log(Severity::warning, "the daemon before this one was killed: the rule programs that it had left were ended");
  }
  self_.id = platform::process_id();
  self_.started = platform::start_of_process(self_.id);
  if (!write()) return false;
  platform::give_programs(mark_name, mark_of(self_));
  return true;
}

void RunFile::note(const std::string& rule, const Identity& program) {
  const auto known = running_.find(rule);
  if (known == running_.end() ? program.id == 0 : known->second == program) return;
  if (program.id == 0) {
    running_.erase(known);
  } else {
    running_[rule] = program;
  }
  if (!write()) log(Severity::warning, path_ + " cannot be written: next: see that there is room on the disk");
}

// What lies under the file's name is whole at any moment.
bool RunFile::write() const {
  const std::string fresh = path_ + ".new";
  std::ofstream file(fresh, std::ios::trunc);
  file << line_of("daemon", self_, "");
  for (const auto& [name, process] : running_) file << line_of("rule", process, name);
  file.close();
  return !file.fail() && platform::replace_file(fresh.c_str(), path_.c_str()) == platform::error_none;
}

}  // namespace expert
