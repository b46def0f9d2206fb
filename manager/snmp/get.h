// A get of instances from one agent for all who want them, as often as it takes to get round what the agent refuses.
#pragma once

#include <deque>
#include <memory>
#include <vector>

#include "manager/snmp/agents.h"
#include "manager/snmp/ask_plan.h"

namespace ox::manager {

class Get final : public Turn, public std::enable_shared_from_this<Get> {
 public:
  // A receiver for each of the plan's questions.
  Get(Agents& agents, AgentPtr agent, std::shared_ptr<AskPlan> plan,
      std::vector<std::shared_ptr<ValueReceiver>> receivers, bool probing);

  void run();
  void take_turn() override;
  void give_up() override;
  [[nodiscard]] bool is_probing() const override { return probing_; }

 private:
  using Names = std::vector<std::uint32_t>;  // of the plan
  // What travels in one request, or is to.
  struct Piece {
    Names names{};
    std::uint32_t attempt = 0;
    bool uptime = false;
  };

  [[nodiscard]] Piece next_piece();
  void send(Piece piece);
  void probe();
  template <class Step>
  void step(const Step& what);
  void answered(Piece piece, SnmpAnswer answer);
  void unanswered(Piece piece);
  void refused(Piece piece, const SnmpAnswer& answer);
  void hand_out(const Piece& piece, NodeList& bindings);
  void hand_out(const AskPlan::Name& name, NodePtr node);
  void fail(const Names& names, OX_RESULT code);
  void fail_rest(OX_RESULT code);
  void leave(std::size_t number);
  void tell_reading(const Reading& reading);
  void again(Piece piece);
  void go_on();
  void end(OX_RESULT why);

  Agents& agents_;
  AgentPtr agent_;
  std::shared_ptr<AskPlan> plan_;
  std::vector<std::shared_ptr<ValueReceiver>> receivers_;  // null: wants no more
  std::deque<Piece> rest_;
  std::uint32_t under_way_ = 0;
  bool probing_;
  bool waiting_ = false;   // for a turn
  bool given_up_ = false;  // the agent does not answer
  bool ended_ = false;
};

}  // namespace ox::manager
