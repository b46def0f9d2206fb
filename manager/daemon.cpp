#include "manager/daemon.h"

#include <asio/post.hpp>
#include <asio/signal_set.hpp>
#include <asio/steady_timer.hpp>
#include <csignal>
#include <new>
#include <optional>
#include <utility>

#include <oxbase/oxb.h>
#include <oxbase/oxc.h>

#include "common/protocol.h"
#include "manager/base/log.h"
#include "manager/base/paths.h"
#include "manager/base/store_page.h"
#include "manager/base/zone.h"
#include "manager/definitions.h"
#include "manager/requests/manager.h"
#include "manager/requests/router.h"
#include "manager/traps/receiver.h"
#include "manager/tree_wait.h"
#include "platform/daemon_service.h"
#include "platform/machine_objects.h"
#include "platform/named_event.h"
#include "platform/program.h"
#include "platform/rights.h"
#include "platform/service.h"
#include "platform/shared_block.h"

namespace ox::manager {
namespace {

// Why the daemon does not start, and what to type next.
int fail(const std::string& text, const std::string& next) {
  log(Severity::error, text + "; next: " + next);
  return 1;
}

constexpr char see_check[] = "oxmgrd --check, which tells every fault with its line";

std::string system() {
  const std::string root = oxcGetSystemRoot();
  return root.empty() ? "this machine" : root;
}

// A call of the system that failed.
int fail(const std::string& text, platform::Error error) {
  platform::set_last_error(error);
  const std::string why = oxcStrError(oxcGetWinError());
  const bool denied = error == platform::error_access_denied || error == platform::error_write_protected;
  return fail(text + ": " + why + " (system error " + std::to_string(error) + ")",
              denied ? "start it as the account that owns " + system() +
                           ", or name an installation of your own in "
                           "OXBASE_SYSTEM"
                     : "see that there is room and that " + system() + " can be written, then start it again");
}

// The installation's files can be read and written. The exit code.
int find_installation() {
  if (const platform::WrongRights refused = platform::refused_account(); !refused.fault.empty()) {
    return fail("root does not serve " + system() + ": " + refused.fault, refused.command);
  }
  const std::string work = oxcGetWorkdir();
  if (work.empty()) {
    return fail("there is no installation in " + system() + ": WorkDir is not set",
                "make-installation '" + system() + "', or name the folder of another one in OXBASE_SYSTEM");
  }
  if (oxcCheckFile(work.c_str(), 2) != OX_OK) {
    return fail("WorkDir is " + work + ", which is no folder", "correct WorkDir in the registry of " + system());
  }
  return 0;
}

int hold_mark(platform::ServiceMark& mark) {
  const platform::Error error = mark.hold(service_name);
  if (error == platform::error_none) return 0;
  if (error != platform::error_already_exists)
    return fail("the service mark in " + system() + " cannot be held", error);
  const std::uint32_t process = platform::service_process(service_name);
  const std::string id = process != 0 ? std::to_string(process) : "ID";
  return fail("another manager serves " + system() + (process != 0 ? ": process " + id : ""),
              "nothing, when it is the right one; else end it (kill " + id + ") or work elsewhere: OXBASE_SYSTEM");
}

// Who asks for the services whose work is done here finds them running.
struct JobMarks {
  JobMarks() {
    for (const auto& [mark, name] : {std::pair{&commands, "Oxcmd"}, std::pair{&collection, "Oxlogd"}}) {
      const platform::Error error = mark->hold(name);
      if (error == platform::error_none) continue;
      log(Severity::warning, std::string("the mark of the service ") + name +
                                 " is held by somebody else; who asks for it " + "is told of that one (system error " +
                                 std::to_string(error) + ")");
    }
  }
  platform::ServiceMark commands;
  platform::ServiceMark collection;
};

// The definition files in use, and whether the tree is one of older files.
struct Definitions {
  std::vector<std::string> files;
  bool outdated = false;
};

int hold_definitions(FaultList& faults, Definitions& definitions) {
  bool sound = true;
  definitions.files = sound_amib_files(faults.sink(), sound);
  if (definitions.files.empty()) {
    return fail("there are no sound definition files in " + join(oxcGetWorkdir(), "public", "amib"),
                "make-installation '" + system() + "' lays down what is missing; else " + see_check);
  }
  const OX_RESULT result = hold_tree(definitions.files, definitions.outdated);
  if (result == OX_OK) return 0;
  return fail(std::string("the AMIB cannot be loaded: ") + oxcStrError(result), see_check);
}

// A fault of the manager's own files is an event, too, as soon as there can be one.
void tell_fault(Manager& manager, const std::string& file, const std::string& text) {
  log(Severity::error, file + ": " + text);
  manager.faults.add(file + ": " + text);
  asio::post(manager.loop, [&manager, detail = file + ": " + text] {
    try {
      manager.events.tell(4, "a file of the manager is damaged or refuses changes", detail);
    } catch (const std::bad_alloc&) {
      log(Severity::error, "out of memory: no event tells of a fault");
    }
  });
}

// Files of forms that were never released are left as they are.
void name_old_files(const std::string& data) {
  const auto name = [&data](const char* old, std::uint32_t kind) {
    const std::string file = join(data, old);
    if (oxcCheckFile(file.c_str(), kind) == OX_OK) log(Severity::warning, file + ": of an older form, not read");
  };
  for (const char* file : {"components.def", "components.jnl", "events.1.log"}) name(file, 1);
  name("collected", 2);
}

// Makes it where it is missing.
bool take_up_folder(const std::string& data) {
  if (!ensure_directory(data)) return false;
  note_page(data);
  if (const std::string warning = page_warning(data); !warning.empty()) log(Severity::warning, warning);
  return true;
}

// What is wrong with the file keeps out those whom a rule may have been to keep out.
bool read_access(Manager& manager) {
  const auto type_name = [&manager](std::string_view type) {
    const std::string name = manager.vocabulary.canonical_type(type);
    return manager.vocabulary.has_type(name) ? name : std::string();
  };
  if (manager.access.read(access_file(), type_name, manager.faults.sink())) return true;
  log(Severity::warning, access_file() + " has faults: its rules are as they were before, and where there were none, " +
                             "only administrators are let in; next: oxmgrd --check");
  return false;
}

// Reads what the manager needs beside the tree. A fault in the types' files is logged, and the rest is used.
bool take_up(Manager& manager, const std::string& data) {
  const FaultSink faults = manager.faults.sink();
  (void)manager.vocabulary.read(oxcGetWorkdir(), faults);
  const auto tell = [&manager](const std::string& file, std::uint32_t, const std::string& text) {
    tell_fault(manager, file, text);
  };
  (void)read_access(manager);
  name_old_files(data);
  return take_up_folder(data) && manager.components.open(tell) && manager.events.open(tell) &&
         manager.collected_file.open(tell) && manager.run_ledger.open(tell);
}

// Beside the work; what turns out to be damaged is set aside.
void check_files(Manager& manager) {
  manager.events.check();
  manager.collected_file.check();
  manager.run_ledger.check();
  manager.components.check(manager.loop, manager.store);
}

// Faulty lines leave the settings as they are. The roles are those of clients that come from now on.
void read_settings_again(Manager& manager) {
  (void)read_access(manager);
  const std::string file = settings_file();
  Settings fresh;
  if (!read_settings(file, fresh, manager.faults.sink())) {
    return log(Severity::warning, "asked to read " + file + " again: it has faults, so the settings stay as they are");
  }
  const Changes changes = take_over(fresh, manager.settings);
  std::string text = "settings read again from " + file;
  if (changes.at_once.empty() && changes.at_restart.empty()) text += ": nothing has changed";
  if (!changes.at_once.empty()) text += "; changed: " + changes.at_once;
  if (!changes.at_restart.empty()) text += "; changes at the next start: " + changes.at_restart;
  log(Severity::information, text);
}

// The signal comes through the loop, however early; it never ends the daemon.
class Reload {
 public:
  explicit Reload(asio::io_context& loop) : signals_(loop) {
    if (platform::reload_signal != 0) signals_.add(platform::reload_signal);
  }

