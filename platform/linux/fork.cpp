#include "platform/fork.h"

#include <pthread.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace ox::platform {
namespace {

template <class Member>
class Members {
 public:
  void add(Member member) noexcept {
    const std::size_t index = count_.fetch_add(1);
    if (index >= members_.size()) std::abort();  // when the library is loaded: one more place is needed
    members_[index].store(member);
  }
  [[nodiscard]] std::size_t count() const noexcept { return std::min(count_.load(), members_.size()); }
  // Null while it is being added.
  [[nodiscard]] Member at(std::size_t index) const noexcept { return members_[index].load(); }

 private:
  std::array<std::atomic<Member>, 16> members_{};
  std::atomic<std::size_t> count_{0};
};

constinit Members<Forget> forgetters;
constinit Members<std::mutex*> locks;
constinit std::mutex one_fork;  // forks of several threads one after the other; guards what follows
constinit std::size_t known = 0;
constinit bool held = false;

void release(std::size_t first, std::size_t count) noexcept {
  for (std::size_t i = 0; i < count; ++i) locks.at((first + i) % known)->unlock();
}

bool wait_for(std::mutex& lock, const timespec& end) noexcept {
  return ::pthread_mutex_timedlock(lock.native_handle(), &end) == 0;
}

// Waits for one of them alone, so that its holder may go on to take another, and takes the others if they are free;
// else waits for the one that was not.
bool hold_all() noexcept {
  timespec end{};
  (void)::clock_gettime(CLOCK_REALTIME, &end);
  end.tv_sec += 1;
  for (std::size_t first = 0; wait_for(*locks.at(first), end);) {
    std::size_t count = 1;
    while (count < known && locks.at((first + count) % known)->try_lock()) ++count;
    if (count == known) return true;
    release(first, count);
    first = (first + count) % known;
  }
  return false;
}

void before_fork() {
  one_fork.lock();
  for (known = 0; known < locks.count() && locks.at(known) != nullptr; ++known) {
  }
  held = known != 0 && hold_all();
}

void in_parent() {
  if (held) release(0, known);
  one_fork.unlock();
}

void in_child() {
  if (held) {
    release(0, known);
  } else {  // whoever had one is not here
    for (std::size_t i = 0; i < known; ++i) new (locks.at(i)) std::mutex();
  }
  one_fork.unlock();
  for (std::size_t i = 0; i < forgetters.count(); ++i) {
    if (const Forget forget = forgetters.at(i)) forget();
  }
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
