#include "manager/components/get.h"

#include <algorithm>
#include <array>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <ctime>

#include "manager/base/selection.h"
#include "manager/components/figures.h"
#include "manager/components/stored_value.h"
#include "manager/sessions/handlers.h"
#include "manager/snmp/agent.h"
#include "manager/snmp/binding.h"
#include "manager/snmp/values.h"

namespace ox::manager {
namespace {

// The component's own name, which is an attribute of every component.
const Oid component_name_path{11, 1, 1, 0};

// What one component answers to one selection.
struct Place {
  const ComponentName* component = nullptr;
  const Selection* selection = nullptr;
  std::vector<NodePtr> nodes;
  std::uint32_t waiting = 0;  // operations that still deliver to it
};

// A get request until its reply.
class GetJob : public std::enable_shared_from_this<GetJob> {
 public:
  GetJob(Manager& manager, std::function<void(Reply)> reply)
      : manager_(manager), reply_(std::move(reply)), timer_(manager.loop) {}

  // An error is the reply; otherwise the job replies itself.
  OX_RESULT start(const std::string& component, const std::string& names, std::uint32_t limit);

 private:
  struct AgentWork {
    std::vector<Wanted> instances;
    std::vector<Wanted> columns;
  };
  // How an instance of a leaf is had, by interface code.
  using ReadInstance = void (GetJob::*)(std::size_t slot);
  struct Interface {
    std::uint32_t code;
    ReadInstance read;
  };
  static const std::array<Interface, 3> interfaces;

  OX_RESULT find_components(const std::string& text);
  void read(std::size_t slot);
  void read_stored(std::size_t slot);
  void read_figures(std::size_t slot);
  void read_nothing(std::size_t) {}
  void read_from_agent(std::size_t slot);
  void read_below(std::size_t slot);
  void ask_agents();
  void ask_agent(const ComponentName& component, const AgentWork& work);
  const std::vector<Oid>& agent_columns(const Selection& selection);
  bool emit(std::size_t slot, NodePtr node);
  void fail(std::size_t slot, OX_RESULT code) { (void)emit(slot, error_node(places_[slot].selection->path, code)); }
  void operation_ended();
  void time_out();
  void finish();

