#include "manager/snmp/echoes.h"

#include <algorithm>
#include <asio/executor_work_guard.hpp>
#include <asio/post.hpp>
#include <chrono>
#include <new>
#include <thread>

#include <oxbase/oxc.h>

namespace ox::manager {
namespace {

constexpr std::size_t at_once = 32;
constexpr std::uint32_t longest = 5000;  // ms: the manager's end waits for it

Echoes::Answer ask_machine(const std::string& address, std::uint32_t timeout, std::uint32_t attempts,
                           const std::atomic<bool>& ends) {
  Echoes::Answer answer{OX_ENOANSWER};
  while (attempts-- != 0 && answer.code == OX_ENOANSWER && !ends) {
    answer.code = oxcIcmpEcho(address.c_str(), std::min(timeout, longest), &answer.round_trip);
  }
  return answer;
}

// In a thread, where nobody takes exceptions: without memory it tries again, since somebody waits for the answer.
template <class Call>
void post_surely(asio::io_context& loop, const std::atomic<bool>& ends, const Call& call) noexcept {
  while (!ends) {
    try {
      return asio::post(loop, call);
    } catch (const std::bad_alloc&) {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
  }
}

}  // namespace

Echoes::~Echoes() {
  ends_ = true;
  if (threads_) threads_->join();
}

void Echoes::ask(const std::string& address, std::uint32_t timeout, std::uint32_t attempts, Done done) {
  std::vector<Done>& waiting = waiting_[address];
  waiting.push_back(std::move(done));
  if (waiting.size() > 1) return;
  try {
    begin(address, timeout, attempts);
  } catch (...) {  // nobody would ever ask for it again
    waiting_.erase(address);
    throw std::bad_alloc();  // also for threads that the system does not give
  }
}

void Echoes::begin(const std::string& address, std::uint32_t timeout, std::uint32_t attempts) {
  if (!threads_) threads_.emplace(at_once);
  asio::post(*threads_,
             [this, address, timeout, attempts, here = std::weak_ptr(here_), stays = asio::make_work_guard(loop_)] {
               const Answer answer = ask_machine(address, timeout, attempts, ends_);
               post_surely(loop_, ends_, [this, address, answer, here] {
                 if (!here.expired()) tell(address, answer);
               });
             });
}

void Echoes::tell(const std::string& address, const Answer& answer) {
  const auto entry = waiting_.extract(address);
  for (const Done& done : entry.mapped()) done(answer);
}

}  // namespace ox::manager
