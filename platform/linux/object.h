// Named shared objects: mapped files of this account that live while a process holds them.
//
// Every holder keeps a shared lock on the object, so that the kernel forgets a dead holder. Who can lock it alone has
// found a leftover. Making and giving up happen under the folder's lock file, so that nobody sees an object half made
// or about to go; opening one that somebody holds needs no more than the object's own lock. No other account can open
// any of these files (platform/linux/places.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

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
  // living process holds is opened instead and `existed` says so; without, it is error_already_exists. An account
  // without a folder of its own makes one without a name.
  using Fill = void (*)(void* base, const void* argument);
  [[nodiscard]] Error create(ObjectKind kind, const char* name, std::size_t size, Fill fill, const void* argument,
                             bool* existed);
  // Opens an object that a living process of this account holds, else what the manager has put there for all accounts:
  // of that, a block is read (error_access_denied for writing), and an event or a mutex has no memory.
  [[nodiscard]] Error open(ObjectKind kind, const char* name, bool writable);
  // Opens a block for reading where `other` lies: in the account's own folder, or among what is there for all.
  [[nodiscard]] Error open_beside(const Object& other, const char* name);
  void close() noexcept;
  // The descriptor of an object of exactly that size which a process of any account has made for itself; for reading
  // and writing.
  [[nodiscard]] static Error open_of(std::uint32_t process, ObjectKind kind, const char* name, std::size_t size,
                                     int& file);
  // Whether this process has made the object of that name that it holds.
  [[nodiscard]] static bool is_maker(ObjectKind kind, const char* name);
  // Takes the name away; those who hold the object keep it.
  [[nodiscard]] static Error take_name(ObjectKind kind, const char* name);

  [[nodiscard]] void* base() const noexcept { return parts_ != nullptr ? parts_->base : nullptr; }
  [[nodiscard]] std::size_t size() const noexcept { return parts_ != nullptr ? parts_->size : 0; }
  [[nodiscard]] int descriptor() const noexcept { return parts_ != nullptr ? parts_->descriptor : -1; }

  struct Parts {
    void* base = nullptr;
    std::size_t size = 0;
    int descriptor = -1;
    bool made = false;  // by this process
    std::string path;   // empty: without a name, or not this process's to remove
    std::string folder;
    std::string lock;       // the file of the folder's lock: giving up must not need memory
    Parts* next = nullptr;  // in the list of what this process holds
    Parts* prev = nullptr;
  };

 private:
  void hold(std::unique_ptr<Parts> parts) noexcept;

  std::unique_ptr<Parts> parts_;
};

// The file of an object of that name; empty for a name that cannot be one.
[[nodiscard]] std::string object_file(ObjectKind kind, const char* name);

// Removes every leftover of dead processes of this account. Creating does it too, at most once a minute: objects named
// after a process would otherwise stay, since nobody asks for that name again.
void sweep_objects();

}  // namespace ox::platform
