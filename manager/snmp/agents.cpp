#include "manager/snmp/agents.h"

#include <algorithm>
#include <utility>

#include "manager/snmp/agent.h"

namespace ox::manager {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t most_in_flight = 8;
constexpr std::uint32_t most_of_size = 100;
constexpr std::chrono::hours kept{1};  // what is known of an agent that nobody asks

void smooth(std::chrono::microseconds& average, Clock::duration next) {
  const auto measured = std::chrono::duration_cast<std::chrono::microseconds>(next);
  average = average.count() == 0 ? measured : (7 * average + measured) / 8;
}

}  // namespace

// Those that wait hold their agents.
Agents::~Agents() {
  for (const auto& [key, agent] : agents_) (void)std::exchange(agent->waiting, {});
}

void AgentState::remember(std::uint32_t learned_once) {
  if (learned_once == 0) return;
  growing = false;
  size = std::clamp(learned_once >> 8, 1u, most_of_size);
  most_in_flight = std::clamp(learned_once & 0xFF, 1u, ox::manager::most_in_flight);
}

const AgentState* Agents::known(const Agent& agent) const {
  const auto found = agents_.find(key_of(agent));
  return found == agents_.end() ? nullptr : found->second.get();
}

std::map<asio::ip::udp::endpoint, std::uint64_t> Agents::answers_of_each() const {
  std::map<asio::ip::udp::endpoint, std::uint64_t> answers;
  for (const auto& [key, agent] : agents_)
    answers.emplace_hint(answers.end(), key.address, 0)->second += agent->answers;
  return answers;
}

AgentPtr Agents::find(const Agent& agent) {
  if (agents_.size() >= forget_at_) forget_unused();
  AgentPtr& state = agents_[key_of(agent)];
  if (!state) {
    state = std::make_shared<AgentState>();
    state->size = first_size_;
    state->remember(agent.learned);
  }
  state->agent = agent;
  state->used = Clock::now();
  return state;
}

void Agents::forget_unused() {
  const auto oldest = Clock::now() - kept;
  std::erase_if(agents_,
                [oldest](const auto& entry) { return entry.second.use_count() == 1 && entry.second->used < oldest; });
  forget_at_ = std::max<std::size_t>(1024, 2 * agents_.size());
}

void Agents::wait(const AgentPtr& agent, std::shared_ptr<Turn> turn) {
  agent->waiting.push_back(std::move(turn));
  next_turns(agent);
}

void Agents::next_turns(const AgentPtr& agent) {
  while (!agent->waiting.empty() && agent->in_flight < agent->most_in_flight) {
    const std::shared_ptr<Turn> turn = std::move(agent->waiting.front());
    agent->waiting.pop_front();
    turn->take_turn();
  }
}

void Agents::send(const AgentPtr& agent, Packet packet, std::uint32_t size, SnmpEngine::Handler handler) {
  ++agent->in_flight;
  ++requests_;
  engine_.send(agent->agent, std::move(packet), 1,
               [this, agent, size, sent = Clock::now(), handler = std::move(handler)](SnmpAnswer answer) {
                 --agent->in_flight;
                 learn(*agent, answer, size, sent);
                 handler(std::move(answer));
                 next_turns(agent);
               });
}

void Agents::learn(AgentState& agent, const SnmpAnswer& answer, std::uint32_t size, Clock::time_point sent) {
  const std::uint32_t half = std::max(1u, size / 2);
  if (answer.result == OX_ENOANSWER) {
    ++timeouts_;
    if (agent.size_heard == 0) agent.size_heard = agent.size;
    agent.size = std::min(agent.size, half);
    agent.growing = false;
    if (sent < agent.slowed) return;
    agent.slowed = Clock::now();
    agent.most_in_flight = std::max(1u, agent.most_in_flight / 2);
  } else if (answer.result == OX_OK) {
    ++answers_;
    ++agent.answers;
    agent.silent = false;
    agent.size_heard = 0;
    smooth(agent.round_trip, answer.round_trip);
    agent.most_in_flight = std::min(agent.most_in_flight + 1, most_in_flight);
    if (answer.error_status == status_too_big && size > 1) {
      agent.size_refused = std::min(agent.size_refused, size);
      agent.size = std::min(agent.size, half);
      agent.growing = false;
    } else if (size >= agent.size) {
      agent.size = std::min(agent.growing ? 2 * agent.size : agent.size + 1, agent.size_refused - 1);
    }
  }
}

// Silence says nothing of sizes.
void Agents::lost(AgentState& agent, bool probed) {
  agent.silent = true;
  agent.most_in_flight = 1;
  if (agent.size_heard != 0) agent.size = std::exchange(agent.size_heard, 0);
  auto turns = std::exchange(agent.waiting, {});
  const auto sure = std::stable_partition(turns.begin(), turns.end(),
                                          [probed](const auto& turn) { return !probed || turn->is_probing(); });
  agent.waiting.assign(sure, turns.end());
  turns.erase(sure, turns.end());
  for (const std::shared_ptr<Turn>& turn : turns) turn->give_up();
}

}  // namespace ox::manager
