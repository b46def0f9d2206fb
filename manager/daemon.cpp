#include "manager/daemon.h"

#include <asio/signal_set.hpp>
#include <csignal>

#include <oxbase/oxb.h>
#include <oxbase/oxc.h>

#include "manager/base/log.h"
#include "manager/base/paths.h"
#include "manager/definitions.h"
#include "manager/requests/manager.h"
#include "manager/sessions/server.h"
#include "manager/traps/receiver.h"
#include "platform/named_event.h"
#include "platform/service.h"

namespace ox::manager {
namespace {

constexpr char pipe_name[] = "\\\\.\\PIPE\\ox_stdpipe";
constexpr char base_event[] = "Global\\OxWaitEvent";
constexpr char service_name[] = "Oxbase";

int fail(const std::string& text) {
  log(Severity::error, text);
  return 1;
}

void log_fault(const std::string& file, std::uint32_t line, const std::string& text) {
  log(Severity::error, file + ':' + std::to_string(line) + ": " + text);
}

// Reads what the manager needs beside the tree. A fault in the types' files is logged, and the rest is used.
bool take_up(Manager& manager, const std::string& data) {
  (void)manager.vocabulary.read(oxcGetWorkdir(), log_fault);
  return ensure_directory(data) && manager.journal.load(manager.store, log_fault) && manager.events.open(log_fault);
}

int serve(Manager& manager) {
  platform::NamedEvent started;
  if (const auto error = started.create(base_event, platform::Access::machine)) {
    return fail("the base services' event cannot be made: " + std::to_string(error));
  }
  Server server(manager);
  if (const auto error = server.start(pipe_name)) return fail("the pipe cannot be served: " + std::to_string(error));
  asio::signal_set signals(manager.loop, SIGINT, SIGTERM);
  signals.async_wait([&](const asio::error_code& error, int signal) {
    if (error) return;
    log(Severity::information,
        "ended by signal " + std::to_string(signal) + ", " + std::to_string(oxcGetMemValue(1)) + " blocks in use");
    manager.loop.stop();
  });
  TrapReceiver traps(manager);
  if (manager.settings.trap_port != 0) traps.start();
  log(Severity::information, std::string("serving the installation ") + oxcGetWorkdir());
  manager.loop.run();
  if (manager.settings.trap_port != 0) traps.end();
  return 0;
}

}  // namespace

int run_daemon() {
  if (*oxcGetWorkdir() == '\0') return fail("WorkDir is not set");
  platform::ServiceMark mark;
  if (const auto error = mark.hold(service_name)) {
    return fail(error == platform::error_already_exists ? std::string("another manager serves this system")
                                                        : "the service mark cannot be held: " + std::to_string(error));
  }
  Settings settings;
  (void)read_settings(settings_file(), settings, log_fault);
  bool sound = true;
  const auto files = amib_files(log_fault, sound);
  if (const OX_RESULT result = hold_tree(files, log_fault)) {
    if (result == OX_ETREEEXISTS) return fail("running processes still hold an AMIB of other definition files");
    return fail(std::string("the AMIB cannot be loaded: ") + oxcStrError(result));
  }
  const std::string data = join(oxcGetWorkdir(), "data");
  asio::io_context loop;
  Manager manager(loop, settings, data);
  const int code =
      take_up(manager, data) ? serve(manager) : fail("the component store or the event log cannot be read");
  (void)oxbDeleteAmibTree(OXB_TREE);
  return code;
}

}  // namespace ox::manager
