// The check and the backup of the databases while they are at work: of one moment, in a thread beside the loop.
#pragma once

#include <asio/io_context.hpp>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "manager/requests/databases.h"

namespace ox::manager {

class Upkeep {
 public:
  Upkeep(asio::io_context& loop, std::string data_directory) : loop_(loop), data_(std::move(data_directory)) {}
  ~Upkeep();  // breaks it off
  Upkeep(const Upkeep&) = delete;
  Upkeep& operator=(const Upkeep&) = delete;

  struct Line {
    std::string text;
    bool fault = false;
  };
  using Lines = std::vector<Line>;
  using Done = std::function<void(OX_RESULT, const Lines&)>;
  using Work = void (*)(Snapshots& snapshots, const FaultSink& faults, const Tell& tell);

  // Of the databases as they are now; `done` gets what is told. 85: one is under way; 5024: no thread.
  [[nodiscard]] OX_RESULT start(Work work, Done done);
  // What is under way ends soon, as one that failed.
  void break_off();

 private:
  struct Task;
  void end(Task& task);

  asio::io_context& loop_;
  std::string data_;
  std::shared_ptr<Task> task_;
  std::thread thread_;
};

}  // namespace ox::manager
