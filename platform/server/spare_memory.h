// Memory that is kept back for taking a client when there is none, so that it can be told.
#pragma once

#include <cstddef>
#include <memory>
#include <new>

namespace ox::platform {

class SpareMemory {
 public:
  // What the call makes. When memory runs out, it is called again with what was kept back set free; null when that is
  // not enough.
  template <class Call>
  [[nodiscard]] auto make(const Call& call) -> decltype(call()) {
    if (!bytes_) bytes_.reset(new (std::nothrow) std::byte[size]);
    for (int tries = 2; tries != 0; --tries) {
      try {
        return call();
      } catch (const std::bad_alloc&) {
        bytes_.reset();
      }
    }
    return {};
  }

 private:
  static constexpr std::size_t size = 4096;

  std::unique_ptr<std::byte[]> bytes_;
};

}  // namespace ox::platform
