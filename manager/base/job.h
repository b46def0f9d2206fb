// Work that takes its time: begun once, counted in operations, ended once.
#pragma once

#include <asio/steady_timer.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <new>
#include <vector>

#include <oxbase/oxtypes.h>

namespace ox::manager {

// Who starts operations keeps the job alive by what waits for them. All of it runs in the event loop.
class Job : public std::enable_shared_from_this<Job> {
 public:
  Job(const Job&) = delete;
  Job& operator=(const Job&) = delete;
  virtual ~Job() = default;

  // Its client is gone: it ends without a word, and what still comes is passed over.
  void cancel();

 protected:
  explicit Job(asio::io_context& loop) : timer_(loop) {}

  // Sets the job's time, and runs what starts its operations. The job ends with the last of them.
  template <class Start>
  void begin(std::chrono::seconds limit, const Start& start) {
    watch_time(limit);
    step(start);
    operation_ended();
  }
  void operation_began() { ++operations_; }
  void operation_ended();
  // Whatever a handler of the loop does: without memory for it the job ends with 3.
  template <class Call>
  void step(const Call& call) {
    try {
      call();
    } catch (const std::bad_alloc&) {
      end(OX_ENOMEM);
    }
  }
  // Before the operations have ended; those that still end find it ended.
  void end(OX_RESULT why);
  [[nodiscard]] bool ended() const { return ended_; }

 private:
  // Tells the client. 0; 158 when the time was over; 3: it has to do without memory then.
  virtual void finish(OX_RESULT why) = 0;
  void watch_time(std::chrono::seconds limit);

  asio::steady_timer timer_;
  std::size_t operations_ = 1;  // the start counts as one
  bool ended_ = false;
};

// The jobs of each client, to be cancelled when it goes.
class JobsOfClients {
 public:
  void add(std::uint32_t session, const std::shared_ptr<Job>& job);
  void end_session(std::uint32_t session);

 private:
  struct Jobs {
    std::vector<std::weak_ptr<Job>> started;
    std::size_t sweep_at = 16;  // those that have ended are forgotten then
  };
  std::map<std::uint32_t, Jobs> jobs_;
};

}  // namespace ox::manager
