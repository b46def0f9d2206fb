#include "manager/snmp/get.h"

#include <algorithm>
#include <new>
#include <numeric>
#include <string_view>
#include <utility>

#include "manager/snmp/agent.h"
#include "manager/snmp/binding.h"

namespace ox::manager {
namespace {

bool is_named(const dnode* node, std::string_view name) {
  const char* text = nullptr;
  return node != nullptr && oxdGetAmibName(node, &text) == OX_OK && name == text;
}

}  // namespace

Get::Get(Agents& agents, AgentPtr agent, std::shared_ptr<AskPlan> plan,
         std::vector<std::shared_ptr<ValueReceiver>> receivers, bool probing)
    : agents_(agents),
      agent_(std::move(agent)),
      plan_(std::move(plan)),
      receivers_(std::move(receivers)),
      probing_(probing) {
  Names all(plan_->names.size());
  std::iota(all.begin(), all.end(), 0);
  if (!all.empty()) rest_.push_back({std::move(all)});
}

void Get::run() { go_on(); }

// Waits for the next turn, or ends.
void Get::go_on() {
  if (ended_ || waiting_) return;
  if (rest_.empty() && under_way_ == 0) return end(OX_OK);
  if (rest_.empty() || (probing_ && under_way_ != 0)) return;
  waiting_ = true;
  agents_.wait(agent_, shared_from_this());
}

void Get::take_turn() {
  waiting_ = false;
  probing_ = probing_ && agent_->silent;
  if (ended_ || rest_.empty()) return;
  step([this] {
    if (probing_) return probe();
    send(next_piece());
    go_on();
  });
}

void Get::give_up() {
  waiting_ = false;
  given_up_ = true;
  if (ended_) return;
  step([this] {
    if (probing_) tell_reading({now_in_milliseconds(), {}, false});
    fail_rest(OX_ENOANSWER);
    go_on();
  });
}

// As many names as one request may have.
Get::Piece Get::next_piece() {
  Piece piece = std::move(rest_.front());
  rest_.pop_front();
  piece.uptime = plan_->uptime && !agent_->no_uptime;
  const std::size_t most = std::max<std::size_t>(1, agent_->size - (piece.uptime && agent_->size > 1 ? 1 : 0));
  if (piece.names.size() > most) {
    rest_.push_front(
        {Names(piece.names.begin() + static_cast<std::ptrdiff_t>(most), piece.names.end()), piece.attempt});
    piece.names.resize(most);
  }
  return piece;
}

void Get::send(Piece piece) {
  ++under_way_;
  Packet packet = plan_->packet(agent_->agent, piece.names, piece.uptime);
  const auto size = static_cast<std::uint32_t>(piece.names.size() + (piece.uptime ? 1 : 0));
  agents_.send(agent_, std::move(packet), size,
               [self = shared_from_this(), piece = std::move(piece)](SnmpAnswer answer) mutable {
                 --self->under_way_;
                 if (self->ended_) return;
                 self->step([&] { self->answered(std::move(piece), std::move(answer)); });
               });
}

// Without memory the get ends with 3.
template <class Step>
void Get::step(const Step& what) {
  try {
    what();
  } catch (const std::bad_alloc&) {
    end(OX_ENOMEM);
  }
}

// Asks an agent that is silent for one value, once.
void Get::probe() {
  ++under_way_;
  const NodeList nothing;
  NodeList uptime;
  NodePtr node = named_node(system_uptime);
  if (oxdSetValue(node.get(), OX_NULL, 0, 0) != OX_OK) throw std::bad_alloc();
  uptime.add(std::move(node));
  agents_.send(agent_, make_packet(agent_->agent, {OXS_GET}, uptime), 1,
               [self = shared_from_this()](const SnmpAnswer& answer) {
                 --self->under_way_;
                 if (self->ended_) return;
                 self->step([&] {
                   self->probing_ = false;
                   if (answer.result != OX_OK) {
                     self->tell_reading({now_in_milliseconds(), {}, false});
                     self->fail_rest(answer.result);
                     self->agents_.lost(*self->agent_, true);
                   }
                   self->go_on();
                 });
               });
}

void Get::answered(Piece piece, SnmpAnswer answer) {
  if (answer.result == OX_ENOANSWER) {
    unanswered(std::move(piece));
  } else if (answer.result != OX_OK) {
    fail(piece.names, answer.result);
  } else if (answer.error_status == status_too_big && piece.names.size() > 1) {
    again(std::move(piece));
  } else if (answer.error_status != 0) {
    refused(std::move(piece), answer);
  } else {
    hand_out(piece, answer.bindings);
  }
  go_on();
}

void Get::again(Piece piece) { rest_.push_front(std::move(piece)); }

// An agent that does not answer is not asked again for every piece.
void Get::unanswered(Piece piece) {
  if (!given_up_ && ++piece.attempt <= agent_->agent.retries) return again(std::move(piece));
  given_up_ = true;
  tell_reading({now_in_milliseconds()});
  fail(piece.names, OX_ENOANSWER);
  fail_rest(OX_ENOANSWER);
  agents_.lost(*agent_, false);
}

// Takes the name that the agent refuses off the piece, all of them when it does not say which.
void Get::refused(Piece piece, const SnmpAnswer& answer) {
  const std::size_t in_front = piece.uptime ? 1 : 0;
  const std::size_t index = answer.error_index;
  if (piece.uptime && (index == 1 || answer.error_status == status_too_big)) {
    agent_->no_uptime = true;
    return again(std::move(piece));
  }
  const OX_RESULT code = code_of_status(answer.error_status, false);
  tell_reading({now_in_milliseconds(), {}, true, answer.error_status});
  if (index <= in_front || index > piece.names.size() + in_front) return fail(piece.names, code);
  const auto name = piece.names.begin() + static_cast<std::ptrdiff_t>(index - in_front - 1);
  fail({*name}, code);
  piece.names.erase(name);
  if (!piece.names.empty()) again(std::move(piece));
}

void Get::hand_out(const Piece& piece, NodeList& bindings) {
  Reading reading{now_in_milliseconds()};
  if (piece.uptime) reading.uptime = uptime_of(bindings.take_first().get());
  tell_reading(reading);
  for (const std::uint32_t number : piece.names) {
    const AskPlan::Name& name = plan_->names[number];
    NodePtr node = bindings.take_first();
    if (is_named(node.get(), name.text)) {
      hand_out(name, std::move(node));
    } else {
      fail({number}, OX_EDECODE);
    }
  }
}

// The last of those who want it gets the node itself.
void Get::hand_out(const AskPlan::Name& name, NodePtr node) {
  for (std::size_t i = 0; i < name.users.size(); ++i) {
    const auto receiver = receivers_[name.users[i].question];
    if (!receiver) continue;
    NodePtr copy = i + 1 == name.users.size() ? std::move(node) : NodePtr(oxdCopy(node.get()));
    if (!copy) throw std::bad_alloc();
    if (!receiver->take(name.users[i].slot, std::move(copy))) leave(name.users[i].question);
  }
}

void Get::fail(const Names& names, OX_RESULT code) {
  for (const std::uint32_t number : names) {
    const AskPlan::Name& name = plan_->names[number];
    for (const AskPlan::User& user : name.users) {
      const auto receiver = receivers_[user.question];
      if (receiver && !receiver->refuse(user.slot, name.path, code)) leave(user.question);
    }
  }
}

// This receiver wants no more; when none does, nothing more is asked.
void Get::leave(std::size_t number) {
  const auto receiver = std::exchange(receivers_[number], nullptr);
  receiver->done(plan_->slots[number], OX_OK);
  const auto wants = [](const auto& one) { return one != nullptr; };
  if (std::none_of(receivers_.begin(), receivers_.end(), wants)) end(OX_OK);
}

void Get::fail_rest(OX_RESULT code) {
  for (const Piece& piece : std::exchange(rest_, {})) fail(piece.names, code);
}

void Get::tell_reading(const Reading& reading) {
  for (const auto& receiver : receivers_) {
    if (receiver) receiver->reading(reading);
  }
}

void Get::end(OX_RESULT why) {
  if (std::exchange(ended_, true)) return;
  rest_.clear();
  for (std::size_t i = 0; i < receivers_.size(); ++i) {
    if (const auto receiver = std::exchange(receivers_[i], nullptr)) receiver->done(plan_->slots[i], why);
  }
}

}  // namespace ox::manager
