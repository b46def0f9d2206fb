#include <CLI/CLI.hpp>
#include <exception>

#include "expert/daemon.h"
#include "expert/log.h"

// NOLINTNEXTLINE(bugprone-exception-escape): without memory for its own options it may end as it likes.
int main(int argc, char** argv) {
  CLI::App app("The expert daemon: starts the programs of rules, and keeps them.", "oxexpd");
  bool foreground = false;
  app.add_flag("--foreground", foreground, "Log to the standard error stream instead of the system log");
  app.set_version_flag("--version", std::string("oxexpd ") + OXEXPD_VERSION);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  }
  try {
    if (foreground) expert::log_to_stderr();
    return expert::run_daemon();
  } catch (const std::exception& error) {
    expert::log(expert::Severity::error, error.what());
    return 1;
  }
}
