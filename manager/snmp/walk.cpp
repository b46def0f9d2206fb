#include "manager/snmp/walk.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

#include "manager/snmp/agent.h"
#include "manager/snmp/ask_plan.h"
#include "manager/snmp/binding.h"

namespace ox::manager {
namespace {

// Whose first instance is the agent's time.
const Oid uptime_column(system_uptime.begin(), system_uptime.end() - 1);

}  // namespace

Walk::Walk(Agents& agents, AgentPtr agent, const Question& columns, std::size_t rows,
           std::shared_ptr<ValueReceiver> receiver)
    : agents_(agents),
      agent_(std::move(agent)),
      slots_(slots_of(columns.wanted)),
      rows_left_(rows != 0 ? rows + 1 : std::numeric_limits<std::size_t>::max()),  // one tells that there are no more
      uptime_(columns.uptime),
      probing_(columns.spare && agent_->silent),
      receiver_(std::move(receiver)) {
  for (const Wanted& one : columns.wanted) columns_.push_back({one.path, one.slot, one.path});
}

void Walk::take_turn() {
  if (!receiver_) return;
  try {
    ask();
  } catch (const std::bad_alloc&) {
    std::exchange(receiver_, nullptr)->done(slots_, OX_ENOMEM);
  }
}

void Walk::give_up() {
  if (!receiver_) return;
  if (probing_) receiver_->reading({now_in_milliseconds(), {}, false});
  go_on(fail_rest(OX_ENOANSWER));
}

Walk::Rows Walk::next_rows() const {
  const std::size_t most = probing_ ? 1 : agent_->size;
  Rows rows{.columns = 1};
  rows.in_front = uptime_ && !agent_->no_uptime ? 1 : 0;
  const std::size_t room = std::max<std::size_t>(1, most - std::min(most - 1, rows.in_front));
  rows.columns = std::min(room, columns_.size());
  if (agent_->agent.version != OXS_V1) {
    rows.repetitions = static_cast<std::uint32_t>(std::clamp<std::size_t>(room / rows.columns, 1, rows_left_));
    rows.all = rows.repetitions == rows_left_;
  }
  rows.all = rows.all && rows.columns == columns_.size();
  return rows;
}

void Walk::ask() {
  probing_ = probing_ && agent_->silent;
  const Rows rows = next_rows();
  std::vector<Wanted> batch;
  if (rows.in_front != 0) batch.push_back({uptime_column});
  for (std::size_t i = 0; i < rows.columns; ++i) batch.push_back({columns_[i].at});
  const auto front = static_cast<std::uint32_t>(rows.in_front);
  const SnmpRequest request =
      agent_->agent.version == OXS_V1 ? SnmpRequest{OXS_GETNEXT} : SnmpRequest{pdu_get_bulk, front, rows.repetitions};
  // Whole rows seldom fill what the agent can take: it is tried with as much as it was, or it would never be more.
  const auto size = static_cast<std::uint32_t>(rows.in_front + rows.columns * rows.repetitions);
  agents_.send(agent_, make_packet(agent_->agent, request, null_bindings(batch)),
               rows.all || probing_ ? size : std::max(size, agent_->size),
               [self = shared_from_this(), rows](SnmpAnswer answer) { self->take(rows, std::move(answer)); });
}

void Walk::take(const Rows& rows, SnmpAnswer answer) {
  if (!receiver_) return;
  try {
    go_on(take_answer(rows, std::move(answer)));
  } catch (const std::bad_alloc&) {
    std::exchange(receiver_, nullptr)->done(slots_, OX_ENOMEM);
  }
}

void Walk::go_on(bool more) {
  if (more && !columns_.empty()) return agents_.wait(agent_, shared_from_this());
  if (const auto receiver = std::exchange(receiver_, nullptr)) receiver->done(slots_, OX_OK);
}

bool Walk::take_answer(const Rows& rows, SnmpAnswer answer) {
  if (answer.result != OX_OK) return unanswered(answer.result);
  attempt_ = 0;
  probing_ = false;
  if (answer.error_status == status_too_big && rows.columns * rows.repetitions > 1) return true;
  if (answer.error_status != 0) return end_columns(rows, answer);
  return take_rows(rows, answer.bindings);
}

bool Walk::unanswered(OX_RESULT result) {
  if (result == OX_ENOANSWER && !probing_ && ++attempt_ <= agent_->agent.retries) return true;
  receiver_->reading({now_in_milliseconds(), {}, !probing_});
  const bool more = fail_rest(result);
  if (result == OX_ENOANSWER) agents_.lost(*agent_, probing_);
  return more;
}

// The agent is gone: one node says so for each place that still waits.
bool Walk::fail_rest(OX_RESULT code) {
  bool more = true;
  std::vector<std::size_t> told;
  for (const Column& column : std::exchange(columns_, {})) {
    if (std::find(told.begin(), told.end(), column.slot) != told.end()) continue;
    told.push_back(column.slot);
    more = more && receiver_->refuse(column.slot, column.top, code);
  }
  return more;
}

// A version 1 agent has no more to tell of the column that its error names; of all, when it names none.
bool Walk::end_columns(const Rows& rows, const SnmpAnswer& answer) {
  const std::size_t index = answer.error_index;
  if (rows.in_front != 0 && (index == 1 || answer.error_status == status_too_big)) {
    agent_->no_uptime = true;
    return true;
  }
  const bool one = index > rows.in_front && index <= rows.in_front + rows.columns;
  const std::size_t first = one ? index - rows.in_front - 1 : 0;
  const std::size_t last = one ? first + 1 : rows.columns;
  bool more = true;
  if (answer.error_status != status_no_such_name) {
    receiver_->reading({now_in_milliseconds(), {}, true, answer.error_status});
    const OX_RESULT code = code_of_status(answer.error_status, false);
    for (std::size_t i = first; i < last && more; ++i)
      more = receiver_->refuse(columns_[i].slot, columns_[i].top, code);
  }
  columns_.erase(columns_.begin() + static_cast<std::ptrdiff_t>(first),
                 columns_.begin() + static_cast<std::ptrdiff_t>(last));
  return more;
}

void Walk::take_reading(const Rows& rows, NodeList& bindings) {
  Reading reading{now_in_milliseconds()};
  if (rows.in_front != 0) reading.uptime = uptime_of(bindings.take_first().get());
  receiver_->reading(reading);
}

bool Walk::take_rows(const Rows& rows, NodeList& bindings) {
  take_reading(rows, bindings);
  std::size_t taken = 0;
  for (; taken < rows.columns * rows.repetitions; ++taken) {
    NodePtr node = bindings.take_first();
    if (!node) break;
    Column& column = columns_[taken % rows.columns];
    if (!column.ended && !take_value(column, std::move(node))) return false;
  }
  // What is missing of the only row will not come; of more, the agent may have cut off what did not fit.
  if (taken == 0 || agent_->agent.version == OXS_V1) {
    for (std::size_t i = taken; i < rows.columns; ++i) columns_[i].ended = true;
  }
  if (rows_left_ != std::numeric_limits<std::size_t>::max()) {
    rows_left_ = std::max<std::size_t>(rows_left_, taken / rows.columns + 4) - taken / rows.columns;
  }
  // Columns of one table go on together, before other columns begin.
  std::erase_if(columns_, [](const Column& column) { return column.ended; });
  return true;
}

bool Walk::take_value(Column& column, NodePtr node) {
  read_path(node.get(), path_);
  column.ended = !is_under(path_, column.top) || path_ <= column.at || code_of(node.get()) == OX_ENOSUCHVALUE;
  if (column.ended) return true;
  column.at.swap(path_);
  return receiver_->take(column.slot, std::move(node));
}

}  // namespace ox::manager
