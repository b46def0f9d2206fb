#include "platform/named_event.h"

#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <ctime>
#include <thread>
#include <utility>

#include "platform/linux/fail.h"
#include "platform/linux/object.h"

namespace ox::platform {
namespace {

// Bit 0: signalled. The others count the settings, so that a waiter sees one that was reset again before it ran.
using Word = std::atomic<std::uint32_t>;
static_assert(Word::is_always_lock_free && sizeof(Word) == sizeof(std::uint32_t));

constexpr std::uint32_t signalled = 1;
constexpr std::uint32_t one_setting = 2;

bool was_set(std::uint32_t now, std::uint32_t before) noexcept {
  return (now & signalled) != 0 || (now | signalled) != (before | signalled);
}

// The moment at which a wait ends, on the clock that the kernel's waits and the mutex use.
class Deadline {
 public:
  explicit Deadline(std::uint32_t milliseconds) noexcept : limited_(milliseconds != infinite) {
    if (!limited_) return;
    (void)::clock_gettime(CLOCK_MONOTONIC, &end_);
    add(milliseconds);
  }
  [[nodiscard]] const timespec* end() const noexcept { return limited_ ? &end_ : nullptr; }

  [[nodiscard]] bool passed() const noexcept {
    timespec now{};
    (void)::clock_gettime(CLOCK_MONOTONIC, &now);
    return limited_ && (now.tv_sec != end_.tv_sec ? now.tv_sec > end_.tv_sec : now.tv_nsec >= end_.tv_nsec);
  }

 private:
  void add(std::uint32_t milliseconds) noexcept {
    end_.tv_sec += static_cast<time_t>(milliseconds / 1000);
    end_.tv_nsec += static_cast<long>(milliseconds % 1000) * 1'000'000L;
    if (end_.tv_nsec < 1'000'000'000L) return;
    end_.tv_nsec -= 1'000'000'000L;
    ++end_.tv_sec;
  }

  bool limited_;
  timespec end_{};
};

void wake_all(Word* word) noexcept { (void)::syscall(SYS_futex, word, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0); }

// Sleeps while the word has that value. False when the end has come. Wakes early as it likes.
bool sleep_on(Word* word, std::uint32_t value, const timespec* end) noexcept {
  return ::syscall(SYS_futex, word, FUTEX_WAIT_BITSET, value, end, nullptr, FUTEX_BITSET_MATCH_ANY) == 0 ||
         errno != ETIMEDOUT;
}

// The same for two words. A kernel without that call is asked for one word in short turns.
bool sleep_on_two(const std::array<Word*, 2>& words, const std::array<std::uint32_t, 2>& values,
                  const Deadline& deadline) noexcept {
  std::array<futex_waitv, 2> waits{};
  for (std::size_t i = 0; i < waits.size(); ++i) {
    waits[i].uaddr = reinterpret_cast<std::uintptr_t>(words[i]);
    waits[i].val = values[i];
    waits[i].flags = FUTEX_32;
  }
  if (::syscall(SYS_futex_waitv, waits.data(), waits.size(), 0, deadline.end(), CLOCK_MONOTONIC) >= 0) return true;
  if (errno == ENOSYS || errno == EPERM) {
    constexpr std::uint32_t turn = 20;
    (void)sleep_on(words[0], values[0], Deadline(turn).end());
    return !deadline.passed();
  }
  return errno != ETIMEDOUT;
}

}  // namespace

struct NamedEvent::Impl {
  Object object;
  Word own{0};  // of an event without a name

