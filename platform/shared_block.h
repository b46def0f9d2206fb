// A named block of shared memory. It exists while at least one process holds it; the last holder removes it, also by
// dying. Names are the Windows ones ("Global\\ox1120"); two system roots never see each other's blocks. A block made
// without a name is its process's own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "platform/access.h"
#include "platform/error.h"

namespace ox::platform {

class SharedBlock {
 public:
  SharedBlock() noexcept;
  SharedBlock(SharedBlock&& other) noexcept;
  SharedBlock& operator=(SharedBlock&& other) noexcept;
  ~SharedBlock();  // unmaps and closes

  // Makes a zero-filled block of `size` bytes and maps it for writing; a null name makes one without.
  // error_already_exists when a living process holds one of that name; error_invalid_parameter for size 0. *this is
  // replaced only on success, in all these calls.
  [[nodiscard]] Error create(const char* name, std::size_t size, Access access);

  // Maps an existing block. error_file_not_found when no living process holds one, error_access_denied.
  // Mode write_or_read falls back to a read-only view for a process that may not write the block: on Linux, that is
  // everybody but its maker for a block of the whole machine ("Global\\").
  enum class Mode { read, write, write_or_read };
  [[nodiscard]] Error open(const char* name, Mode mode);

  // Maps the block of that name which lies where `other` does, for reading: beside a block of this account's own, no
  // other account's counts. Errors as above.
  [[nodiscard]] Error open_beside(const SharedBlock& other, const char* name);

  // Maps a block without a name, which this process has made, once more. error_invalid_parameter for another one.
  [[nodiscard]] Error open_again(const SharedBlock& held, Mode mode);

  // Takes the name from a block that living processes hold, so that another one can be made under it; they keep theirs.
  // error_file_not_found; error_not_supported where a name goes with the last holder.
  [[nodiscard]] static Error take_name(const char* name);

  // The bytes of a block that a process of any account has made, without mapping it: who has made it can shorten it.
  // `size` is what the block must have. error_file_not_found when that process holds none, error_access_denied for one
  // of another account, save to root.
  [[nodiscard]] static Error read_of(std::uint32_t process, const char* name, std::size_t size,
                                     std::span<std::byte> bytes);
  [[nodiscard]] static Error write_of(std::uint32_t process, const char* name, std::size_t size,
                                      std::span<const std::byte> bytes);

  // Makes a block from the bytes of a file, for reading; nobody sees it before it holds them all. A null name makes one
  // without. error_file_not_found, error_file_invalid for an empty file, error_already_exists; error_access_denied,
  // also for a name that this process may not make.
  [[nodiscard]] Error create_from_file(const char* name, const char* path, Access access);

  [[nodiscard]] void* data() const noexcept { return base_; }
  [[nodiscard]] std::size_t size() const noexcept { return size_; }  // may be rounded up to pages on Windows
  [[nodiscard]] bool writable() const noexcept { return writable_; }
  // The platform's handle of the block, for the trace.
  [[nodiscard]] std::intptr_t native() const noexcept;
  [[nodiscard]] explicit operator bool() const noexcept { return base_ != nullptr; }

 private:
  struct Impl;

  [[nodiscard]] Error create_unnamed(std::size_t size);

  void* base_ = nullptr;
  std::size_t size_ = 0;
  bool writable_ = false;
  std::unique_ptr<Impl> impl_;
};

// Whether `size` bytes from `base` on can be read by this process.
[[nodiscard]] bool is_readable(const void* base, std::size_t size) noexcept;

}  // namespace ox::platform
