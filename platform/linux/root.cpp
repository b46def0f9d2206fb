#include "platform/linux/root.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include "platform/environment.h"
#include "platform/fork.h"

namespace ox::platform {
namespace {

constexpr mode_t root_mode = 0755;  // the owner alone writes: who can add to a folder can put another in its place

std::string environment_text(const char* name) {
  const char* text = std::getenv(name);
  return text != nullptr ? text : "";
}

std::string root_path() {
  if (std::string given = environment_text("OXBASE_SYSTEM"); !given.empty()) return given;
  if (geteuid() == 0) return "/var/lib/oxbase";
  if (std::string run = environment_text("XDG_RUNTIME_DIR"); !run.empty()) return run + "/oxbase";
  return environment_text("HOME") + "/.oxbase";
}

void make_root(const std::string& path) {
  for (std::size_t at = path.find('/', 1); at != std::string::npos; at = path.find('/', at + 1)) {
    ::mkdir(path.substr(0, at).c_str(), 0755);
  }
  // Whatever the umask: other accounts find there what is theirs to read.
  if (::mkdir(path.c_str(), root_mode) == 0) (void)::chmod(path.c_str(), root_mode);
}

std::string real_path(const std::string& path) {
  char resolved[PATH_MAX];
  return ::realpath(path.c_str(), resolved) != nullptr ? resolved : path;
}

// FNV-1a, 64 bits: the same in every process of every build.
std::uint64_t hash_of(std::string_view text) {
  std::uint64_t hash = 14695981039346656037U;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211U;
  return hash;
}

}  // namespace

namespace {

constinit std::mutex guard;  // the root of the last call
constinit std::shared_ptr<const Root>* known = nullptr;
[[maybe_unused]] const bool free_in_child = free_in_forked_child(guard);

}  // namespace

std::shared_ptr<const Root> root() {
  std::string path = root_path();
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) {
    make_root(path);
    if (::stat(path.c_str(), &status) != 0) status.st_uid = ::geteuid();  // of none: the calls that need it fail
  }
  const std::lock_guard lock(guard);
  if (known == nullptr) known = new std::shared_ptr<const Root>();  // for good: objects are closed during exit, too
  if (*known == nullptr || (*known)->path != path || (*known)->owner != status.st_uid) {
    char name[32];
    (void)std::snprintf(name, sizeof name, "ox.%016llx", static_cast<unsigned long long>(hash_of(real_path(path))));
    *known = std::make_shared<const Root>(Root{path, name, status.st_uid});
  }
  return *known;
}

std::string system_root() { return root()->path; }

std::string file_name_of(std::string_view name) {
  constexpr std::size_t longest = 200;  // leaves room for what is put around it within 255
  std::string safe;
  for (const char c : name) {
    const bool stays = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-' ||
                       c == '_' || (c == '.' && !safe.empty());
    if (stays) {
      safe += c;
    } else {
      char code[4];
      (void)std::snprintf(code, sizeof code, "%%%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
      safe += code;
    }
    if (safe.size() > longest) return {};
  }
  return safe;
}

std::string root_directory(const char* name, bool make) {
  const auto base = root();
  std::string path = base->path + "/" + name;
  if (make && ::mkdir(path.c_str(), root_mode) == 0) (void)::chmod(path.c_str(), root_mode);
  return path;
}

bool is_trusted(const Root& root, uid_t account) noexcept { return account == root.owner || account == 0; }

Descriptor open_trusted(const Root& root, const char* path) noexcept {
  Descriptor file(::open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat status {};
  if (!file || ::fstat(file.get(), &status) != 0) return {};
  if (is_trusted(root, status.st_uid)) return file;
  file.close();
  errno = EACCES;
  return file;
}

}  // namespace ox::platform
