// The registry itself keeps numbers at little cost.
#include "platform/registry.h"
#include "platform/windows/fail.h"

namespace ox::platform {

struct RegistryNumber::State {
  std::string key;
  std::string name;
};

RegistryNumber::RegistryNumber() = default;
RegistryNumber::~RegistryNumber() = default;

Error RegistryNumber::provide(const char* key, const char* name, std::uint32_t first) {
  return registry_has_key(key) ? error_none : registry_write(key, name, first);
}

Error RegistryNumber::open(const char* key, const char* name) {
  if (!registry_has_key(key)) return fail(error_file_not_found);
  state_ = std::make_unique<State>(State{key, name});
  return error_none;
}

Error RegistryNumber::read(std::uint32_t& number) const {
  if (state_ == nullptr) return fail(error_invalid_handle);
  return registry_read(state_->key.c_str(), state_->name.c_str(), number);
}

Error RegistryNumber::write(std::uint32_t number) {
  if (state_ == nullptr) return fail(error_invalid_handle);
  return registry_write(state_->key.c_str(), state_->name.c_str(), number);
}

}  // namespace ox::platform
