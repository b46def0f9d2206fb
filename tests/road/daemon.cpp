#include "tests/road/daemon.h"

#include <stdexcept>
#include <thread>

#include <oxbase/oxc.h>

#include "tests/support/installation.h"
#include "tests/support/system_root.h"

namespace ox::test {
namespace {

constexpr auto patience = std::chrono::seconds(20);

std::string program(const std::string& name) { return OX_PROGRAMS "/" + name; }

}  // namespace

Daemon::Daemon() {
  lay_down_installation();
  start();
}

void Daemon::start() {
  static int starts = 0;  // each start has a log of its own
  log_file_ = system_root() + "/oxmgrd" + std::to_string(++starts) + ".log";
  process_ = ChildProcess({program("oxmgrd"), "--foreground"}, log_file_);
  const auto end = std::chrono::steady_clock::now() + patience;
  while (log().find("serving the installation") == std::string::npos) {
    if (!process_.running() || std::chrono::steady_clock::now() > end) throw std::runtime_error("oxmgrd: " + log());
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

int Daemon::end() {
  process_.ask_to_end();
  return process_.wait(patience);
}

std::string Daemon::log() const { return read_text(log_file_); }

std::string run_program(std::vector<std::string> arguments) {
  const std::string file = system_root() + "/output";
  write_file(file, "");
  arguments[0] = program(arguments[0]);
  const int status = ChildProcess(arguments, file).wait(patience);
  return std::to_string(status) + ' ' + read_text(file);
}

}  // namespace ox::test
