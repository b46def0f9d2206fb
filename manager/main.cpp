#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include <oxbase/oxc.h>

#include "common/terminal_text.h"
#include "manager/backup.h"
#include "manager/base/log.h"
#include "manager/check.h"
#include "manager/daemon.h"
#include "manager/service.h"
#include "manager/version.h"

namespace {

void print(const std::string& text) { ox::print(stdout, text + '\n'); }
void print_fault(const std::string& file, std::uint32_t line, const std::string& text) {
  std::printf("%s:%u: ", file.c_str(), line);
  print(text);
}

int check() {
  const bool sound = ox::manager::check_installation(&print_fault, &print);
  if (sound) std::puts("The installation is sound.");
  return sound ? 0 : 1;
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): without memory for its own options it may end as it likes.
int main(int argc, char** argv) {
  CLI::App app("The manager daemon: holds the AMIB, the components and their values, and reads the network.");
  bool check_only = false;
  bool foreground = false;
  bool backup = false;
  bool service = false;
  bool install = false;
  bool remove = false;
  std::string restored;
  app.add_flag("--check", check_only, "Check the installation, print every fault as file:line: text, and end");
  app.add_flag("--foreground", foreground, "Log to the standard error stream instead of the system log");
  app.add_flag("--backup", backup,
               "Copy the databases into a new folder under 'backup' of the work folder, also while the manager runs");
  app.add_option("--restore", restored, "Put the databases of such a folder in place, while no manager runs")
      ->type_name("FOLDER");
  app.add_flag("--install-service", install, "Windows: have the system start the manager, as the service Oxbase");
  app.add_flag("--remove-service", remove, "Windows: take that service away");
  app.add_flag("--service", service, "As the service manager starts it")->group("");
  app.set_version_flag("--version", std::string("oxmgrd ") + OXMGRD_VERSION);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  }
  try {
    if (check_only) return check();
    if (backup) return ox::manager::back_up(&print_fault, &print) ? 0 : 1;
    if (!restored.empty()) return ox::manager::restore(restored, &print_fault, &print) ? 0 : 1;
    foreground ? ox::manager::log_to_stderr() : ox::manager::log_of_start();
    if (install) return ox::manager::install_service();
    if (remove) return ox::manager::remove_service();
    return service ? ox::manager::run_as_service() : ox::manager::run_daemon();
  } catch (const std::exception& error) {
    ox::manager::log(ox::manager::Severity::error, error.what());
    return 1;
  }
}
