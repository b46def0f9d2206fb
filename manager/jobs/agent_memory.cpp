#include "manager/jobs/agent_memory.h"

#include <asio/post.hpp>
#include <utility>

#include "manager/jobs/log_entry.h"
#include "manager/snmp/agent.h"

namespace ox::manager {

void AgentMemory::keep(std::vector<std::shared_ptr<LogTarget>> targets) {
  const bool under_way = !left_.empty();
  left_ = std::move(targets);
  if (!under_way && !left_.empty()) asio::post(tools_.loop, [this] { go_on(); });
}

void AgentMemory::go_on() {
  constexpr std::size_t most = 200;  // of one commit
  const Pace::Step step(pace_);
  std::vector<Change> batch;
  while (!left_.empty() && batch.size() < most && Pace::Clock::now() < step.until()) {
    look_at(left_.back()->name, batch);
    left_.pop_back();
  }
  if (!left_.empty()) asio::post(tools_.loop, [this] { go_on(); });
  if (!batch.empty()) (void)tools_.keep(batch);  // else the next time
}

// Of an agent that is silent it is only known that it is.
void AgentMemory::look_at(const ComponentName& name, std::vector<Change>& batch) const {
  Agent agent;
  if (agent_of(tools_.store, name, tools_.settings, agent) != OX_OK) return;
  const AgentState* const state = tools_.asker.agents().known(agent);
  if (state == nullptr || state->silent || state->answers == 0 || state->learned() == agent.learned) return;
  batch.push_back(number_change(name, node_learned_path, state->learned(), OX_INTEGER));
}

}  // namespace ox::manager
