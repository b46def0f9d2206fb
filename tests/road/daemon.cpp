#include "tests/road/daemon.h"

#include <csignal>
#include <stdexcept>
#include <thread>

#include <oxbase/oxc.h>

#include "tests/support/shipped_installation.h"
#include "tests/support/system_root.h"

namespace ox::test {
namespace {

constexpr auto patience = std::chrono::seconds(20);

std::string program() { return OX_PROGRAMS "/oxmgrd"; }

}  // namespace

Daemon::Daemon() {
  lay_down_installation();
  start();
}

void Daemon::start() {
  static int starts = 0;  // each start has a log of its own
  log_file_ = system_root() + "/oxmgrd" + std::to_string(++starts) + ".log";
  process_ = ChildProcess({program(), "--foreground"}, log_file_);
  const auto end = std::chrono::steady_clock::now() + patience;
  while (log().find("serving the installation") == std::string::npos) {
    if (!process_.running() || std::chrono::steady_clock::now() > end) throw std::runtime_error("oxmgrd: " + log());
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

int Daemon::end() {
  ::kill(process_.pid(), SIGTERM);
  return process_.wait(patience);
}

std::string Daemon::log() const { return read_file(log_file_); }

int check_installation(std::string& output) {
  lay_down_installation();
  const std::string file = system_root() + "/check.log";
  ChildProcess process({program(), "--check"}, file);
  const int status = process.wait(patience);
  output = read_file(file);
  return status;
}

}  // namespace ox::test
