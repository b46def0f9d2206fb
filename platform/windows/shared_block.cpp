#include "platform/shared_block.h"

#include <windows.h>

#include <cstring>
#include <utility>

#include "platform/windows/fail.h"
#include "platform/windows/handle.h"
#include "platform/windows/private_system.h"
#include "platform/windows/security.h"

namespace ox::platform {
namespace {

constexpr std::size_t size_limit = 0xFFFF'FFFF;

// Up to the end of its last page; the system does not tell the size that was asked for.
std::size_t view_size(const void* base) noexcept {
  MEMORY_BASIC_INFORMATION view{};
  return ::VirtualQuery(base, &view, sizeof view) != 0 ? view.RegionSize : 0;
}

}  // namespace

struct SharedBlock::Impl {
  Handle mapping;
  bool unnamed = false;
};

SharedBlock::SharedBlock() noexcept = default;
SharedBlock::~SharedBlock() {
  if (base_ != nullptr) (void)::UnmapViewOfFile(base_);
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
  return impl_ != nullptr ? reinterpret_cast<std::intptr_t>(impl_->mapping.get()) : -1;
}

Error SharedBlock::create_unnamed(std::size_t size) {
  SharedBlock made;
  made.impl_ = std::make_unique<Impl>();
  Handle& mapping = made.impl_->mapping;
  mapping =
      Handle(::CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, static_cast<DWORD>(size), nullptr));
  if (!mapping) return fail_last();
  made.base_ = ::MapViewOfFile(mapping.get(), FILE_MAP_WRITE, 0, 0, 0);
  if (made.base_ == nullptr) return fail_last();
  made.size_ = size;
  made.writable_ = true;
  made.impl_->unnamed = true;
  *this = std::move(made);
  return error_none;
}

Error SharedBlock::open_again(const SharedBlock& held, Mode mode) {
  if (held.impl_ == nullptr || !held.impl_->unnamed) return fail(error_invalid_parameter);
  SharedBlock opened;
  opened.impl_ = std::make_unique<Impl>();
  HANDLE mapping = nullptr;
  if (::DuplicateHandle(::GetCurrentProcess(), held.impl_->mapping.get(), ::GetCurrentProcess(), &mapping, 0, FALSE,
                        DUPLICATE_SAME_ACCESS) == FALSE) {
    return fail_last();
  }
  opened.impl_->mapping = Handle(mapping);
  opened.base_ = ::MapViewOfFile(mapping, mode == Mode::read ? FILE_MAP_READ : FILE_MAP_WRITE, 0, 0, 0);
  if (opened.base_ == nullptr) return fail_last();
  opened.size_ = held.size_;
  opened.writable_ = mode != Mode::read;
  opened.impl_->unnamed = true;
  *this = std::move(opened);
  return error_none;
}

// There is one place for all names.
Error SharedBlock::open_beside(const SharedBlock& /*other*/, const char* name) { return open(name, Mode::read); }

Error SharedBlock::take_name(const char*) { return fail(error_not_supported); }

Error SharedBlock::create(const char* name, std::size_t size, Access access) {
  if (size == 0 || size > size_limit) return fail(error_invalid_parameter);
  if (name == nullptr) return create_unnamed(size);
  if (*name == '\0') return fail(error_invalid_name);  // the system would make one without a name
  SecurityAttributes security;
  if (const Error error = security.build(access, Shared::block)) return error;
  SharedBlock made;
  made.impl_ = std::make_unique<Impl>();
  const std::string object = object_name(name);
  Handle& mapping = made.impl_->mapping;
  mapping = Handle(::CreateFileMappingA(INVALID_HANDLE_VALUE, security.get(), PAGE_READWRITE, 0,
                                        static_cast<DWORD>(size), object.c_str()));
  // One that this process may not write is there, too.
  const Error error = ::GetLastError();
  if (mapping ? error == ERROR_ALREADY_EXISTS
              : error == ERROR_ACCESS_DENIED && Handle(::OpenFileMappingA(FILE_MAP_READ, FALSE, object.c_str()))) {
    return fail(error_already_exists);
  }
  if (!mapping) return fail(error);
  made.base_ = ::MapViewOfFile(mapping.get(), FILE_MAP_WRITE, 0, 0, 0);  // zero-filled by the system
  if (made.base_ == nullptr) return fail_last();
  made.size_ = size;
  made.writable_ = true;
  *this = std::move(made);
  return error_none;
}

