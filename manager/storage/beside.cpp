#include "manager/storage/beside.h"

#include <asio/executor_work_guard.hpp>
#include <asio/post.hpp>
#include <chrono>
#include <new>
#include <system_error>
#include <utility>

namespace ox::manager {
namespace {

constexpr auto pause_without_memory = std::chrono::milliseconds(100);

}  // namespace

struct Beside::Task {
  void run(const Work& work) noexcept {
    try {
      work(ending);
    } catch (const std::bad_alloc&) {  // as if it could not be done
    }
  }

  Done done;
  std::atomic<bool> ending = false;
};

Beside::~Beside() {
  if (task_) task_->ending = true;
  wait();
}

void Beside::wait() {
  if (thread_.joinable()) thread_.join();
}

void Beside::start(asio::io_context& loop, const Work& work, Done done) {
  wait();
  task_ = std::make_shared<Task>();
  task_->done = std::move(done);
  // The one who waits is told, however long there is no memory to say so; whoever broke it off does not wait.
  const auto tell = [&loop, known = std::weak_ptr<Task>(task_)] {
    asio::post(loop, [known] {
      const auto task = known.lock();
      if (task && !task->ending) task->done();
    });
  };
  const auto run = [task = task_, work, tell, working = asio::make_work_guard(loop)] {
    task->run(work);
    while (!task->ending) {
      try {
        return tell();
      } catch (const std::bad_alloc&) {
        std::this_thread::sleep_for(pause_without_memory);
      }
    }
  };
  try {
    thread_ = std::thread(run);
  } catch (const std::system_error&) {
    run();
  }
}

}  // namespace ox::manager
