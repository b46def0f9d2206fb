#include "tests/support/fault_heap.h"

#include <new>

#include "platform/heap.h"

namespace ox::platform {

// The system's own, which has these names in the tests.
void* sound_allocate(std::size_t size) noexcept;
void* sound_allocate_zeroed(std::size_t size) noexcept;

}  // namespace ox::platform

namespace ox::test {
namespace {

thread_local int countdown = 0;
thread_local bool reached = false;

bool fails_now() noexcept {
  if (countdown == 0 || --countdown != 0) return false;
  reached = true;
  return true;
}

}  // namespace

void fail_allocation(int n) noexcept {
  countdown = n;
  reached = false;
}

bool stop_failing() noexcept {
  countdown = 0;
  return reached;
}

}  // namespace ox::test

namespace ox::platform {

void* heap_allocate(std::size_t size) noexcept { return test::fails_now() ? nullptr : sound_allocate(size); }
void* heap_allocate_zeroed(std::size_t size) noexcept {
  return test::fails_now() ? nullptr : sound_allocate_zeroed(size);
}

}  // namespace ox::platform

void* operator new(std::size_t size) {
  if (ox::test::fails_now()) throw std::bad_alloc();
  if (void* block = std::malloc(size != 0 ? size : 1)) return block;
  throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return ox::test::fails_now() ? nullptr : std::malloc(size != 0 ? size : 1);
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept { return operator new(size, tag); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