  void obey(Manager& manager) {
    if (platform::reload_signal == 0) return;
    signals_.async_wait([this, &manager](const asio::error_code& error, int) {
      if (error) return;
      read_settings_again(manager);
      obey(manager);
    });
  }

 private:
  asio::signal_set signals_;
};

// One event for each definition or settings file with faults.
void announce_faults(Manager& manager) {
  for (const FaultList::File& file : manager.faults.files()) {
    const std::uint64_t more = file.faults - 1;
    const std::string detail =
        file.first + (more == 0 ? "" : "; " + std::to_string(more) + " more, see oxmgrd --check");
    manager.events.tell(3, file.path + " has faults", detail);
  }
}

// Without memory a handler ends alone: what it was to do is lost, the others go on.
void run(asio::io_context& loop) {
  for (;;) {
    try {
      (void)loop.run();
      return;
    } catch (const std::bad_alloc&) {
      log(Severity::error, "out of memory: some work was left undone; next: see what else uses this machine's memory");
    }
  }
}

// The service manager hears that the loop turns; one that hangs is started anew.
class Alive {
 public:
  explicit Alive(asio::io_context& loop) : timer_(loop) {
    if (interval_.count() != 0) tell();
  }

 private:
  void tell() {
    platform::tell_state(platform::DaemonState::alive);
    timer_.expires_after(interval_);
    timer_.async_wait([this](const asio::error_code& error) {
      if (!error) tell();
    });
  }