  [[nodiscard]] Word* word() noexcept { return object.base() != nullptr ? static_cast<Word*>(object.base()) : &own; }
};

NamedEvent::NamedEvent() = default;
NamedEvent::NamedEvent(NamedEvent&&) noexcept = default;
NamedEvent& NamedEvent::operator=(NamedEvent&&) noexcept = default;
NamedEvent::~NamedEvent() = default;

Error NamedEvent::create(const char* name, Access /*access*/) {
  auto made = std::make_unique<Impl>();
  if (name != nullptr) {
    bool existed = false;
    // Zero bytes are an event that is not signalled.
    const Error error = made->object.create(ObjectKind::event, name, sizeof(Word), nullptr, nullptr, &existed);
    if (error != error_none) return error;
  }
  impl_ = std::move(made);
  return error_none;
}

Error NamedEvent::open(const char* name) {
  auto opened = std::make_unique<Impl>();
  if (const Error error = opened->object.open(ObjectKind::event, name, true)) return error;
  impl_ = std::move(opened);
  return error_none;
}

void NamedEvent::set() noexcept {
  if (impl_ == nullptr) return;
  Word* word = impl_->word();
  std::uint32_t now = word->load();
  do {
    if ((now & signalled) != 0) return;
  } while (!word->compare_exchange_weak(now, (now + one_setting) | signalled));
  wake_all(word);
}

void NamedEvent::reset() noexcept {
  if (impl_ != nullptr) impl_->word()->fetch_and(~signalled);
}

Error NamedEvent::wait(std::uint32_t milliseconds) noexcept {
  if (impl_ == nullptr) return fail(error_invalid_handle);
  const Deadline deadline(milliseconds);
  Word* word = impl_->word();
  const std::uint32_t before = word->load();
  for (bool in_time = true;;) {
    const std::uint32_t now = word->load();
    if (was_set(now, before)) return error_none;
    if (!in_time) return fail(error_timeout);
    in_time = sleep_on(word, now, deadline.end());
  }
}

int NamedEvent::wait_any(NamedEvent& first, NamedEvent& second, std::uint32_t milliseconds) noexcept {
  if (first.impl_ == nullptr || second.impl_ == nullptr) {
    (void)fail(error_invalid_handle);
    return -1;
  }
  const Deadline deadline(milliseconds);
  const std::array<Word*, 2> words{first.impl_->word(), second.impl_->word()};
  const std::array<std::uint32_t, 2> before{words[0]->load(), words[1]->load()};
  for (bool in_time = true;;) {
    const std::array<std::uint32_t, 2> now{words[0]->load(), words[1]->load()};
    for (std::size_t i = 0; i < words.size(); ++i) {
      if (was_set(now[i], before[i])) return static_cast<int>(i);
    }
    if (!in_time) {
      (void)fail(error_timeout);
      return -1;
    }
    in_time = sleep_on_two(words, now, deadline);
  }
}

// A robust mutex of the C library: the kernel hands it on when its owner dies.
struct NamedMutex::Impl {
  Object object;

  [[nodiscard]] pthread_mutex_t* mutex() noexcept { return static_cast<pthread_mutex_t*>(object.base()); }

  static void make(void* base, const void*) {
    pthread_mutexattr_t kind;
    (void)::pthread_mutexattr_init(&kind);
    (void)::pthread_mutexattr_setpshared(&kind, PTHREAD_PROCESS_SHARED);
    (void)::pthread_mutexattr_setrobust(&kind, PTHREAD_MUTEX_ROBUST);
    (void)::pthread_mutexattr_settype(&kind, PTHREAD_MUTEX_RECURSIVE);
    (void)::pthread_mutex_init(static_cast<pthread_mutex_t*>(base), &kind);
    (void)::pthread_mutexattr_destroy(&kind);
  }

  void owned(bool afresh) noexcept {
    if (afresh || owner != std::this_thread::get_id()) depth = 0;
    owner = std::this_thread::get_id();
    ++depth;
  }

  void unlock() noexcept {
    if (owner != std::this_thread::get_id()) return;
    if (--depth == 0) owner = std::thread::id();
    (void)::pthread_mutex_unlock(mutex());
  }

  // The thread that owns it through this object, and how often it took it. The depth is that thread's.
  std::atomic<std::thread::id> owner{std::thread::id()};
  std::uint32_t depth = 0;
};

NamedMutex::NamedMutex() = default;
NamedMutex::NamedMutex(NamedMutex&&) noexcept = default;
NamedMutex& NamedMutex::operator=(NamedMutex&& other) noexcept {
  std::swap(impl_, other.impl_);
  return *this;
}
NamedMutex::~NamedMutex() {
  while (impl_ != nullptr && impl_->owner == std::this_thread::get_id()) impl_->unlock();
}

Error NamedMutex::create(const char* name, Access /*access*/) {
  NamedMutex made;
  auto impl = std::make_unique<Impl>();
  bool existed = false;
  const Error error =
      impl->object.create(ObjectKind::mutex, name, sizeof(pthread_mutex_t), Impl::make, nullptr, &existed);
  if (error != error_none) return error;
  made.impl_ = std::move(impl);
  *this = std::move(made);
  return error_none;
}

Error NamedMutex::open(const char* name) {
  NamedMutex opened;
  auto impl = std::make_unique<Impl>();
  if (const Error error = impl->object.open(ObjectKind::mutex, name, true)) return error;
  opened.impl_ = std::move(impl);
  *this = std::move(opened);
  return error_none;
}

Error NamedMutex::lock(std::uint32_t milliseconds) noexcept {
  if (impl_ == nullptr) return fail(error_invalid_handle);
  pthread_mutex_t* mutex = impl_->mutex();
  if (mutex == nullptr) return fail(error_access_denied);  // another account's, of which it is known that it exists
  const Deadline deadline(milliseconds);
  const int result = deadline.end() != nullptr ? ::pthread_mutex_clocklock(mutex, CLOCK_MONOTONIC, deadline.end())
                                               : ::pthread_mutex_lock(mutex);
  if (result != 0 && result != EOWNERDEAD) return fail_errno(result);
  if (result == EOWNERDEAD) (void)::pthread_mutex_consistent(mutex);
  impl_->owned(result == EOWNERDEAD);
  return error_none;
}

void NamedMutex::unlock() noexcept {
  if (impl_ != nullptr) impl_->unlock();
}

}  // namespace ox::platform
