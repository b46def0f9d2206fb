#include "manager/base/programs.h"

#include <new>
#include <utility>

#include "manager/base/log.h"

namespace ox::manager {
namespace {

constexpr std::int64_t between_looks = 20;  // ms: as long as what a program writes must fit into the system's buffer

}  // namespace

platform::Error Programs::start(const Order& order, Identity& identity, Done done) {
  running_.push_back(std::make_unique<Running>());
  Running& running = *running_.back();
  const auto error = running.program.start(order.arguments, order.setting);
  if (error != platform::error_none) {
    running_.pop_back();
    return error;
  }
  identity = {running.program.id(), running.program.started()};
  running.done = std::move(done);
  if (order.limit != 0) running.until = clock_.passed() + std::int64_t{order.limit} * 1000;
  if (running_.size() == 1) wait();
  return platform::error_none;
}

void Programs::wait() {
  timer_->wait(between_looks, [this] { look(); });
}

// Those that have ended are told of when all have been looked at: who is told may start others.
void Programs::look() {
  std::list<std::unique_ptr<Running>> ended;
  for (auto next = running_.begin(); next != running_.end();) {
    const auto at = next++;
    Running& running = **at;
    if (running.until != 0 && clock_.passed() >= running.until && running.program.running()) {
      running.killed = true;
      running.program.kill_without_waiting();
    }
    if (!running.program.running()) ended.splice(ended.end(), running_, at);
  }
  if (!running_.empty()) wait();
  for (const auto& running : ended) {
    if (!running->done) continue;
    try {
      running->done({running->program.wait({}), running->killed, running->program.output()});
    } catch (const std::bad_alloc&) {
      log(Severity::error, "out of memory: the end of a program is not told");
    }
  }
}

}  // namespace ox::manager
