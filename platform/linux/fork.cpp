#include "platform/fork.h"

#include <pthread.h>

#include <array>
#include <atomic>
#include <cassert>
#include <cstddef>
#include <new>

#include "platform/environment.h"

namespace ox::platform {
namespace {

template <class Member>
class Members {
 public:
  void add(Member* member) noexcept {
    const std::size_t index = count_.fetch_add(1);
    assert(index < members_.size());
    members_[index].store(member);
  }
  // Up to the first for which `act` is false; how many that was.
  template <class Act>
  std::size_t each(Act act) noexcept {
    std::size_t done = 0;
    for (std::atomic<Member*>& member : members_) {
      Member* const present = member.load();
      if (present == nullptr || !act(*present)) break;
      ++done;
    }
    return done;
  }

 private:
  std::array<std::atomic<Member*>, 16> members_{};
  std::atomic<std::size_t> count_{0};
};

constinit Members<void() noexcept> forgetters;
constinit Members<std::mutex> locks;
constinit std::mutex one_fork;  // forks of several threads one after the other; guards what follows
constinit std::size_t held = 0;

void release(std::size_t count) noexcept {
  (void)locks.each([&count](std::mutex& lock) {
    if (count == 0) return false;
    --count;
    lock.unlock();
    return true;
  });
}

// All or none, so that a holder of one may go on to take another.
bool hold_all() noexcept {
  bool all = true;
  held = locks.each([&all](std::mutex& lock) { return all = lock.try_lock(); });
  if (all) return true;
  release(held);
  held = 0;
  return false;
}

void before_fork() {
  constexpr int patience = 1000;  // ms
  one_fork.lock();
  for (int tries = 0; tries < patience && !hold_all(); ++tries) sleep_ms(1);
}

void in_parent() {
  release(held);
  one_fork.unlock();
}

void in_child() {
  if (held == 0) {  // whoever had one is not here
    (void)locks.each([](std::mutex& lock) { return new (&lock) std::mutex() != nullptr; });
  }
  release(held);
  one_fork.unlock();
  (void)forgetters.each([](auto& forget) {
    forget();
    return true;
  });
}

[[gnu::constructor]] void watch_forks() { (void)::pthread_atfork(before_fork, in_parent, in_child); }

}  // namespace

bool in_forked_child(Forget forget) noexcept {
  forgetters.add(forget);
  return true;
}

bool free_in_forked_child(std::mutex& lock) noexcept {
  locks.add(&lock);
  return true;
}

}  // namespace ox::platform
