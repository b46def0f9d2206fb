#include <algorithm>
#include <deque>

#include "manager/snmp/agent.h"
#include "manager/snmp/binding.h"
#include "manager/snmp/values.h"

namespace ox::manager {
namespace {

struct Column {
  Oid top;
  std::size_t slot = 0;
  Oid at;  // the last name received
};

// A walk of columns. One request is under way at a time; each asks for the next row of as many columns as fit.
class Walk : public std::enable_shared_from_this<Walk> {
 public:
  Walk(SnmpEngine& engine, const Agent& agent, std::size_t bindings, const std::vector<Wanted>& columns,
       std::shared_ptr<ValueReceiver> receiver)
      : engine_(engine), agent_(agent), bindings_(bindings), slots_(slots_of(columns)), receiver_(std::move(receiver)) {
    for (const Wanted& one : columns) columns_.push_back({one.path, one.slot, one.path});
  }

  void run() {
    if (columns_.empty()) return receiver_->done(slots_, OX_OK);
    std::vector<Wanted> batch;
    const std::size_t count = std::min(bindings_, columns_.size());
    for (std::size_t i = 0; i < count; ++i) batch.push_back({columns_[i].at, columns_[i].slot});
    engine_.send(agent_, OXS_GETNEXT, null_bindings(batch),
                 [self = shared_from_this(), count](SnmpAnswer answer) { self->take(count, std::move(answer)); });
  }

 private:
  void take(std::size_t count, SnmpAnswer answer) {
    try {
      go_on(take_answer(count, std::move(answer)));
    } catch (const std::bad_alloc&) {
      receiver_->done(slots_, OX_ENOMEM);
    }
  }
  void go_on(bool more) {
    if (more)
      run();
    else
      receiver_->done(slots_, OX_OK);
  }

  bool take_answer(std::size_t count, SnmpAnswer answer) {
    bool more = true;
    if (answer.result != OX_OK) {
      more = fail_rest(answer.result);
    } else if (answer.error_status == status_too_big && count > 1) {
      bindings_ = count / 2;
    } else if (answer.error_status != 0) {
      more = end_columns(count, answer);
    } else {
      more = take_row(count, answer.bindings);
    }
    return more;
  }

  // The agent is gone: one node says so for each place that still waits.
  bool fail_rest(OX_RESULT code) {
    bool more = true;
    std::vector<std::size_t> told;
    for (const Column& column : columns_) {
      if (std::find(told.begin(), told.end(), column.slot) != told.end()) continue;
      told.push_back(column.slot);
      more = more && receiver_->take(column.slot, error_node(column.top, code));
    }
    columns_.clear();
    return more;
  }

  // A version 1 agent has no more to tell of the column that its error names; of all, when it names none.
  bool end_columns(std::size_t count, const SnmpAnswer& answer) {
    const std::size_t index = answer.error_index;
    const bool one = index >= 1 && index <= count;
    const std::size_t first = one ? index - 1 : 0;
    const std::size_t last = one ? index : count;
    bool more = true;
    if (answer.error_status != status_no_such_name) {
      const OX_RESULT code = code_of_status(answer.error_status, false);
      for (std::size_t i = first; i < last && more; ++i)
        more = receiver_->take(columns_[i].slot, error_node(columns_[i].top, code));
    }
    columns_.erase(columns_.begin() + static_cast<std::ptrdiff_t>(first),
                   columns_.begin() + static_cast<std::ptrdiff_t>(last));
    return more;
  }

  bool take_row(std::size_t count, NodeList& bindings) {
    std::deque<Column> batch(columns_.begin(), columns_.begin() + static_cast<std::ptrdiff_t>(count));
    columns_.erase(columns_.begin(), columns_.begin() + static_cast<std::ptrdiff_t>(count));
    std::deque<Column> unfinished;
    for (Column& column : batch) {
      NodePtr node = bindings.take_first();
      Oid path = node ? path_of(node.get()) : Oid{};
      const bool ended = !is_under(path, column.top) || path <= column.at || code_of(node.get()) == OX_ENOSUCHVALUE;
      if (ended) continue;
      column.at = std::move(path);
      if (!receiver_->take(column.slot, std::move(node))) return false;
      unfinished.push_back(std::move(column));
    }
    // Columns of one table go on together, at the front, before other columns begin.
    columns_.insert(columns_.begin(), std::make_move_iterator(unfinished.begin()),
                    std::make_move_iterator(unfinished.end()));
    return true;
  }

  SnmpEngine& engine_;
  Agent agent_;
  std::size_t bindings_;
  std::vector<std::size_t> slots_;
  std::deque<Column> columns_;
  std::shared_ptr<ValueReceiver> receiver_;
};

}  // namespace

void snmp_walk(SnmpEngine& engine, const Agent& agent, std::size_t bindings, const std::vector<Wanted>& columns,
               std::shared_ptr<ValueReceiver> receiver) {
  std::make_shared<Walk>(engine, agent, bindings, columns, std::move(receiver))->run();
}

}  // namespace ox::manager
