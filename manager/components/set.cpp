#include "manager/components/set.h"

#include <array>
#include <asio/steady_timer.hpp>
#include <ctime>

#include "manager/base/selection.h"
#include "manager/components/stored_value.h"
#include "manager/sessions/handlers.h"
#include "manager/snmp/agent.h"
#include "manager/snmp/binding.h"
#include "manager/snmp/values.h"

namespace ox::manager {
namespace {

const Oid component_name_path{11, 1, 1, 0};

// A set request until its reply.
class SetJob : public std::enable_shared_from_this<SetJob> {
 public:
  SetJob(Manager& manager, NodeList nodes, std::function<void(Reply)> reply)
      : manager_(manager), nodes_(std::move(nodes)), reply_(std::move(reply)), timer_(manager.loop) {}

  void start(std::uint32_t limit);

 private:
  struct Target {
    dnode* node = nullptr;
    ComponentName component;
    Oid path;
    OX_RESULT code = OX_OK;
  };
  // How a checked value is written, by interface code.
  struct Interface {
    std::uint32_t code;
    void (SetJob::*write)(std::size_t target);
  };
  static const std::array<Interface, 2> interfaces;

  OX_RESULT check(Target& target, const Interface*& interface);
  OX_RESULT find_target(Target& target);
  void write_stored(std::size_t target);
  void write_to_agent(std::size_t target) { agents_[targets_[target].component].push_back(target); }
  void ask_agents();
  void ask_agent(const ComponentName& component, const std::vector<std::size_t>& targets);
  void take_codes(const std::vector<std::size_t>& targets, const std::vector<OX_RESULT>& codes);
  void operation_ended();
  void finish();
  [[nodiscard]] Reply result();

