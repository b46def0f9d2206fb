// Work in a thread beside the event loop, one piece at a time.
#pragma once

#include <asio/io_context.hpp>
#include <atomic>
#include <functional>
#include <memory>
#include <thread>

namespace ox::manager {

class Beside {
 public:
  using Work = std::function<void(const std::atomic<bool>& ending)>;
  using Done = std::function<void()>;

  Beside() = default;
  ~Beside();  // breaks it off
  Beside(const Beside&) = delete;
  Beside& operator=(const Beside&) = delete;

  // `work` goes on in the thread, or at once where there can be none; `done` is called from the loop, also when `work`
  // has run out of memory.
  void start(asio::io_context& loop, const Work& work, Done done);
  // Until `work` has been done; `done` comes from the loop all the same.
  void wait();

 private:
  struct Task;
  std::shared_ptr<Task> task_;
  std::thread thread_;
};

}  // namespace ox::manager
