#include "tests/road/module.h"

#include <dlfcn.h>
#include <pthread.h>

#include <stdexcept>

namespace ox::test {

const bool Module::may_go = false;
const int Module::runtime_handles = 0;
const int Module::runtime_slots = 0;

Module::Module() : handle_(::dlopen(OX_LIBRARY, RTLD_NOW | RTLD_LOCAL)) {
  if (handle_ == nullptr) throw std::runtime_error(::dlerror());
}

void Module::unload() {
  if (::dlclose(handle_) != 0) throw std::runtime_error(::dlerror());
}

Function Module::address(const char* name) const { return reinterpret_cast<Function>(::dlsym(handle_, name)); }

bool Module::is_loaded() {
  void* const again = ::dlopen(OX_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
  return again != nullptr && ::dlclose(again) == 0;
}

int next_thread_slot() {
  pthread_key_t key = 0;
  (void)::pthread_key_create(&key, nullptr);
  (void)::pthread_key_delete(key);
  return static_cast<int>(key);
}

}  // namespace ox::test
