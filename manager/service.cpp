#include "manager/service.h"

#include <exception>
#include <string>

#include "manager/base/log.h"
#include "manager/daemon.h"
#include "platform/daemon_service.h"

namespace ox::manager {
namespace {

constexpr platform::ServiceEntry entry{
    .name = "Oxbase", .title = "OXBASE manager", .log_source = "oxmgrd", .option = "--service"};

std::string next_step(platform::Error error) {
  if (error == platform::error_access_denied) return "do it as an administrator";
  if (error == platform::error_not_supported) return "enable the unit share/systemd/oxmgrd.service";
  return "look into the list of services";
}

int result_of(platform::Error error, const char* what) {
  if (error == platform::error_none) return 0;
  log(Severity::error, std::string("the service ") + entry.name + " cannot be " + what + ": system error " +
                           std::to_string(error) + "; next: " + next_step(error));
  return 1;
}

// Nobody above the service manager's call takes exceptions.
int run_guarded() {
  try {
    return run_daemon();
  } catch (const std::exception& error) {
    log(Severity::error, error.what());
    return 1;
  }
}

}  // namespace

int install_service() { return result_of(platform::install_service(entry), "installed"); }
int remove_service() { return result_of(platform::remove_service(entry), "removed"); }

int run_as_service() {
  int result = 1;
  const platform::Error error = platform::run_service(entry.name, run_guarded, result);
  return error == platform::error_none ? result : result_of(error, "run: only the service manager starts it so");
}

}  // namespace ox::manager
