// Named shared objects: POSIX shared memory that lives while a process holds it.
//
// Every holder keeps a shared lock on the object, so that the kernel forgets a dead holder. Who can lock it alone has
// found a leftover. Making and giving up happen under the root's lock file, so that nobody sees an object half made or
// about to go; opening one that somebody holds needs no more than the object's own lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/access.h"
#include "platform/error.h"

namespace ox::platform {

// Blocks, events and mutexes have names of their own.
enum class ObjectKind : char { block = 'b', event = 'e', mutex = 'm' };

class Object {
 public:
  Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  ~Object() { close(); }

  // Makes a zero-filled object and runs `fill(base)` before anybody else can open it. With `existed` an object that a
  // living process holds is opened instead and `existed` says so; without, it is error_already_exists.
  using Fill = void (*)(void* base, const void* argument);
  [[nodiscard]] Error create(ObjectKind kind, const char* name, std::size_t size, Access access, Fill fill,
                             const void* argument, bool* existed);
  // Opens an object that a living process holds.
  [[nodiscard]] Error open(ObjectKind kind, const char* name, bool writable);
  void close() noexcept;
  // Takes the name away; those who hold the object keep it.
  [[nodiscard]] static Error take_name(ObjectKind kind, const char* name);

  [[nodiscard]] void* base() const noexcept { return parts_ != nullptr ? parts_->base : nullptr; }
  [[nodiscard]] std::size_t size() const noexcept { return parts_ != nullptr ? parts_->size : 0; }
  [[nodiscard]] int descriptor() const noexcept { return parts_ != nullptr ? parts_->descriptor : -1; }

  struct Parts {
    void* base = nullptr;
    std::size_t size = 0;
    int descriptor = -1;
    std::string name;
    std::string lock;
    Parts* next = nullptr;  // in the list of what this process holds
    Parts* prev = nullptr;
  };

 private:
  std::unique_ptr<Parts> parts_;
};

// Removes every leftover of dead processes from the root. Creating does it too, at most once a minute: objects named
// after a process would otherwise stay, since nobody asks for that name again.
void sweep_objects();

}  // namespace ox::platform
