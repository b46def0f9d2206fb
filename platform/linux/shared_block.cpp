#include "platform/shared_block.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <string_view>
#include <vector>

#include "platform/linux/descriptor.h"
#include "platform/linux/fail.h"
#include "platform/linux/object.h"

namespace ox::platform {

struct SharedBlock::Impl {
  Object object;
  Descriptor unnamed;  // of a block without a name, instead
};

SharedBlock::SharedBlock() noexcept = default;
SharedBlock::~SharedBlock() {
  if (impl_ != nullptr && impl_->unnamed) (void)::munmap(base_, size_);
}

SharedBlock::SharedBlock(SharedBlock&& other) noexcept
    : base_(std::exchange(other.base_, nullptr)),
      size_(std::exchange(other.size_, 0)),
      writable_(std::exchange(other.writable_, false)),
      impl_(std::move(other.impl_)) {}

SharedBlock& SharedBlock::operator=(SharedBlock&& other) noexcept {
  std::swap(base_, other.base_);
  std::swap(size_, other.size_);
  std::swap(writable_, other.writable_);
  std::swap(impl_, other.impl_);
  return *this;
}

std::intptr_t SharedBlock::native() const noexcept {
  if (impl_ == nullptr) return -1;
  return impl_->unnamed ? impl_->unnamed.get() : impl_->object.descriptor();
}

namespace {

Error map_unnamed(const Descriptor& file, std::size_t size, SharedBlock::Mode mode, void*& base) noexcept {
  const int protection = mode != SharedBlock::Mode::read ? PROT_READ | PROT_WRITE : PROT_READ;
  void* const at = ::mmap(nullptr, size, protection, MAP_SHARED, file.get(), 0);
  if (at == MAP_FAILED) return fail_errno();
  base = at;
  return error_none;
}

}  // namespace

Error SharedBlock::create_unnamed(std::size_t size) {
  if (size == 0) return fail(error_invalid_parameter);
  SharedBlock made;
  made.impl_ = std::make_unique<Impl>();
  Descriptor file(::memfd_create("oxbase", MFD_CLOEXEC));
  if (!file) return fail_errno();
  if (const int error = ::posix_fallocate(file.get(), 0, static_cast<off_t>(size))) return fail_errno(error);
  if (const Error error = map_unnamed(file, size, Mode::write, made.base_)) return error;
  made.size_ = size;
  made.writable_ = true;
  made.impl_->unnamed = std::move(file);
  *this = std::move(made);
  return error_none;
}

Error SharedBlock::open_again(const SharedBlock& held, Mode mode) {
  if (held.impl_ == nullptr || !held.impl_->unnamed) return fail(error_invalid_parameter);
  SharedBlock opened;
  opened.impl_ = std::make_unique<Impl>();
  Descriptor file(::fcntl(held.impl_->unnamed.get(), F_DUPFD_CLOEXEC, 0));
  if (!file) return fail_errno();
  if (const Error error = map_unnamed(file, held.size_, mode, opened.base_)) return error;
  opened.size_ = held.size_;
  opened.writable_ = mode != Mode::read;
  opened.impl_->unnamed = std::move(file);
  *this = std::move(opened);
  return error_none;
}

Error SharedBlock::take_name(const char* name) { return Object::take_name(ObjectKind::block, name); }

Error SharedBlock::create(const char* name, std::size_t size, Access /*access*/) {
  if (name == nullptr) return create_unnamed(size);
  SharedBlock made;
  made.impl_ = std::make_unique<Impl>();
  Object& object = made.impl_->object;
  if (const Error error = object.create(ObjectKind::block, name, size, nullptr, nullptr, nullptr)) return error;
  made.base_ = object.base();
  made.size_ = object.size();
  made.writable_ = true;
  *this = std::move(made);
  return error_none;
}

// A block of the whole machine is written by the process that made it alone, whatever the account of the others.
Error SharedBlock::open(const char* name, Mode mode) {
  if (name == nullptr) return fail(error_invalid_parameter);
  const bool is_others = mode != Mode::read && std::string_view(name).starts_with("Global\\") &&
                         !Object::is_maker(ObjectKind::block, name);
  SharedBlock opened;
  opened.impl_ = std::make_unique<Impl>();
  Object& object = opened.impl_->object;
  opened.writable_ = mode != Mode::read && !is_others;
  Error error = object.open(ObjectKind::block, name, opened.writable_);
  if (error == error_access_denied && mode == Mode::write_or_read && opened.writable_) {
    opened.writable_ = false;
    error = object.open(ObjectKind::block, name, false);
  }
  if (error == error_none && mode == Mode::write && is_others) error = fail(error_access_denied);
  if (error != error_none) return error;
  opened.base_ = object.base();
  opened.size_ = object.size();
  *this = std::move(opened);
  return error_none;
}

Error SharedBlock::open_beside(const SharedBlock& other, const char* name) {
  if (name == nullptr || other.impl_ == nullptr) return fail(error_invalid_parameter);
  SharedBlock opened;
  opened.impl_ = std::make_unique<Impl>();
  if (const Error error = opened.impl_->object.open_beside(other.impl_->object, name)) return error;
  opened.base_ = opened.impl_->object.base();
  opened.size_ = opened.impl_->object.size();
  *this = std::move(opened);
  return error_none;
}

namespace {

Error read_whole(const char* path, std::vector<char>& bytes) {
  const Descriptor file(::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!file || ::fstat(file.get(), &status) != 0) return fail_errno();
  if (!S_ISREG(status.st_mode) || status.st_size == 0) return fail(error_file_invalid);
  bytes.resize(static_cast<std::size_t>(status.st_size));
  std::size_t have = 0;
  while (have < bytes.size()) {
    const ssize_t got = retry([&] { return ::read(file.get(), bytes.data() + have, bytes.size() - have); });
    if (got < 0) return fail_errno();
    if (got == 0) break;  // shortened meanwhile
    have += static_cast<std::size_t>(got);
  }
  bytes.resize(have);
  return have != 0 ? error_none : fail(error_file_invalid);
}

}  // namespace

Error SharedBlock::create_from_file(const char* name, const char* path, Access /*access*/) {
  if (path == nullptr) return fail(error_invalid_parameter);
  std::vector<char> bytes;
  if (const Error error = read_whole(path, bytes)) return error;
  if (name == nullptr) {
    SharedBlock own;
    if (const Error error = own.create_unnamed(bytes.size())) return error;
    std::memcpy(own.base_, bytes.data(), bytes.size());
    *this = std::move(own);
    return error_none;
  }
  const auto fill = [](void* base, const void* argument) {
    const auto& from = *static_cast<const std::vector<char>*>(argument);
    std::memcpy(base, from.data(), from.size());
  };
  SharedBlock made;
  made.impl_ = std::make_unique<Impl>();
  Object& object = made.impl_->object;
  if (const Error error = object.create(ObjectKind::block, name, bytes.size(), fill, &bytes, nullptr)) {
    return error;
  }
  (void)::mprotect(object.base(), object.size(), PROT_READ);
  made.base_ = object.base();
  made.size_ = object.size();
  *this = std::move(made);
  return error_none;
}

// Nothing of another account's is believed but what the descriptor shows: its folder and file may change at any time.
Error SharedBlock::read_of(std::uint32_t process, const char* name, std::size_t size, std::span<std::byte> bytes) {
  int file = -1;
  if (const Error error = Object::open_of(process, ObjectKind::block, name, size, file)) return error;
  const Descriptor object(file);
  const ssize_t got = retry([&] { return ::pread(object.get(), bytes.data(), bytes.size(), 0); });
  return got == static_cast<ssize_t>(bytes.size()) ? error_none : fail(error_file_invalid);
}

Error SharedBlock::write_of(std::uint32_t process, const char* name, std::size_t size,
                            std::span<const std::byte> bytes) {
  int file = -1;
  if (const Error error = Object::open_of(process, ObjectKind::block, name, size, file)) return error;
  const Descriptor object(file);
  const ssize_t put = retry([&] { return ::pwrite(object.get(), bytes.data(), bytes.size(), 0); });
  return put == static_cast<ssize_t>(bytes.size()) ? error_none : fail_errno();
}

namespace {

bool is_mapped(std::uintptr_t first, std::uintptr_t last) noexcept {
  std::array<unsigned char, 4096> resident;
  const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
  const std::uintptr_t step = page * resident.size();
  for (std::uintptr_t at = first;; at += step) {
    const std::uintptr_t size = std::min(last - at + 1, step);
    if (::mincore(reinterpret_cast<void*>(at), size, resident.data()) != 0) return false;
    if (last - at < step) return true;
  }
}

}  // namespace

// The kernel reads one byte of each page for us and reports instead of raising a signal.
bool is_readable(const void* base, std::size_t size) noexcept {
  if (size == 0) return true;
  const auto first = reinterpret_cast<std::uintptr_t>(base);
  if (size - 1 > std::numeric_limits<std::uintptr_t>::max() - first) return false;
  const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
  const std::uintptr_t last = first + (size - 1);
  std::array<char, 256> bytes;
  std::array<iovec, 256> pages;
  for (std::uintptr_t at = first;;) {
    std::size_t count = 0;
    bool done = false;
    while (count < pages.size() && !done) {
      pages[count++] = {reinterpret_cast<void*>(at), 1};
      const std::uintptr_t next = (at | (page - 1)) + 1;
      done = next > last || next == 0;
      at = next;
    }
    const iovec into{bytes.data(), count};
    const ssize_t got = ::process_vm_readv(::getpid(), &into, 1, pages.data(), count, 0);
    if (got < 0 && (errno == ENOSYS || errno == EPERM)) return is_mapped(first & ~(page - 1), last);  // sandboxed
    if (got != static_cast<ssize_t>(count)) return false;
    if (done) return true;
  }
}

}  // namespace ox::platform
