// Asking agents for values: all that is wanted of an agent in one turn of the event loop travels together, and what
// several want is asked for once.
#pragma once

#include <asio/io_context.hpp>
#include <map>
#include <memory>
#include <vector>

#include "manager/snmp/agents.h"
#include "manager/snmp/values.h"

namespace ox::manager {

struct AskPlan;

class Asker {
 public:
  // `first_size`: bindings of the first request to an agent.
  Asker(asio::io_context& loop, SnmpEngine& engine, const std::uint32_t& first_size)
      : loop_(loop), agents_(engine, first_size) {}

  // One value for each wanted instance. What the agent refuses fails alone.
  void get(const Agent& agent, std::shared_ptr<const Question> question, std::shared_ptr<ValueReceiver> receiver);

  // Every instance below each column, columns in parallel. A column ends at the end of its subtree, at the end of the
  // agent's view, at "noSuchName", and at a name that does not increase, which a broken agent would repeat for ever.
  // A failure of the agent gives one node, with the column's name and the code. `rows`: how many there were last.
  void walk(const Agent& agent, const Question& columns, std::size_t rows, std::shared_ptr<ValueReceiver> receiver);

  [[nodiscard]] Agents& agents() { return agents_; }
  [[nodiscard]] const Agents& agents() const { return agents_; }

 private:
  struct Share {
    std::shared_ptr<const Question> question;
    std::shared_ptr<ValueReceiver> receiver;
  };
  void ask_all();
  void ask(const AgentPtr& agent, std::vector<Share> shares, bool probing);
  [[nodiscard]] std::shared_ptr<AskPlan> plan_of(const std::vector<Share>& shares);
  void forget_plans();

  asio::io_context& loop_;
  Agents agents_;
  std::map<AgentPtr, std::vector<Share>> wanted_;                           // in this turn
  std::map<std::vector<const Question*>, std::shared_ptr<AskPlan>> plans_;  // of questions that are asked again
  std::size_t forget_at_ = 256;
};

}  // namespace ox::manager