  Manager& manager_;
  NodeList nodes_;
  std::function<void(Reply)> reply_;
  asio::steady_timer timer_;
  std::vector<Target> targets_;
  std::vector<Change> batch_;
  std::map<ComponentName, std::vector<std::size_t>> agents_;
  std::size_t operations_ = 1;  // the start counts as one
  bool finished_ = false;
};

const std::array<SetJob::Interface, 2> SetJob::interfaces{{
    {OXB_CONF, &SetJob::write_stored},
    {OXB_SNMP, &SetJob::write_to_agent},
}};

void SetJob::start(std::uint32_t limit) {
  bool sound = true;
  std::vector<const Interface*> writers;
  for (dnode* node = nodes_.get(); node != nullptr; node = oxdNext(node)) {
    Target target;
    target.node = node;
    const Interface* writer = nullptr;
    target.code = check(target, writer);
    sound = sound && target.code == OX_OK;
    writers.push_back(writer);
    targets_.push_back(std::move(target));
  }
  if (!sound) return finish();
  for (std::size_t i = 0; i < targets_.size(); ++i) (this->*writers[i]->write)(i);
  if (const OX_RESULT result = manager_.commit(batch_)) {
    for (Target& target : targets_) target.code = result;
    return finish();
  }
  timer_.expires_after(std::chrono::seconds(limit != 0 ? limit : manager_.settings.request_timeout));
  timer_.async_wait([weak = weak_from_this()](const asio::error_code& error) {
    const auto job = weak.lock();
    if (!error && job && !job->finished_) job->finish();
  });
  ask_agents();
  operation_ended();
}

OX_RESULT SetJob::find_target(Target& target) {
  const char* type = nullptr;
  const char* name = nullptr;
  if (const OX_RESULT result = oxdGetCompType(target.node, &type)) return result;
  if (const OX_RESULT result = oxdGetCompName(target.node, &name)) return result;
  if (const OX_RESULT result = parse_component_name(std::string(type) + ':' + name, target.component)) return result;
  return manager_.find(target.component);
}

OX_RESULT SetJob::check(Target& target, const Interface*& interface) {
  if (const OX_RESULT result = find_target(target)) return result;
  const char* amib_name = nullptr;
  if (const OX_RESULT result = oxdGetAmibName(target.node, &amib_name)) return result;
  Selection selection;
  if (const OX_RESULT result = select_value(amib_name, selection)) return result;
  target.path = selection.path;
  if ((oxbAccessControl(selection.node) & OXB_WRITE) == 0) return OX_EDENIED;
  const std::uint32_t code = oxbAmibInterface(selection.node);
  for (const Interface& row : interfaces) {
    if (row.code == code) interface = &row;
  }
  if (interface == nullptr) return OX_EUNSUPPORTED;
  // A deleted value takes a stored one away.
  if (code == OXB_CONF && oxdGetValueType(target.node) == OX_DELETED) return OX_OK;
  if (const OX_RESULT result = convert_value(target.node, oxbAmibType(selection.node))) return result;
  // The name of a component is what it is found by; it does not change.
  if (target.path == component_name_path && text_of(target.node) != target.component.name) return OX_EDENIED;
  return OX_OK;
}

void SetJob::write_stored(std::size_t index) {
  const Target& target = targets_[index];
  if (target.path == component_name_path) return;
  Change change;
  change.component = target.component;
  change.path = target.path;
  change.value = value_of(target.node);
  change.kind = change.value.type == OX_DELETED ? Change::Kind::unset : Change::Kind::set;
  batch_.push_back(std::move(change));
}

void SetJob::ask_agents() {
  // Until an agent has answered, its values count as not answered.
  for (const auto& [component, targets] : agents_) {
    for (const std::size_t target : targets) targets_[target].code = OX_ENOANSWER;
    ask_agent(component, targets);
  }
}

void SetJob::ask_agent(const ComponentName& component, const std::vector<std::size_t>& targets) {
  Agent agent;
  if (const OX_RESULT result = agent_of(manager_.store, component, manager_.settings, agent)) {
    return take_codes(targets, std::vector<OX_RESULT>(targets.size(), result));
  }
  NodeList values;
  for (const std::size_t target : targets) {
    NodePtr copy(oxdCopy(targets_[target].node));
    if (!copy || oxdSetAmibName(copy.get(), oid_text(targets_[target].path).c_str()) != OX_OK) throw std::bad_alloc();
    values.add(std::move(copy));
  }
  ++operations_;
  snmp_set(manager_.snmp, agent, values, [self = shared_from_this(), targets](const std::vector<OX_RESULT>& codes) {
    self->take_codes(targets, codes);
    self->operation_ended();
  });
}

void SetJob::take_codes(const std::vector<std::size_t>& targets, const std::vector<OX_RESULT>& codes) {
  std::vector<Change> written;
  for (std::size_t i = 0; i < targets.size(); ++i) {
    Target& target = targets_[targets[i]];
    if (codes[i] == OX_OK && !finished_) {
      Change change;
      change.kind = Change::Kind::set;
      change.component = target.component;
      change.path = target.path;
      change.value = value_of(target.node);
      written.push_back(std::move(change));
    }
    if (!finished_) target.code = codes[i];
  }
  manager_.subscriptions.changed(written);
}

void SetJob::operation_ended() {
  if (--operations_ == 0 && !finished_) finish();
}

void SetJob::finish() {
  finished_ = true;
  timer_.cancel();
  reply_(result());
}

Reply SetJob::result() {
  const auto now = static_cast<std::uint32_t>(std::time(nullptr));
  OX_RESULT common = targets_.front().code;
  for (const Target& target : targets_) {
    (void)oxdClrValue(target.node);
    if (oxdSetRspTime(target.node, now) != OX_OK) return error_reply(OX_ENOMEM);
    if (target.code != OX_OK) (void)oxdSetErrCode(target.node, target.code);
    if (target.code != common) common = OX_ENODES;
  }
  return node_reply(common, nodes_);
}

}  // namespace

void write_values(Manager& manager, NodeList nodes, std::uint32_t limit, std::function<void(Reply)> reply) {
  if (nodes.empty()) return reply(error_reply(OX_EINCOMPLETE));
  std::make_shared<SetJob>(manager, std::move(nodes), std::move(reply))->start(limit);
}

OX_RESULT read_set(std::span<const std::byte> bytes, NodeList& nodes, std::uint32_t& limit) {
  PayloadReader payload(bytes);
  (void)payload.u32();
  limit = payload.u32();
  const auto list = payload.bytes(payload.u16());
  return payload.error() != OX_OK ? payload.error() : decode_nodes(list, nodes);
}

void handle_set(Manager& manager, const Request& request) {
  NodeList nodes;
  std::uint32_t limit = 0;
  if (const OX_RESULT result = read_set(request.message.data, nodes, limit)) return request.reply(error_reply(result));
  write_values(manager, std::move(nodes), limit, request.reply);
}

}  // namespace ox::manager
