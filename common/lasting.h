// A static object that other threads may use to the very end of the process: it is destroyed when the library is
// unloaded, and left to the system when the process ends.
#pragma once

#include <cstddef>
#include <new>
#include <utility>

#include "platform/attach.h"

namespace ox {

template <class T>
class Lasting {
 public:
  template <class... Arguments>
  explicit Lasting(Arguments&&... arguments) : object_(*new (storage_) T(std::forward<Arguments>(arguments)...)) {}
  Lasting(const Lasting&) = delete;
  Lasting& operator=(const Lasting&) = delete;
  ~Lasting() {
    if (platform::is_unloading()) object_.~T();
  }

  [[nodiscard]] T& operator*() const noexcept { return object_; }
  [[nodiscard]] T* operator->() const noexcept { return &object_; }

 private:
  alignas(T) std::byte storage_[sizeof(T)];
  T& object_;
};

}  // namespace ox