Error SharedBlock::open(const char* name, Mode mode) {
  if (name == nullptr) return fail(error_invalid_parameter);
  SharedBlock opened;
  opened.impl_ = std::make_unique<Impl>();
  Handle& mapping = opened.impl_->mapping;
  const std::string object = object_name(name);
  DWORD access = mode == Mode::read ? FILE_MAP_READ : FILE_MAP_WRITE;
  mapping = Handle(::OpenFileMappingA(access, FALSE, object.c_str()));
  if (!mapping && mode == Mode::write_or_read && ::GetLastError() == ERROR_ACCESS_DENIED) {
    access = FILE_MAP_READ;
    mapping = Handle(::OpenFileMappingA(access, FALSE, object.c_str()));
  }
  if (!mapping) return fail_last();
  opened.base_ = ::MapViewOfFile(mapping.get(), access, 0, 0, 0);
  if (opened.base_ == nullptr) return fail_last();
  opened.size_ = view_size(opened.base_);
  opened.writable_ = access == FILE_MAP_WRITE;
  *this = std::move(opened);
  return error_none;
}

// What a block of another process's is mapped from stays as large as it was made.
Error SharedBlock::read_of(std::uint32_t, const char* name, std::size_t size, std::span<std::byte> bytes) {
  SharedBlock block;
  if (const Error error = block.open(name, Mode::read)) return error;
  if (block.size() < size || bytes.size() > size) return fail(error_file_invalid);
  std::memcpy(bytes.data(), block.data(), bytes.size());
  return error_none;
}

Error SharedBlock::write_of(std::uint32_t, const char* name, std::size_t size, std::span<const std::byte> bytes) {
  SharedBlock block;
  if (const Error error = block.open(name, Mode::write)) return error;
  if (block.size() < size || bytes.size() > size) return fail(error_file_invalid);
  std::memcpy(block.data(), bytes.data(), bytes.size());
  return error_none;
}

Error SharedBlock::create_from_file(const char* name, const char* path, Access access) {
  if (path == nullptr) return fail(error_invalid_parameter);
  const Handle file(
      ::CreateFileA(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) return fail_last();
  LARGE_INTEGER size{};
  if (::GetFileSizeEx(file.get(), &size) == FALSE) return fail_last();
  if (size.QuadPart == 0 || size.QuadPart > static_cast<LONGLONG>(size_limit)) return fail(error_file_invalid);
  SecurityAttributes security;
  if (const Error error = security.build(access, Shared::block)) return error;
  SharedBlock made;
  made.impl_ = std::make_unique<Impl>();
  Handle& mapping = made.impl_->mapping;
  const std::string object = name != nullptr ? object_name(name) : std::string();
  mapping = Handle(::CreateFileMappingA(file.get(), security.get(), PAGE_READONLY, 0, 0,
                                        name != nullptr ? object.c_str() : nullptr));
  if (!mapping) return fail_last();
  if (::GetLastError() == ERROR_ALREADY_EXISTS) return fail(error_already_exists);
  made.base_ = ::MapViewOfFile(mapping.get(), FILE_MAP_READ, 0, 0, 0);
  if (made.base_ == nullptr) return fail_last();
  made.size_ = static_cast<std::size_t>(size.QuadPart);
  *this = std::move(made);
  return error_none;
}

bool is_readable(const void* base, std::size_t size) noexcept { return ::IsBadReadPtr(base, size) == FALSE; }

}  // namespace ox::platform
