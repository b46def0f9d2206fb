#include "manager/snmp/value_writer.h"

#include <algorithm>
#include <array>
#include <map>

#include "manager/base/attributes.h"
#include "manager/base/selection.h"
#include "manager/components/stored_value.h"
#include "manager/snmp/agent.h"
#include "manager/snmp/values.h"

namespace ox::manager {

// A set until its answer.
class ValueWriter::Set final : public Job {
 public:
  Set(const ValueWriter& writer, const Client& client, NodeList nodes, ValueAnswer answer)
      : Job(writer.tools_.loop),
        writer_(writer),
        session_(client.session),
        rights_(client.rights),
        nodes_(std::move(nodes)),
        answer_(std::move(answer)) {}

  void start(std::uint32_t limit);

 private:
  struct Target {
    dnode* node = nullptr;
    ComponentName component;
    Oid path;
    OX_RESULT code = OX_OK;
    Change change{};                                   // of a stored value
    void (Set::*write)(std::size_t target) = nullptr;  // once it has passed the check
  };
  using Targets = std::vector<std::size_t>;
  // How a checked value is written, by interface code.
  struct Interface {
    std::uint32_t code;
    void (Set::*write)(std::size_t target);
  };
  static const std::array<Interface, 2> interfaces;

  bool check_all();
  OX_RESULT check(Target& target, StoreGrowth& growth) const;
  OX_RESULT check_stored(Target& target, StoreGrowth& growth) const;
  OX_RESULT find_target(Target& target) const;
  void write_all();
  void write_stored(std::size_t target);
  void write_to_agent(std::size_t target) { agents_[targets_[target].component].push_back(target); }
  void ask(const ComponentName& component, const Targets& targets);
  [[nodiscard]] NodeList values_of(const Targets& targets) const;
  void take_codes(const Targets& targets, const std::vector<OX_RESULT>& codes);
  void finish(OX_RESULT why) override;

