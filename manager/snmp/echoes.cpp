#include "manager/snmp/echoes.h"

#include <algorithm>
#include <asio/executor_work_guard.hpp>
#include <asio/post.hpp>
#include <chrono>
#include <new>
#include <thread>
#include <utility>

#include <oxbase/oxc.h>

namespace ox::manager {
namespace {

constexpr std::size_t at_once = 32;
constexpr std::uint32_t longest = 5000;  // ms: the manager's end waits for it

Echoes::Answer ask_machine(const Echoes::Question& question, const std::atomic<bool>& ends) {
  Echoes::Answer answer{OX_ENOANSWER};
  for (std::uint32_t left = question.attempts; left != 0 && answer.code == OX_ENOANSWER && !ends; --left) {
    answer.code = oxcIcmpEcho(question.address.c_str(), std::min(question.timeout, longest), &answer.round_trip);
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

void Echoes::ask(std::uint32_t client, const Question& question, Done done) {
  std::vector<Done>& waiting = waiting_[question.address];
  waiting.push_back(std::move(done));
  if (waiting.size() > 1) return;
  try {
    if (!threads_) threads_.emplace(at_once);
    queue_.push(client, question);
    if (start()) return;
    queue_.pop();  // no other one waits then
  } catch (...) {  // also the threads that the system does not give
  }
  waiting_.erase(question.address);  // or nobody would ever ask for it again
  throw std::bad_alloc();
}

// False when memory has run out, and nothing is under way whose end would try it again.
bool Echoes::start() noexcept {
  try {
    for (; !queue_.empty() && under_way_ < at_once; ++under_way_) {
      begin(queue_.front());
      queue_.pop();
    }
  } catch (const std::bad_alloc&) {
  }
  return queue_.empty() || under_way_ != 0;
}

void Echoes::begin(const Question& question) {
  asio::post(*threads_, [this, question, here = std::weak_ptr(here_), stays = asio::make_work_guard(loop_)] {
    const Answer answer = ask_machine(question, ends_);
    post_surely(loop_, ends_, [this, address = question.address, answer, here] {
      if (!here.expired()) tell(address, answer);
    });
  });
}

void Echoes::tell(const std::string& address, const Answer& answer) {
  --under_way_;
  const auto entry = waiting_.extract(address);
  if (!start()) refuse_waiting();
  for (const Done& done : entry.mapped()) done(answer);
}

void Echoes::refuse_waiting() {
  queue_ = {};
  for (const auto& [address, waiting] : std::exchange(waiting_, {})) {
    for (const Done& done : waiting) done({OX_ENOMEM});
  }
}

}  // namespace ox::manager
