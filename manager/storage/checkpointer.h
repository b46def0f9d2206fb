// Moves what a write-ahead log holds into its database, in a thread with a connection of its own: the loop does not
// wait for the disk.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "manager/storage/connection.h"

namespace ox::manager {

class Checkpointer {
 public:
  explicit Checkpointer(std::string file) : file_(std::move(file)) {}
  ~Checkpointer() { stop(); }
  Checkpointer(const Checkpointer&) = delete;
  Checkpointer& operator=(const Checkpointer&) = delete;

  // A commit has left that many pages in the log. True when the log is to begin anew: the thread leaves a few pages
  // behind while commits go on, and none may be left.
  [[nodiscard]] bool grown(int pages);
  // Of a connection that writes, while nobody does: the last pages are moved, and the log's new beginning is on the
  // disk, where no reader needs the old one. It waits for the disk three times.
  static void begin_anew(Connection& connection);
  void stop();

 private:
  void run();
  void start();
  [[nodiscard]] static bool move(Connection& connection);

  std::string file_;
  std::thread thread_;
  std::mutex mutex_;
  std::condition_variable wanted_changed_;
  bool wanted_ = false;
  bool ending_ = false;
  std::atomic<bool> busy_ = false;
  std::atomic<bool> passed_ = false;  // and has left few pages
  int asked_at_ = 0;                  // pages
};

}  // namespace ox::manager
