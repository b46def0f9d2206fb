// A walk of an agent's columns. One request is under way at a time; each asks for the next rows of as many columns as
// fit: of version 1 for one row.
#pragma once

#include <deque>
#include <memory>
#include <vector>

#include "manager/snmp/agents.h"
#include "manager/snmp/values.h"

namespace ox::manager {

class Walk final : public Turn, public std::enable_shared_from_this<Walk> {
 public:
  // `rows`: how many there were last, 0 when that is not known.
  Walk(Agents& agents, AgentPtr agent, const Question& columns, std::size_t rows,
       std::shared_ptr<ValueReceiver> receiver);

  void run() { go_on(true); }
  void take_turn() override;
  void give_up() override;
  [[nodiscard]] bool is_probing() const override { return probing_; }

 private:
  struct Column {
    Oid top;
    std::size_t slot = 0;
    Oid at;  // the last name received
    bool ended = false;
  };
  // What one request asks for.
  struct Rows {
    std::size_t columns;       // of those in front
    std::size_t in_front = 0;  // bindings that are not of columns
    std::uint32_t repetitions = 1;
    bool all = true;  // no more would be asked for if the agent could take it
  };

  void ask();
  [[nodiscard]] Rows next_rows() const;
  void take(const Rows& rows, SnmpAnswer answer);
  [[nodiscard]] bool take_answer(const Rows& rows, SnmpAnswer answer);
  [[nodiscard]] bool unanswered(OX_RESULT result);
  [[nodiscard]] bool fail_rest(OX_RESULT code);
  [[nodiscard]] bool end_columns(const Rows& rows, const SnmpAnswer& answer);
  void take_reading(const Rows& rows, NodeList& bindings);
  [[nodiscard]] bool take_rows(const Rows& rows, NodeList& bindings);
  [[nodiscard]] bool take_value(Column& column, NodePtr node);
  void go_on(bool more);

  Agents& agents_;
  AgentPtr agent_;
  std::vector<std::size_t> slots_;
  std::deque<Column> columns_;
  Oid path_;  // of the value at hand
  std::size_t rows_left_;
  bool uptime_;
  bool probing_;  // a silent agent, whose first answer tells that it is there again
  std::uint32_t attempt_ = 0;
  std::shared_ptr<ValueReceiver> receiver_;  // null when the walk has ended
};

}  // namespace ox::manager
