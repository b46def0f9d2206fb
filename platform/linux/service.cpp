#include "platform/service.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "platform/environment.h"
#include "platform/linux/descriptor.h"
#include "platform/linux/fail.h"
#include "platform/linux/file_lock.h"
#include "platform/linux/object.h"
#include "platform/linux/own_lock.h"
#include "platform/linux/root.h"
#include "platform/started_program.h"

namespace ox::platform {
namespace {

std::string lock_path(const char* service, bool make) {
  const std::string file = service != nullptr ? file_name_of(service) : std::string();
  return file.empty() ? std::string() : root_directory("service", make) + "/" + file + ".lock";
}

// In a forked child: only calls that are safe there. The child's child runs the program, so that it is nobody's to
// wait for; a failure goes through the pipe, which a success closes.
[[noreturn]] void run_detached(const char* path, char* const* arguments, int report) noexcept {
  const pid_t child = ::fork();
  if (child > 0) ::_exit(0);
  if (child == 0) {
    sigset_t none;
    (void)::sigemptyset(&none);
    (void)::sigprocmask(SIG_SETMASK, &none, nullptr);
    (void)::execv(path, arguments);
  }
  const int error = errno;
  (void)!::write(report, &error, sizeof error);
  ::_exit(1);
}

}  // namespace

struct ServiceMark::Impl {
  Descriptor file;
};

ServiceMark::ServiceMark() = default;
ServiceMark::ServiceMark(ServiceMark&&) noexcept = default;
ServiceMark& ServiceMark::operator=(ServiceMark&&) noexcept = default;
ServiceMark::~ServiceMark() = default;

namespace {

// Who may only read a file may lock it for reading, which is not asked about here, and so keep its owner from locking
// it for writing: each daemon locks a file of its own before others can open it.
Error put_mark(const std::string& path, Descriptor& mark) {
  constexpr mode_t read_by_all = 0644;
  const std::string fresh = path + ".new";
  (void)::unlink(fresh.c_str());  // of a daemon that died
  Descriptor file(::open(fresh.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!file || !lock_file(file.get(), F_WRLCK)) return fail_errno();
  const std::string id = std::to_string(process_id()) + "\n";  // for the administrator
  (void)!::pwrite(file.get(), id.data(), id.size(), 0);
  if (::fchmod(file.get(), read_by_all) != 0 || ::rename(fresh.c_str(), path.c_str()) != 0) return fail_errno();
  mark = std::move(file);
  return error_none;
}

}  // namespace

Error ServiceMark::hold(const char* name) {
  const std::string path = lock_path(name, true);
  if (path.empty()) return fail(error_invalid_name);
  OwnLock turn;
  const auto base = root();
  if (!turn.take(base->path + "/service/turn", base->owner, OwnLock::Wait::yes)) return fail_errno();
  bool running = false;
  if (const Error error = service_running(name, running)) return error;
  if (running) return fail(error_already_exists);
  auto impl = std::make_unique<Impl>();
  if (const Error error = put_mark(path, impl->file)) return error;
  impl_ = std::move(impl);
  sweep_objects();  // a daemon's start is the time to tidy up after the dead
  return error_none;
}

Error service_running(const char* name, bool& running) {
  const std::string path = lock_path(name, false);
  if (path.empty()) return fail(error_invalid_name);
  const Descriptor file = open_trusted(*root(), path.c_str());
  if (!file && errno != ENOENT && errno != ENOTDIR) return fail_errno();
  const bool locked = file && is_written_elsewhere(file.get());
  if (file && !locked && errno != 0) return fail_errno();
  running = locked;
  return error_none;
}

std::uint32_t service_process(const char* name) {
  const Descriptor file = open_trusted(*root(), lock_path(name, false).c_str());
  char id[16] = {};
  const bool held = file && is_written_elsewhere(file.get());
  if (!held || ::pread(file.get(), id, sizeof id - 1, 0) <= 0) return 0;
  return static_cast<std::uint32_t>(std::strtoul(id, nullptr, 10));
}

struct KnownService::Impl {
  Descriptor file;
};

KnownService::KnownService() = default;
KnownService::~KnownService() = default;

Error KnownService::open(const char* name) {
  const std::string path = lock_path(name, false);
  if (path.empty()) return fail(error_invalid_name);
  auto impl = std::make_unique<Impl>();
  impl->file = open_trusted(*root(), path.c_str());
  if (!impl->file) return errno == ENOENT || errno == ENOTDIR ? fail(error_no_such_service) : fail_errno();
  impl_ = std::move(impl);
  return error_none;
}

Error start_program(const char* program) {
  if (program == nullptr || *program == '\0') return fail(error_invalid_parameter);
  const std::string path = program_in("", program);
  if (path.empty()) return fail(error_file_not_found);
  std::string name(path);
  char* arguments[] = {name.data(), nullptr};
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return fail_errno();
  const Descriptor reader(ends[0]);
  Descriptor writer(ends[1]);
  const pid_t child = ::fork();
  if (child < 0) return fail_errno();
  if (child == 0) run_detached(path.c_str(), arguments, writer.get());
  writer.close();
  (void)retry([child] { return ::waitpid(child, nullptr, 0); });
  int error = 0;
  const ssize_t got = retry([&] { return ::read(reader.get(), &error, sizeof error); });
  return got == static_cast<ssize_t>(sizeof error) ? fail_errno(error) : error_none;
}

}  // namespace ox::platform