  Manager& manager_;
  std::function<void(Reply)> reply_;
  asio::steady_timer timer_;
  std::vector<ComponentName> components_;
  std::vector<Selection> selections_;
  std::map<const Selection*, std::vector<Oid>> columns_;
  std::vector<Place> places_;
  std::map<ComponentName, AgentWork> agents_;
  std::size_t node_count_ = 0;
  std::size_t operations_ = 1;  // the start counts as one
  bool too_many_ = false;
  bool finished_ = false;
};

const std::array<GetJob::Interface, 3> GetJob::interfaces{{
    {OXB_CONF, &GetJob::read_stored},
    {OXB_NIL, &GetJob::read_nothing},
    {OXB_SNMP, &GetJob::read_from_agent},
}};

OX_RESULT GetJob::start(const std::string& component, const std::string& names, std::uint32_t limit) {
  if (const OX_RESULT result = find_components(component)) return result;
  if (const OX_RESULT result = select(names, selections_)) return result;
  if (components_.size() * selections_.size() > manager_.settings.max_nodes) return OX_ETOOMANY;
  for (const ComponentName& name : components_) {
    for (const Selection& selection : selections_) places_.push_back({&name, &selection, {}, 0});
  }
  timer_.expires_after(std::chrono::seconds(limit != 0 ? limit : manager_.settings.request_timeout));
  timer_.async_wait([weak = weak_from_this()](const asio::error_code& error) {
    const auto job = weak.lock();
    if (!error && job) job->time_out();
  });
  for (std::size_t slot = 0; slot < places_.size(); ++slot) read(slot);
  ask_agents();
  operation_ended();
  return OX_OK;
}

OX_RESULT GetJob::find_components(const std::string& text) {
  ComponentName name;
  if (const OX_RESULT result = parse_component_name(text, name)) return result;
  if (is_pattern(name.name)) {
    name.type = Vocabulary::canonical_type(name.type);
    if (!manager_.vocabulary.has_type(name.type)) return OX_ENOTYPE;
    components_ = manager_.store.matching(name);
    return OX_OK;
  }
  if (const OX_RESULT result = manager_.find(name)) return result;
  components_.push_back(std::move(name));
  return OX_OK;
}

void GetJob::read(std::size_t slot) {
  const Selection& selection = *places_[slot].selection;
  if (selection.error != OX_OK) return fail(slot, selection.error);
  if (!selection.exact) return read_below(slot);
  if ((oxbAccessControl(selection.node) & OXB_READ) == 0) return fail(slot, OX_EDENIED);
  const std::uint32_t code = oxbAmibInterface(selection.node);
  for (const Interface& interface : interfaces) {
    if (interface.code == code) return (this->*interface.read)(slot);
  }
  fail(slot, OX_EUNSUPPORTED);
}

void GetJob::read_stored(std::size_t slot) {
  const Place& place = places_[slot];
  if (place.selection->path == component_name_path) {
    (void)emit(slot, text_node(component_name_path, place.component->name));
  } else if (const Value* value = manager_.store.value(*place.component, place.selection->path)) {
    (void)emit(slot, value_node(place.selection->path, *value));
  } else {
    read_figures(slot);
  }
}

void GetJob::read_figures(std::size_t slot) {
  const Place& place = places_[slot];
  for (const Figure& figure : figures_of(manager_, *place.component)) {
    if (place.selection->covers(figure.path) && !emit(slot, figure_node(figure))) return;
  }
}

void GetJob::read_from_agent(std::size_t slot) {
  Place& place = places_[slot];
  agents_[*place.component].instances.push_back({place.selection->path, slot});
  ++place.waiting;
}

// The stored values below the path, and the columns of the agent.
void GetJob::read_below(std::size_t slot) {
  Place& place = places_[slot];
  const Selection& selection = *place.selection;
  const Oid& top = selection.path;
  if (selection.covers(component_name_path)) {
    (void)emit(slot, text_node(component_name_path, place.component->name));
  }
  const Values& values = *manager_.store.values(*place.component);
  for (auto value = values.lower_bound(top); value != values.end() && is_under(value->first, top); ++value) {
    if (!selection.covers(value->first)) continue;
    std::uint32_t node = 0;
    const bool known = oxbEntry(oid_text(value->first).c_str(), &node) == OX_OK;
    if (known && (oxbAccessControl(node) & OXB_READ) != 0 && !emit(slot, value_node(value->first, value->second)))
      return;
  }
  read_figures(slot);
  if (place.component->type != "node") return;
  const std::vector<Oid>& columns = agent_columns(selection);
  if (columns.empty()) return;
  AgentWork& work = agents_[*place.component];
  for (const Oid& column : columns) work.columns.push_back({column, slot});
  ++place.waiting;
}

// The readable leaves of an agent at and below a selection.
const std::vector<Oid>& GetJob::agent_columns(const Selection& selection) {
  const auto [entry, fresh] = columns_.try_emplace(&selection);
  if (!fresh) return entry->second;
  for (std::uint32_t leaf = oxbTraverse(selection.node, 0); leaf != 0; leaf = oxbTraverse(selection.node, leaf)) {
    if (oxbAmibInterface(leaf) != OXB_SNMP || (oxbAccessControl(leaf) & OXB_READ) == 0) continue;
    const char* path = nullptr;
    if (oxbApToNum(leaf, &path) != OX_OK) continue;
    const auto oid = parse_oid(path);
    if (!oid) continue;
    // Below a leaf, numbers of its instance may have been given.
    entry->second.push_back(is_under(selection.path, *oid) ? selection.path : *oid);
  }
  return entry->second;
}

void GetJob::ask_agents() {
  for (const auto& [component, work] : agents_) ask_agent(component, work);
}

void GetJob::ask_agent(const ComponentName& component, const AgentWork& work) {
  Agent agent;
  if (const OX_RESULT result = agent_of(manager_.store, component, manager_.settings, agent)) {
    for (const Wanted& wanted : work.instances) fail(wanted.slot, result);
    std::size_t told = places_.size();
    for (const Wanted& wanted : work.columns) {
      if (wanted.slot != told) fail(wanted.slot, result);
      told = wanted.slot;
    }
    return;
  }
  const auto self = shared_from_this();
  const auto take = [self](std::size_t slot, NodePtr node) { return self->emit(slot, std::move(node)); };
  const auto ended = [self](const std::vector<std::size_t>& slots) {
    for (const std::size_t slot : slots) --self->places_[slot].waiting;
    self->operation_ended();
  };
  const auto slots_of = [](const std::vector<Wanted>& all, bool once) {
    std::vector<std::size_t> slots;
    for (const Wanted& wanted : all) {
      if (!once || slots.empty() || slots.back() != wanted.slot) slots.push_back(wanted.slot);
    }
    return slots;
  };
  const std::size_t bindings = manager_.settings.snmp_bindings;
  if (!work.instances.empty()) {
    ++operations_;
    snmp_get(manager_.snmp, agent, bindings, work.instances, take,
             [ended, slots = slots_of(work.instances, false)] { ended(slots); });
  }
  if (!work.columns.empty()) {
    ++operations_;
    snmp_walk(manager_.snmp, agent, bindings, work.columns, take,
              [ended, slots = slots_of(work.columns, true)] { ended(slots); });
  }
}

bool GetJob::emit(std::size_t slot, NodePtr node) {
  Place& place = places_[slot];
  if (finished_) return false;
  if (++node_count_ > manager_.settings.max_nodes) {
    too_many_ = true;
    return false;
  }
  if (!place.selection->pattern.empty() && code_of(node.get()) == OX_OK &&
      !place.selection->covers(path_of(node.get()))) {
    --node_count_;
    return true;
  }
  place.nodes.push_back(std::move(node));
  return true;
}

void GetJob::operation_ended() {
  if (--operations_ == 0 && !finished_) finish();
}

void GetJob::time_out() {
  for (std::size_t slot = 0; slot < places_.size(); ++slot) {
    const Place& place = places_[slot];
    if (place.waiting != 0 && !(place.selection->exact && !place.nodes.empty())) fail(slot, OX_ENOANSWER);
  }
  finish();
}

void GetJob::finish() {
  finished_ = true;
  timer_.cancel();
  if (too_many_) return reply_(error_reply(OX_ETOOMANY));
  const auto now = static_cast<std::uint32_t>(std::time(nullptr));
  NodeList answer;
  bool errors = false;
  for (Place& place : places_) {
    std::vector<std::pair<Oid, NodePtr>> ordered;
    for (NodePtr& node : place.nodes) ordered.emplace_back(path_of(node.get()), std::move(node));
    std::stable_sort(ordered.begin(), ordered.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    for (auto& [path, node] : ordered) {
      errors = errors || code_of(node.get()) != OX_OK;
      if (oxdSetCompType(node.get(), place.component->type.c_str()) != OX_OK ||
          oxdSetCompName(node.get(), place.component->name.c_str()) != OX_OK ||
          oxdSetRspTime(node.get(), now) != OX_OK) {
        return reply_(error_reply(OX_ENOMEM));
      }
      answer.add(std::move(node));
    }
  }
  if (answer.empty()) return reply_(error_reply(OX_ENOTFOUND));
  reply_(node_reply(errors ? OX_ENODES : OX_OK, answer));
}

}  // namespace

OX_RESULT read_values(Manager& manager, const std::string& component, const std::string& names, std::uint32_t limit,
                      std::function<void(Reply)> reply) {
  return std::make_shared<GetJob>(manager, std::move(reply))->start(component, names, limit);
}

OX_RESULT GetRequest::read(std::span<const std::byte> bytes) {
  PayloadReader payload(bytes);
  component = payload.text();
  names = payload.text();
  options = payload.u32();
  limit = payload.u32();
  if (payload.u16() != 0) (void)payload.bytes(20);
  if (payload.error() != OX_OK) return payload.error();
  return names.empty() ? OX_RESULT{OX_EAMIBNAME} : OX_RESULT{OX_OK};
}

// The options have no meaning for this manager.
void handle_get(Manager& manager, const Request& request) {
  GetRequest get;
  OX_RESULT result = get.read(request.message.data);
  if (result == OX_OK) result = read_values(manager, get.component, get.names, get.limit, request.reply);
  if (result != OX_OK) request.reply(error_reply(result));
}

}  // namespace ox::manager
