#include "manager/snmp/asker.h"

#include <algorithm>
#include <asio/post.hpp>
#include <utility>

#include "manager/snmp/ask_plan.h"
#include "manager/snmp/binding.h"
#include "manager/snmp/get.h"
#include "manager/snmp/walk.h"

namespace ox::manager {

void Asker::get(const Agent& agent, std::shared_ptr<const Question> question, std::shared_ptr<ValueReceiver> receiver) {
  if (wanted_.empty()) asio::post(loop_, [this] { ask_all(); });
  wanted_[agents_.find(agent)].push_back({std::move(question), std::move(receiver)});
}

void Asker::walk(const Agent& agent, const Question& columns, std::size_t rows,
                 std::shared_ptr<ValueReceiver> receiver) {
  std::make_shared<Walk>(agents_, agents_.find(agent), columns, rows, std::move(receiver))->run();
}

void Asker::ask_all() {
  for (auto& [agent, shares] : std::exchange(wanted_, {})) {
    const auto spared = std::stable_partition(shares.begin(), shares.end(), [&agent](const Share& share) {
      return !agent->silent || !share.question->spare;
    });
    ask(agent, {shares.begin(), spared}, false);
    ask(agent, {spared, shares.end()}, true);
  }
}

void Asker::ask(const AgentPtr& agent, std::vector<Share> shares, bool probing) {
  if (shares.empty()) return;
  std::vector<std::shared_ptr<ValueReceiver>> receivers;
  try {
    for (const Share& share : shares) receivers.push_back(share.receiver);
    std::make_shared<Get>(agents_, agent, plan_of(shares), receivers, probing)->run();
  } catch (const std::bad_alloc&) {
    for (const Share& share : shares) share.receiver->done(slots_of(share.question->wanted), OX_ENOMEM);
  }
}

std::shared_ptr<AskPlan> Asker::plan_of(const std::vector<Share>& shares) {
  std::vector<const Question*> key;
  std::vector<std::shared_ptr<const Question>> questions;
  bool again = true;
  for (const Share& share : shares) {
    key.push_back(share.question.get());
    questions.push_back(share.question);
    again = again && share.question->again;
  }
  if (!again) return std::make_shared<AskPlan>(std::move(questions));
  if (plans_.size() >= forget_at_) forget_plans();
  std::shared_ptr<AskPlan>& plan = plans_[std::move(key)];
  if (!plan) plan = std::make_shared<AskPlan>(std::move(questions));
  return plan;
}

// Those that are still wanted are soon made again.
void Asker::forget_plans() {
  std::erase_if(plans_, [](const auto& entry) { return entry.second.use_count() == 1; });
  forget_at_ = std::max<std::size_t>(256, 2 * plans_.size());
}

}  // namespace ox::manager
