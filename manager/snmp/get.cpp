#include <algorithm>

#include "manager/snmp/agent.h"
#include "manager/snmp/binding.h"
#include "manager/snmp/values.h"

namespace ox::manager {
namespace {

// A get of some instances, as often as it takes to get round those that the agent refuses.
class Get : public std::enable_shared_from_this<Get> {
 public:
  Get(SnmpEngine& engine, const Agent& agent, std::size_t bindings, std::vector<Wanted> wanted,
      std::shared_ptr<ValueReceiver> receiver)
      : engine_(engine),
        agent_(agent),
        bindings_(bindings),
        slots_(slots_of(wanted)),
        rest_(std::move(wanted)),
        receiver_(std::move(receiver)) {}

  void run() {
    if (rest_.empty()) return receiver_->done(slots_, OX_OK);
    const std::size_t count = std::min(bindings_, rest_.size());
    const std::vector<Wanted> batch(rest_.begin(), rest_.begin() + static_cast<std::ptrdiff_t>(count));
    rest_.erase(rest_.begin(), rest_.begin() + static_cast<std::ptrdiff_t>(count));
    ask(batch);
  }

 private:
  void ask(const std::vector<Wanted>& batch) {
    engine_.send(agent_, OXS_GET, null_bindings(batch),
                 [self = shared_from_this(), batch](SnmpAnswer answer) { self->take(batch, std::move(answer)); });
  }

  void take(const std::vector<Wanted>& batch, SnmpAnswer answer) {
    try {
      go_on(take_answer(batch, std::move(answer)));
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

  bool take_answer(std::vector<Wanted> batch, SnmpAnswer answer) {
    bool more = true;
    if (answer.result != OX_OK) {
      more = fail(batch, answer.result);
      // An agent that does not answer is not asked again for every batch.
      if (more) more = fail(rest_, answer.result);
      rest_.clear();
    } else if (answer.error_status == status_too_big && batch.size() > 1) {
      rest_.insert(rest_.begin(), batch.begin(), batch.end());
      bindings_ = batch.size() / 2;
    } else if (answer.error_status != 0) {
      more = refuse(batch, answer);
      rest_.insert(rest_.begin(), batch.begin(), batch.end());
    } else {
      more = hand_out(batch, answer.bindings);
    }
    return more;
  }

  // Takes the binding that the agent refuses off the batch, all of them when it does not say which.
  bool refuse(std::vector<Wanted>& batch, const SnmpAnswer& answer) {
    const OX_RESULT code = code_of_status(answer.error_status, false);
    const std::size_t index = answer.error_index;
    if (index < 1 || index > batch.size()) {
      const bool more = fail(batch, code);
      batch.clear();
      return more;
    }
    const auto refused = batch.begin() + static_cast<std::ptrdiff_t>(index - 1);
    const bool more = receiver_->take(refused->slot, error_node(refused->path, code));
    batch.erase(refused);
    return more;
  }

  bool hand_out(const std::vector<Wanted>& batch, NodeList& bindings) {
    for (const Wanted& wanted : batch) {
      NodePtr node = bindings.take_first();
      if (!node || path_of(node.get()) != wanted.path) node = error_node(wanted.path, OX_EDECODE);
      if (!receiver_->take(wanted.slot, std::move(node))) return false;
    }
    return true;
  }

  bool fail(const std::vector<Wanted>& batch, OX_RESULT code) {
    return std::all_of(batch.begin(), batch.end(), [&](const Wanted& wanted) {
      return receiver_->take(wanted.slot, error_node(wanted.path, code));
    });
  }

  SnmpEngine& engine_;
  Agent agent_;
  std::size_t bindings_;
  std::vector<std::size_t> slots_;
  std::vector<Wanted> rest_;
  std::shared_ptr<ValueReceiver> receiver_;
};

}  // namespace

void snmp_get(SnmpEngine& engine, const Agent& agent, std::size_t bindings, std::vector<Wanted> wanted,
              std::shared_ptr<ValueReceiver> receiver) {
  std::make_shared<Get>(engine, agent, bindings, std::move(wanted), std::move(receiver))->run();
}

}  // namespace ox::manager
