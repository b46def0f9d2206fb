// A number that is written often has a small file of its own, in its account's own folder: the registry is one file,
// every write of it is a new one, and only the installation's account may make one. What the registry says counts until
// the first write, and again when it has been edited since.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>

#include "platform/linux/descriptor.h"
#include "platform/linux/fail.h"
#include "platform/linux/places.h"
#include "platform/linux/root.h"
#include "platform/registry.h"

namespace ox::platform {
namespace {

// What the file holds, in this machine's byte order.
struct Record {
  std::uint32_t has_base;  // whether the registry had a number
  std::uint32_t base;      // and which
  std::uint32_t number;
};

std::string lower_case(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

bool is_own(int fd) noexcept {
  struct stat status {};
  return ::fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == ::geteuid();
}

}  // namespace

struct RegistryNumber::State {
  std::string key;
  std::string name;
  Descriptor file;  // none: straight to the registry
  std::optional<std::uint32_t> base;
  std::optional<std::uint32_t> number;

  // Key and value names do not differ by case.
  void open_file() {
    const std::string file_name = file_name_of(lower_case(key + '\\' + name));
    const std::string folder = own_lasting_folder(*root());
    if (file_name.empty() || folder.empty()) return;
    file = Descriptor(::open((folder + '/' + file_name).c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (file && !is_own(file.get())) file.close();
    Record record{};
    if (!file || retry([&] { return ::pread(file.get(), &record, sizeof record, 0); }) != sizeof record) return;
    const auto then = record.has_base != 0 ? std::optional(record.base) : std::nullopt;
    if (then == base) number = record.number;
  }
};

RegistryNumber::RegistryNumber() = default;
RegistryNumber::~RegistryNumber() = default;

Error RegistryNumber::provide(const char*, const char*, std::uint32_t) { return error_none; }

Error RegistryNumber::open(const char* key, const char* name) {
  auto state = std::make_unique<State>();
  state->key = key;
  state->name = name;
  if (std::uint32_t number = 0; registry_read(key, name, number) == error_none) state->base = state->number = number;
  state->open_file();
  if (!state->file && !registry_has_key(key)) return fail(error_file_not_found);
  state_ = std::move(state);
  return error_none;
}

Error RegistryNumber::read(std::uint32_t& number) const {
  if (state_ == nullptr) return fail(error_invalid_handle);
  if (!state_->number) return fail(error_file_not_found);
  number = *state_->number;
  return error_none;
}

Error RegistryNumber::write(std::uint32_t number) {
  if (state_ == nullptr) return fail(error_invalid_handle);
  if (!state_->file) return registry_write(state_->key.c_str(), state_->name.c_str(), number);
  const Record record{state_->base ? 1u : 0u, state_->base.value_or(0), number};
  const auto put = retry([&] { return ::pwrite(state_->file.get(), &record, sizeof record, 0); });
  if (put != sizeof record) return put < 0 ? fail_errno() : fail(error_disk_full);
  state_->number = number;
  return error_none;
}

}  // namespace ox::platform
