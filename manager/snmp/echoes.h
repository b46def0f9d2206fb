// Whether machines answer, and how fast: ICMP echoes, each in a thread of a few.
#pragma once

#include <asio/io_context.hpp>
#include <asio/thread_pool.hpp>
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <oxbase/oxtypes.h>

#include "manager/base/fair_queue.h"

namespace ox::manager {

class Echoes {
 public:
  struct Answer {
    OX_RESULT code = OX_OK;        // 0; 158 nobody answers; 5 the system does not allow it; what else oxcIcmpEcho gives
    std::uint32_t round_trip = 0;  // microseconds
  };
  using Done = std::function<void(const Answer&)>;

  explicit Echoes(asio::io_context& loop) : loop_(loop) {}
  ~Echoes();  // waits for the attempts that are under way
  Echoes(const Echoes&) = delete;
  Echoes& operator=(const Echoes&) = delete;

  struct Question {
    std::string address;
    std::uint32_t timeout = 0;   // milliseconds of an attempt, five seconds at the most
    std::uint32_t attempts = 0;  // how many there are
  };
  // For a client, a session: where many wait, the turn goes round from client to client. Who asks for a machine that is
  // being asked gets the same answer. Calls back in a later turn of the loop.
  // Throws std::bad_alloc, also where the system gives no threads.
  void ask(std::uint32_t client, const Question& question, Done done);

 private:
  [[nodiscard]] bool start() noexcept;
  void begin(const Question& question);
  void tell(const std::string& address, const Answer& answer);
  void refuse_waiting();

  asio::io_context& loop_;
  std::optional<asio::thread_pool> threads_;  // from the first question on
  std::atomic<bool> ends_ = false;
  std::map<std::string, std::vector<Done>> waiting_;  // by addresses
  FairQueue<Question> queue_;                         // that no thread has taken
  std::size_t under_way_ = 0;
  std::shared_ptr<int> here_ = std::make_shared<int>(0);  // as long as answers are wanted
};

}  // namespace ox::manager