  const ValueWriter& writer_;
  std::uint32_t session_;
  RightsPtr rights_;
  NodeList nodes_;
  ValueAnswer answer_;
  std::vector<Target> targets_;
  std::vector<Change> batch_;
  std::map<ComponentName, Targets> agents_;
  bool answered_ = false;  // the values are gone then
};

const std::array<ValueWriter::Set::Interface, 2> ValueWriter::Set::interfaces{{
    {OXB_CONF, &Set::write_stored},
    {OXB_SNMP, &Set::write_to_agent},
}};

void ValueWriter::Set::start(std::uint32_t limit) {
  begin(std::chrono::seconds(limit != 0 ? limit : writer_.tools_.settings.request_timeout), [this] {
    if (check_all()) write_all();
  });
}

bool ValueWriter::Set::check_all() {
  bool sound = true;
  StoreGrowth growth(writer_.tools_.store);
  for (dnode* node = nodes_.get(); node != nullptr; node = oxdNext(node)) {
    Target target;
    target.node = node;
    target.code = check(target, growth);
    sound = sound && target.code == OX_OK;
    targets_.push_back(std::move(target));
  }
  return sound;
}

OX_RESULT ValueWriter::Set::find_target(Target& target) const {
  const char* type = nullptr;
  const char* name = nullptr;
  if (const OX_RESULT result = oxdGetCompType(target.node, &type)) return result;
  if (const OX_RESULT result = oxdGetCompName(target.node, &name)) return result;
  if (const OX_RESULT result = parse_component_name(std::string(type) + ':' + name, target.component)) return result;
  return writer_.tools_.directory.find(target.component);
}

OX_RESULT ValueWriter::Set::check(Target& target, StoreGrowth& growth) const {
  if (const OX_RESULT result = find_target(target)) return result;
  const char* amib_name = nullptr;
  if (const OX_RESULT result = oxdGetAmibName(target.node, &amib_name)) return result;
  Selection selection;
  if (const OX_RESULT result = select_value(amib_name, selection)) return result;
  target.path = selection.path;
  if ((oxbAccessControl(selection.node) & OXB_WRITE) == 0) return OX_EDENIED;
  if (!rights_->allow(role_to_set(target.path), target.path, target.component, "set")) return OX_EDENIED;
  const std::uint32_t code = oxbAmibInterface(selection.node);
  for (const Interface& row : interfaces) {
    if (row.code == code) target.write = row.write;
  }
  if (target.write == nullptr) return OX_EUNSUPPORTED;
  // A deleted value takes a stored one away.
  if (code == OXB_CONF && oxdGetValueType(target.node) == OX_DELETED) return check_stored(target, growth);
  if (const OX_RESULT result = convert_value(target.node, oxbAmibType(selection.node))) return result;
  // The name of a component is what it is found by; it does not change.
  if (target.path == component_name_path && text_of(target.node) != target.component.name) return OX_EDENIED;
  return code == OXB_CONF ? check_stored(target, growth) : OX_RESULT{OX_OK};
}

OX_RESULT ValueWriter::Set::check_stored(Target& target, StoreGrowth& growth) const {
  Change& change = target.change;
  change.component = target.component;
  change.path = target.path;
  change.value = value_of(target.node);
  change.kind = change.value.type == OX_DELETED ? Change::Kind::unset : Change::Kind::set;
  return writer_.changes_.check(change, growth);
}

void ValueWriter::Set::write_all() {
  for (std::size_t i = 0; i < targets_.size(); ++i) (this->*targets_[i].write)(i);
  if (const OX_RESULT result = writer_.changes_.commit(batch_)) {
    for (Target& target : targets_) target.code = result;
    return;
  }
  for (const auto& [component, targets] : agents_) ask(component, targets);
}

void ValueWriter::Set::write_stored(std::size_t index) {
  Target& target = targets_[index];
  if (target.path != component_name_path) batch_.push_back(std::move(target.change));
}

void ValueWriter::Set::ask(const ComponentName& component, const Targets& targets) {
  // Until the agent has answered, its values count as not answered.
  for (const std::size_t target : targets) targets_[target].code = OX_ENOANSWER;
  Agent agent;
  if (const OX_RESULT result = agent_of(writer_.tools_.store, component, writer_.tools_.settings, agent)) {
    return take_codes(targets, std::vector<OX_RESULT>(targets.size(), result));
  }
  agent.client = session_;
  const NodeList values = values_of(targets);
  operation_began();
  const auto self = std::static_pointer_cast<Set>(shared_from_this());
  snmp_set(writer_.tools_.snmp, agent, values, [self, targets](const std::vector<OX_RESULT>& codes) {
    self->step([&] { self->take_codes(targets, codes); });
    self->operation_ended();
  });
}

NodeList ValueWriter::Set::values_of(const Targets& targets) const {
  NodeList values;
  for (const std::size_t target : targets) {
    NodePtr copy(oxdCopy(targets_[target].node));
    if (!copy || oxdSetAmibName(copy.get(), oid_text(targets_[target].path).c_str()) != OX_OK) throw std::bad_alloc();
    values.add(std::move(copy));
  }
  return values;
}

void ValueWriter::Set::take_codes(const Targets& targets, const std::vector<OX_RESULT>& codes) {
  std::vector<Change> written;
  for (std::size_t i = 0; i < targets.size() && !answered_; ++i) {
    Target& target = targets_[targets[i]];
    target.code = codes[i];
    if (codes[i] != OX_OK) continue;
    Change change;
    change.kind = Change::Kind::set;
    change.component = target.component;
    change.path = target.path;
    change.value = value_of(target.node);
    written.push_back(std::move(change));
  }
  writer_.changes_.written(written);
}

void ValueWriter::Set::finish(OX_RESULT why) {
  answered_ = true;
  if (why == OX_ENOMEM || targets_.empty()) return answer_(OX_ENOMEM, {});
  OX_RESULT common = targets_.front().code;
  for (const Target& target : targets_) {
    (void)oxdClrValue(target.node);
    set_response_time(target.node);
    if (target.code != OX_OK) (void)oxdSetErrCode(target.node, target.code);
    if (target.code != common) common = OX_ENODES;
  }
  answer_(common, std::move(nodes_));
}

void ValueWriter::write(const Client& client, NodeList nodes, std::uint32_t limit, ValueAnswer answer) const {
  if (nodes.empty()) return answer(OX_EINCOMPLETE, {});
  const auto set = std::make_shared<Set>(*this, client, std::move(nodes), std::move(answer));
  tools_.jobs.add(client.session, set);
  set->start(limit);
}

}  // namespace ox::manager
