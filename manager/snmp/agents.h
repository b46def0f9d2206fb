// What has been learned of the agents that are asked, and whose turn it is at each.
#pragma once

#include <chrono>
#include <compare>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "manager/snmp/engine.h"

namespace ox::manager {

// Who has something to ask of an agent.
class Turn {
 public:
  virtual ~Turn() = default;
  // Sends one request, if there still is one to send.
  virtual void take_turn() = 0;
  // The agent does not answer: what has not been asked will not be.
  virtual void give_up() = 0;
  // Wants to know no more of a silent agent than whether it is there again.
  [[nodiscard]] virtual bool is_probing() const = 0;
};

// Sizes are variable bindings of one request, or of its answer.
struct AgentState {
  Agent agent;
  std::uint32_t size = 1;            // that one may have: doubles until one is too big or lost, then grows by one
  std::uint32_t size_refused = 101;  // the least that was too big
  std::uint32_t size_heard = 0;      // before the attempts that are unanswered now; 0 without any
  std::uint32_t most_in_flight = 1;  // grows by one with each answer, halves with each time-out
  std::uint32_t in_flight = 0;
  std::uint64_t answers = 0;
  bool growing = true;     // nothing has been too big or lost yet, nor is anything known of it
  bool silent = false;     // did not answer all attempts of its last request
  bool no_uptime = false;  // does not tell its own time
  std::chrono::microseconds round_trip{0};
  std::chrono::steady_clock::time_point used{};
  std::chrono::steady_clock::time_point slowed{};  // when the limit was halved last
  std::deque<std::shared_ptr<Turn>> waiting{};

  // What is worth to be remembered, as one number: never 0. What was refused is not: a better agent may stand there.
  [[nodiscard]] std::uint32_t learned() const { return (size_heard != 0 ? size_heard : size) << 8 | most_in_flight; }
  void remember(std::uint32_t learned_once);
};
using AgentPtr = std::shared_ptr<AgentState>;

class Agents {
 public:
  Agents(SnmpEngine& engine, const std::uint32_t& first_size) : engine_(engine), first_size_(first_size) {}

  Agents(const Agents&) = delete;
  Agents& operator=(const Agents&) = delete;
  ~Agents();

  [[nodiscard]] AgentPtr find(const Agent& agent);
  // The turn comes at once, or when enough of the agent's requests have been answered.
  void wait(const AgentPtr& agent, std::shared_ptr<Turn> turn);
  // Sends a request of that size, in one attempt; from within a turn.
  void send(const AgentPtr& agent, Packet packet, std::uint32_t size, SnmpEngine::Handler handler);
  // An agent has left all attempts unanswered; after a probe that was one, and only those who probe give up.
  void lost(AgentState& agent, bool probed);

  // Null for one that was not asked of late.
  [[nodiscard]] const AgentState* known(const Agent& agent) const;
  // How often each has answered, by its address and port.
  [[nodiscard]] std::map<asio::ip::udp::endpoint, std::uint64_t> answers_of_each() const;

  [[nodiscard]] std::size_t count() const { return agents_.size(); }
  [[nodiscard]] std::uint64_t requests() const { return requests_; }
  [[nodiscard]] std::uint64_t answers() const { return answers_; }
  [[nodiscard]] std::uint64_t timeouts() const { return timeouts_; }
  [[nodiscard]] const SnmpEngine& engine() const { return engine_; }

 private:
  struct Key {
    asio::ip::udp::endpoint address;
    std::uint32_t version;
    std::string community;
    bool operator<(const Key& other) const {
      if (address != other.address) return address < other.address;
      return version != other.version ? version < other.version : community < other.community;
    }
  };

  [[nodiscard]] static Key key_of(const Agent& agent) { return {agent.address, agent.version, agent.read_community}; }
  void forget_unused();
  void next_turns(const AgentPtr& agent);
  void learn(AgentState& agent, const SnmpAnswer& answer, std::uint32_t size,
             std::chrono::steady_clock::time_point sent);

  SnmpEngine& engine_;
  const std::uint32_t& first_size_;
  std::map<Key, AgentPtr> agents_;
  std::size_t forget_at_ = 1024;
  std::uint64_t requests_ = 0;
  std::uint64_t answers_ = 0;
  std::uint64_t timeouts_ = 0;
};

}  // namespace ox::manager
