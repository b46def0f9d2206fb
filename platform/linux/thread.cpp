#include "platform/thread.h"

#include <pthread.h>
#include <signal.h>

#include <thread>
#include <utility>

namespace ox::platform {
namespace {

// A thread begins with the mask of the one that starts it.
class NoSignals {
 public:
  NoSignals() noexcept {
    sigset_t all;
    (void)::sigfillset(&all);
    (void)::pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  NoSignals(const NoSignals&) = delete;
  NoSignals& operator=(const NoSignals&) = delete;
  ~NoSignals() { (void)::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_;
};

}  // namespace

struct Thread::Impl {
  std::thread thread;
};

Thread::Thread() = default;
Thread::Thread(Thread&&) noexcept = default;
Thread& Thread::operator=(Thread&&) noexcept = default;
Thread::~Thread() = default;

Thread::Thread(std::function<void()> body) : impl_(std::make_unique<Impl>()) {
  const NoSignals blocked;
  impl_->thread = std::thread(std::move(body));
}

void Thread::join() noexcept {
  impl_->thread.join();
  impl_.reset();
}

}  // namespace ox::platform
