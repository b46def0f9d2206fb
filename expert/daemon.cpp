#include "expert/daemon.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>

#include <oxbase/oxa.h>

#include "expert/keeper.h"
#include "expert/log.h"
#include "platform/environment.h"
#include "platform/file.h"
#include "platform/machine_objects.h"
#include "platform/named_event.h"
#include "platform/program.h"
#include "platform/service.h"

namespace expert {
namespace {

namespace platform = ox::platform;

constexpr char service_name[] = "Oxexpd";
constexpr char mutex_name[] = "OxExpdMutex";

volatile std::sig_atomic_t asked_to_end = 0;
void on_signal(int) { asked_to_end = 1; }

bool lost = true;  // the session, or not there yet
void OX_CALL on_disconnect(std::uint32_t, OX_RESULT, std::uint32_t) { lost = true; }

int fail(const std::string& text, const std::string& next) {
  log(Severity::error, text + "; next: " + next);
  return 1;
}

// Those who ask whether the daemon runs look for both; the mutex keeps a second one out where the first does not.
class Marks {
 public:
  [[nodiscard]] platform::Error hold() {
    platform::Error error = service_.hold(service_name);
    if (error == platform::error_none) error = mutex_.create(mutex_name, platform::Access::machine);
    if (error == platform::error_none) error = mutex_.lock(0);
    return error != platform::error_none ? error : objects_.offer_mutex(mutex_name);
  }

 private:
  platform::ServiceMark service_;
  platform::NamedMutex mutex_;
  platform::MachineObjects objects_;
};

int refuse_second(platform::Error error) {
  if (error != platform::error_already_exists && error != platform::error_timeout) {
    return fail("the marks of the expert daemon cannot be held (system error " + std::to_string(error) + ")",
                "start it as the account that owns the installation, or name another one in OXBASE_SYSTEM");
  }
  const std::uint32_t process = platform::service_process(service_name);
  return fail("another expert daemon runs here" + (process != 0 ? ": process " + std::to_string(process) : ""),
              "nothing, when it is the right one");
}

std::string join(const std::string& folder, const char* name) { return folder + platform::path_separator + name; }

bool ensure_folder(const std::string& path) {
  const platform::Error error = platform::make_private_directory(path.c_str());
  return error == platform::error_none || error == platform::error_already_exists;
}

// Rule programs find the library, and the tools.
void lead_programs() {
  const char* const path = std::getenv("PATH");
  const char separator = platform::path_separator == '\\' ? ';' : ':';
  platform::give_programs("PATH",
                          platform::own_program_folder() + (path != nullptr ? separator + std::string(path) : ""));
}

Time now() { return std::chrono::duration_cast<Time>(std::chrono::steady_clock::now().time_since_epoch()); }

// A session with the manager, which may go and come back.
class Session {
 public:
  // Opens it, where there is none; else some seconds pass. Why there is none is told once.
  [[nodiscard]] bool opened() {
    if (!lost) return false;
    OX_RESULT result = oxaWaitForOxbase(0);
    if (result == OX_OK && (result = oxaInit(&on_disconnect)) != OX_OK) platform::sleep_ms(1000);
    lost = result != OX_OK;
    if (result != OX_OK && result != told_) {
      log(Severity::warning,
          std::string("the manager cannot be reached: ") + oxcStrError(result) + "; going on when it can");
    }
    told_ = result;
    return !lost;
  }
  static void dispatch(std::uint32_t milliseconds) {
    if (!lost && oxaDispatch(milliseconds) == OX_ENOSESSION) lost = true;
  }

 private:
  OX_RESULT told_ = OX_OK;
};

void serve(Keeper& keeper) {
  constexpr std::uint32_t short_wait = 200;  // programs are looked after
  constexpr std::uint32_t long_wait = 1000;
  Session session;
  while (asked_to_end == 0) {
    if (session.opened()) {
      log(Severity::information, "following the rules of the manager");
      keeper.attach();
    }
    Session::dispatch(keeper.idle() ? long_wait : short_wait);
    keeper.turn();
  }
}

}  // namespace

int run_daemon() {
  (void)std::signal(SIGINT, on_signal);
  (void)std::signal(SIGTERM, on_signal);
  platform::clean_environment();
  const std::string work = oxcGetWorkdir();
  if (work.empty()) return fail("there is no installation: WorkDir is not set", "make-installation, or OXBASE_SYSTEM");
  Marks marks;
  if (const platform::Error error = marks.hold()) return refuse_second(error);
  const std::string data = join(work, "data");
  const std::string output = join(data, "rules");
  RunFile run_file(join(data, "oxexpd.run"));
  if (!ensure_folder(data) || !ensure_folder(output) || !run_file.take_over()) {
    return fail(data + " cannot be written", "see that there is room, and whose folder it is");
  }
  lead_programs();
  Keeper keeper(run_file, output, now);
  serve(keeper);
  keeper.end();
  log(Severity::information, "ended");
  return 0;
}

}  // namespace expert
