// The making of a new database out of a damaged one, in a thread beside the event loop.
#pragma once

#include <asio/io_context.hpp>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "manager/storage/salvage.h"

namespace ox::manager {

class Renewal {
 public:
  using Result = std::optional<std::vector<Saved>>;
  using Work = std::function<Result(const std::atomic<bool>& ending)>;
  using Done = std::function<void(const Result& result)>;

  Renewal() = default;
  ~Renewal();  // breaks it off
  Renewal(const Renewal&) = delete;
  Renewal& operator=(const Renewal&) = delete;

  // `work` goes on in the thread, or at once where there can be none; `done` is called from the loop.
  void start(asio::io_context& loop, const Work& work, Done done);

 private:
  struct Task;
  std::shared_ptr<Task> task_;
  std::thread thread_;
};

}  // namespace ox::manager
