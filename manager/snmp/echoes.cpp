#include "manager/snmp/echoes.h"

#include <algorithm>
#include <asio/executor_work_guard.hpp>
#include <asio/post.hpp>

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

}  // namespace

Echoes::~Echoes() {
  ends_ = true;
  if (threads_) threads_->join();
}

void Echoes::ask(const std::string& address, std::uint32_t timeout, std::uint32_t attempts, Done done) {
  if (!threads_) threads_.emplace(at_once);
  std::vector<Done>& waiting = waiting_[address];
  waiting.push_back(std::move(done));
  if (waiting.size() > 1) return;
  asio::post(*threads_,
             [this, address, timeout, attempts, here = std::weak_ptr(here_), stays = asio::make_work_guard(loop_)] {
               const Answer answer = ask_machine(address, timeout, attempts, ends_);
               asio::post(loop_, [this, address, answer, here] {
                 if (!here.expired()) tell(address, answer);
               });
             });
}

void Echoes::tell(const std::string& address, const Answer& answer) {
  const auto entry = waiting_.extract(address);
  for (const Done& done : entry.mapped()) done(answer);
}

}  // namespace ox::manager