  std::chrono::milliseconds interval_ = platform::alive_interval();
  asio::steady_timer timer_;
};

bool block_exists(const std::string& block) {
  return platform::SharedBlock().open(block.c_str(), platform::SharedBlock::Mode::read) == platform::error_none;
}

// Data blocks have no gap; those of the index are there or not.
std::vector<std::string> names_of_tree() {
  std::vector<std::string> names;
  for (std::uint32_t i = 0; i < tree_keys; ++i) {
    const std::string name = block_prefix + std::to_string(OXB_TREE + i);
    if (i >= tree_blocks || block_exists(name)) {
      names.push_back(name);
    } else {
      i = tree_blocks - 1;
    }
  }
  return names;
}

// What clients of every account attach: the tree, whose directory leads to its blocks, and the error texts.
platform::Error offer_blocks(platform::MachineObjects& objects) {
  const platform::Error error = objects.offer_blocks(names_of_tree());
  if (error != platform::error_none) return error;
  (void)oxcInitErrmsg();  // without a file, each process tells so itself
  return objects.offer_blocks({"Global\\ox_errmsg"});
}

int serve(Manager& manager, const Definitions& definitions) {
  platform::MachineObjects objects;
  if (const auto error = offer_blocks(objects)) return fail("the tree cannot be offered to clients", error);
  platform::NamedEvent started;
  const std::string event = std::string("Global\\") + base_event_name;
  if (const auto error = started.create(event.c_str(), platform::Access::machine)) {
    return fail("the base services' event cannot be made", error);
  }
  if (const auto error = objects.offer_event(event.c_str())) {
    return fail("the base services' event cannot be offered to clients", error);
  }
  Server server(manager.loop, manager.settings, manager.clients, calls_of(manager));
  if (const auto error = server.start(pipe_name)) {
    if (error != platform::error_already_exists) return fail("the pipe cannot be served", error);
    return fail("another program serves the manager's pipe of " + system(), "end it, or work elsewhere: OXBASE_SYSTEM");
  }
  asio::signal_set signals(manager.loop, SIGINT, SIGTERM);
  signals.async_wait([&](const asio::error_code& error, int signal) {
    if (error) return;
    log(Severity::information,
        "ended by signal " + std::to_string(signal) + ", " + std::to_string(oxcGetMemValue(1)) + " blocks in use");
    platform::tell_state(platform::DaemonState::stopping);
    manager.collected_file.finish();
    manager.loop.stop();
  });
  const Alive alive(manager.loop);
  announce_faults(manager);
  manager.commands.end_left_over(manager.run_ledger.running());
  std::optional<TreeWait> wait;
  if (definitions.outdated) wait.emplace(manager.loop, manager.clients, manager.faults, definitions.files);
  TrapReceiver traps(manager.loop, manager.settings, manager.store.agents(), manager.events, manager.trap_books,
                     manager.faults, manager.programs);
  std::optional<int> code;  // once the components are there, or cannot be
  load_components(manager, [&](bool loaded) {
    code = loaded ? 0 : fail("the component store cannot be read", see_check);
    if (!loaded) return manager.loop.stop();
    if (manager.settings.trap_port != 0) traps.start();
    manager.series.remove_others([&](const std::string& name) {
      return manager.store.has(ComponentName{"dataEnt", name});
    });
    check_files(manager);
    manager.collector.make_own_entry();
    log(Severity::information, std::string("serving the installation ") + oxcGetWorkdir());
    platform::tell_state(platform::DaemonState::ready);
    log_of_run();
  });
  run(manager.loop);
  manager.commands.end();
  if (code == 0 && manager.settings.trap_port != 0) traps.end();
  return code.value_or(0);
}

}  // namespace

int run_daemon() {
  platform::clean_environment();
  asio::io_context loop;
  Reload reload(loop);
  platform::ServiceMark mark;
  if (find_installation() != 0 || hold_mark(mark) != 0) return 1;
  (void)oxcInitErrmsg();  // the machine's copy of the error texts: on Windows users' processes may not make it
  const JobMarks job_marks;
  FaultList faults;
  Settings settings;
  (void)read_settings(settings_file(), settings, faults.sink());
  if (const std::string fault = zone_fault(); !fault.empty()) faults.sink()("registry", 0, fault);
  Definitions definitions;
  if (hold_definitions(faults, definitions) != 0) return 1;
  const std::string data = join(oxcGetWorkdir(), "data");
  Manager manager(loop, settings, data);
  reload.obey(manager);
  manager.faults = std::move(faults);
  const int code = take_up(manager, data) ? serve(manager, definitions)
                                          : fail("what the manager keeps in " + data + " cannot be read", see_check);
  (void)oxbDeleteAmibTree(OXB_TREE);
  return code;
}

}  // namespace ox::manager
