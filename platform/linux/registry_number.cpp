// A registry number that is written often has a small file of its own under the root while it is open: the registry is
// one file, and every write of it is a new one. The number goes back into the registry when its owner is done; the file
// of an owner that died is taken up by the next, unless the registry has been edited meanwhile.
#include <fcntl.h>
#include <unistd.h>

#include <optional>

#include "platform/linux/descriptor.h"
#include "platform/linux/fail.h"
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

}  // namespace

struct RegistryNumber::State {
  std::string key;
  std::string name;
  std::string path;
  Descriptor file;  // none: straight to the registry
  std::optional<std::uint32_t> base;
  std::optional<std::uint32_t> number;
  bool written = false;

  // Key and value names do not differ by case.
  void open_file() {
    const std::string file_name = file_name_of(lower_case(key + '\\' + name));
    if (file_name.empty()) return;
    path = root_directory("numbers", true) + '/' + file_name;
    constexpr mode_t mode = 0660;
    file = Descriptor(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, mode));
    if (!file) return;
    share_with_group(file.get(), *root(), mode);
    Record record{};
    if (retry([&] { return ::pread(file.get(), &record, sizeof record, 0); }) != sizeof record) return;
    const auto then = record.has_base != 0 ? std::optional(record.base) : std::nullopt;
    if (then == base) {
      number = record.number;
      written = true;
    }
  }

  void put_back() {
    if (written && registry_write(key.c_str(), name.c_str(), *number) != error_none) return;
    (void)::unlink(path.c_str());
  }
};

RegistryNumber::RegistryNumber() = default;

RegistryNumber::~RegistryNumber() {
  if (state_ == nullptr || !state_->file) return;
  try {
    state_->put_back();
  } catch (...) {  // without memory: the file stays for the next owner
  }
}

Error RegistryNumber::open(const char* key, const char* name) {
  if (!registry_has_key(key)) return fail(error_file_not_found);
  auto state = std::make_unique<State>();
  state->key = key;
  state->name = name;
  if (std::uint32_t number = 0; registry_read(key, name, number) == error_none) state->base = state->number = number;
  state->open_file();
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
  state_->written = true;
  return error_none;
}

}  // namespace ox::platform
