#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include <oxbase/oxc.h>

#include "manager/base/log.h"
#include "manager/check.h"
#include "manager/daemon.h"
#include "manager/version.h"

namespace {

int check() {
  const bool sound =
      ox::manager::check_installation([](const std::string& file, std::uint32_t line, const std::string& text) {
        std::printf("%s:%u: %s\n", file.c_str(), line, text.c_str());
      });
  if (sound) std::puts("The installation is sound.");
  return sound ? 0 : 1;
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): without memory for its own options it may end as it likes.
int main(int argc, char** argv) {
  CLI::App app("The manager daemon: holds the AMIB, the components and their values, and reads the network.");
  bool check_only = false;
  bool foreground = false;
  app.add_flag("--check", check_only, "Check the installation, print every fault as file:line: text, and end");
  app.add_flag("--foreground", foreground, "Log to the standard error stream instead of the system log");
  app.set_version_flag("--version", std::string("oxmgrd ") + OXMGRD_VERSION);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  }
  try {
    if (check_only) return check();
    foreground ? ox::manager::log_to_stderr() : ox::manager::log_of_start();
    return ox::manager::run_daemon();
  } catch (const std::exception& error) {
    ox::manager::log(ox::manager::Severity::error, error.what());
    return 1;
  }
}
