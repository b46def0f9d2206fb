#include "manager/snmp/value_reader.h"

#include <algorithm>
#include <array>
#include <map>

#include "manager/base/attributes.h"
#include "manager/base/selection.h"
#include "manager/components/number_value.h"
#include "manager/components/stored_value.h"
#include "manager/snmp/agent.h"
#include "manager/snmp/asker.h"
#include "manager/snmp/columns.h"
#include "manager/snmp/values.h"

namespace ox::manager {
namespace {

void sort_by_path(std::vector<NodePtr>& nodes) {
  std::vector<std::pair<Oid, NodePtr>> ordered;
  ordered.reserve(nodes.size());
  for (NodePtr& node : nodes) ordered.emplace_back(path_of(node.get()), std::move(node));
  std::stable_sort(ordered.begin(), ordered.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  for (std::size_t i = 0; i < nodes.size(); ++i) nodes[i] = std::move(ordered[i].second);
}

}  // namespace

Value value_of(const Figure& figure) {
  if (const auto* const text = std::get_if<std::string>(&figure.value)) return {OX_DISPLAYSTRING, *text + '\0'};
  if (const auto* const typed = std::get_if<TypedNumber>(&figure.value))
    return number_value(typed->number, typed->type);
  Value value{.type = OX_COUNTER64};
  for (int shift = 56; shift >= 0; shift -= 8) {
    value.bytes += static_cast<char>(std::get<std::uint64_t>(figure.value) >> shift);
  }
  return value;
}

// A question until its answer. The stored values are read when it starts; then each agent is asked by one get of
// instances and one walk of columns, and what they hand back goes to its place.
class ValueReader::Get final : public Job, public ValueReceiver {
 public:
  Get(const ValueReader& reader, ValueAnswer answer)
      : Job(reader.tools_.loop), reader_(reader), answer_(std::move(answer)) {}

  OX_RESULT prepare(const Question& question);
  void start(std::uint32_t limit);

  bool take(std::size_t slot, NodePtr node) override;
  void done(const std::vector<std::size_t>& slots, OX_RESULT why) override;

 private:
  // What one component answers to one selection.
  struct Place {
    const ComponentName* component = nullptr;
    const Selection* selection = nullptr;
    std::vector<NodePtr> nodes;
    std::uint32_t waiting = 0;  // operations that still deliver to it
  };

  // What is asked of one component's agent.
  struct AgentWork {
    std::vector<Wanted> instances;
    std::vector<Wanted> columns;
  };
  // How an instance of a leaf is had, by interface code.
  struct Interface {
    std::uint32_t code;
    void (Get::*read)(std::size_t slot);
  };
  static const std::array<Interface, 4> interfaces;

  void read(std::size_t slot);
  [[nodiscard]] bool may_read(std::size_t slot, const Oid& path);
  void hide(const Place& place, NodePtr& node) const;
  void read_stored(std::size_t slot);
  void read_figures(std::size_t slot);
  void add_figures(std::size_t slot);
  void read_nothing(std::size_t) {}
  void read_from_agent(std::size_t slot);
  void read_by_echo(std::size_t slot);
  void read_below(std::size_t slot);
  void read_stored_below(std::size_t slot);
  void read_columns(std::size_t slot);
  void ask(const ComponentName& component, const AgentWork& work);
  void send_echo(const ComponentName& component, const std::vector<std::size_t>& slots);
  void take_echo(std::size_t slot, const Echoes::Answer& answer);
  void fail(const std::vector<Wanted>& all, OX_RESULT code);
  void fail(std::size_t slot, OX_RESULT code) { (void)take(slot, error_node(places_[slot].selection->path, code)); }
  void finish(OX_RESULT why) override;
  void fail_what_is_missing();
  bool collect(Place& place, NodeList& nodes);

  const ValueReader& reader_;
  ValueAnswer answer_;
  std::vector<ComponentName> components_;
  std::vector<Selection> selections_;
  SelectionWords words_;
  std::uint32_t session_ = 0;
  RightsPtr rights_;
  bool refused_ = false;  // the last place that names one value
  std::map<const Selection*, std::vector<Oid>> columns_;
  std::vector<Place> places_;
  std::map<ComponentName, AgentWork> agents_;
  std::map<ComponentName, std::vector<std::size_t>> echoes_;  // places that one echo answers
  std::size_t node_count_ = 0;
  bool too_many_ = false;
};

const std::array<ValueReader::Get::Interface, 4> ValueReader::Get::interfaces{{
    {OXB_CONF, &Get::read_stored},
    {OXB_NIL, &Get::read_nothing},
    {OXB_SNMP, &Get::read_from_agent},
    {OXB_ICMP, &Get::read_by_echo},
}};

OX_RESULT ValueReader::Get::prepare(const Question& question) {
  if (const OX_RESULT result = reader_.tools_.directory.match(question.component, components_)) return result;
  if (const OX_RESULT result = select(question.names, selections_)) return result;
  if (components_.size() * selections_.size() > reader_.tools_.settings.max_nodes) return OX_ETOOMANY;
  words_ = question.words;
  session_ = question.session;
  rights_ = question.rights;
  for (const ComponentName& name : components_) {
    for (const Selection& selection : selections_) places_.push_back({&name, &selection, {}, 0});
  }
  return OX_OK;
}

void ValueReader::Get::start(std::uint32_t limit) {
  begin(std::chrono::seconds(limit != 0 ? limit : reader_.tools_.settings.request_timeout), [this] {
    for (std::size_t slot = 0; slot < places_.size(); ++slot) read(slot);
    for (const auto& [component, work] : agents_) ask(component, work);
    for (const auto& [component, slots] : echoes_) send_echo(component, slots);
  });
}

void ValueReader::Get::read(std::size_t slot) {
  const Selection& selection = *places_[slot].selection;
  if (selection.error != OX_OK) return fail(slot, selection.error);
  if (!selection.exact) return read_below(slot);
  if (!may_read(slot, selection.path)) return fail(slot, OX_EDENIED);
  const std::uint32_t code = oxbAmibInterface(selection.node);
  for (const Interface& interface : interfaces) {
    if (interface.code == code) return (this->*interface.read)(slot);
  }
  fail(slot, OX_EUNSUPPORTED);
}

bool ValueReader::Get::may_read(std::size_t slot, const Oid& path) {
  if ((oxbAccessControl(places_[slot].selection->node) & OXB_READ) == 0) return false;
  refused_ = !rights_->allow(Role::read, path, *places_[slot].component, "get");
  return !refused_;
}

void ValueReader::Get::read_stored(std::size_t slot) {
  const Place& place = places_[slot];
  const Oid& path = place.selection->path;
  if (path == component_name_path) {
    (void)take(slot, text_node(component_name_path, place.component->name));
  } else if (const Value* value = reader_.tools_.store.value(*place.component, path)) {
    (void)take(slot, value_node(path, *value));
  } else {
    read_figures(slot);
  }
}

void ValueReader::Get::read_figures(std::size_t slot) {
  Place& place = places_[slot];
  const auto self = std::static_pointer_cast<Get>(shared_from_this());
  const bool waits = reader_.figures_.wait({*place.component, place.selection->path, words_}, [self, slot] {
    if (self->ended()) return;
    --self->places_[slot].waiting;
    self->step([&] { self->add_figures(slot); });
    self->operation_ended();
  });
  if (!waits) return add_figures(slot);
  ++place.waiting;
  operation_began();
}

void ValueReader::Get::add_figures(std::size_t slot) {
  const Place& place = places_[slot];
  for (const Figure& figure : reader_.figures_.ask({*place.component, place.selection->path, words_})) {
    if (place.selection->covers(figure.path) && !take(slot, value_node(figure.path, value_of(figure)))) return;
  }
}

void ValueReader::Get::read_from_agent(std::size_t slot) {
  Place& place = places_[slot];
  agents_[*place.component].instances.push_back({place.selection->path, slot});
  ++place.waiting;
}

void ValueReader::Get::read_by_echo(std::size_t slot) {
  Place& place = places_[slot];
  echoes_[*place.component].push_back(slot);
  ++place.waiting;
}

void ValueReader::Get::read_below(std::size_t slot) {
  const Place& place = places_[slot];
  if (place.selection->covers(component_name_path)) {
    (void)take(slot, text_node(component_name_path, place.component->name));
  }
  read_stored_below(slot);
  read_figures(slot);
  if (place.component->type == "node") read_columns(slot);
}

void ValueReader::Get::read_stored_below(std::size_t slot) {
  const Selection& selection = *places_[slot].selection;
  const Values& values = *reader_.tools_.store.values(*places_[slot].component);
  const Oid& top = selection.path;
  for (auto value = values.lower_bound(top); value != values.end() && is_under(value->first, top); ++value) {
    if (!selection.covers(value->first) || !is_readable(value->first)) continue;
    if (!take(slot, value_node(value->first, value->second))) return;
  }
}

void ValueReader::Get::read_columns(std::size_t slot) {
  Place& place = places_[slot];
  const auto [entry, fresh] = columns_.try_emplace(place.selection);
  if (fresh) entry->second = agent_columns(*place.selection);
  if (entry->second.empty()) return;
  AgentWork& work = agents_[*place.component];
  for (const Oid& column : entry->second) work.columns.push_back({column, slot});
  ++place.waiting;
}

void ValueReader::Get::ask(const ComponentName& component, const AgentWork& work) {
  Agent agent;
  if (const OX_RESULT result = agent_of(reader_.tools_.store, component, reader_.tools_.settings, agent)) {
    fail(work.instances, result);
    return fail(work.columns, result);
  }
  agent.client = session_;
  const auto self = std::static_pointer_cast<Get>(shared_from_this());
  if (!work.instances.empty()) {
    operation_began();
    reader_.tools_.asker.get(agent, std::make_shared<ox::manager::Question>(work.instances), self);
  }
  if (!work.columns.empty()) {
    operation_began();
    reader_.tools_.asker.walk(agent, {work.columns}, 0, self);
  }
}

void ValueReader::Get::send_echo(const ComponentName& component, const std::vector<std::size_t>& slots) {
  Agent agent;
  if (const OX_RESULT result = agent_of(reader_.tools_.store, component, reader_.tools_.settings, agent)) {
    for (const std::size_t slot : slots) fail(slot, result);
    return;
  }
  operation_began();
  const auto take = [self = std::static_pointer_cast<Get>(shared_from_this()), slots](const Echoes::Answer& answer) {
    if (self->ended()) return;
    self->step([&] {
      for (const std::size_t slot : slots) self->take_echo(slot, answer);
    });
    self->operation_ended();
  };
  reader_.tools_.echoes.ask(session_, {agent.address.address().to_string(), agent.timeout, agent.retries + 1}, take);
}

// That nobody answers is a value of the one attribute, and leaves the other without.
void ValueReader::Get::take_echo(std::size_t slot, const Echoes::Answer& answer) {
  enum : std::uint32_t { yes = 1, no = 2 };
  Place& place = places_[slot];
  --place.waiting;
  const Oid& path = place.selection->path;
  const bool answered = answer.code == OX_OK;
  if (path == node_reachable_path && (answered || answer.code == OX_ENOANSWER)) {
    (void)take(slot, value_node(path, number_value(answered ? yes : no, OX_INTEGER)));
  } else if (path == node_round_trip_path && answered) {
    (void)take(slot, value_node(path, number_value(answer.round_trip, OX_INTEGER)));
  } else {
    fail(slot, answered ? OX_RESULT{OX_ENOSUCHVALUE} : answer.code);
  }
}

// One node for each place.
void ValueReader::Get::fail(const std::vector<Wanted>& all, OX_RESULT code) {
  std::size_t told = places_.size();
  for (const Wanted& wanted : all) {
    if (wanted.slot != told) fail(wanted.slot, code);
    told = wanted.slot;
  }
}

// Of a subtree, what the user may not read.
void ValueReader::Get::hide(const Place& place, NodePtr& node) const {
  const Oid path = path_of(node.get());
  if (!rights_->allow(Role::read, path, *place.component, "get")) node = error_node(path, OX_EDENIED);
}

bool ValueReader::Get::take(std::size_t slot, NodePtr node) {
  Place& place = places_[slot];
  if (ended()) return false;
  if (!place.selection->pattern.empty() && code_of(node.get()) == OX_OK &&
      !place.selection->covers(path_of(node.get()))) {
    return true;
  }
  if (!place.selection->exact && !rights_->may_all(Role::read) && code_of(node.get()) == OX_OK) hide(place, node);
  too_many_ = too_many_ || ++node_count_ > reader_.tools_.settings.max_nodes;
  if (!too_many_) place.nodes.push_back(std::move(node));
  return !too_many_;
}

void ValueReader::Get::done(const std::vector<std::size_t>& slots, OX_RESULT why) {
  for (const std::size_t slot : slots) --places_[slot].waiting;
  if (why != OX_OK) end(why);
  operation_ended();
}

void ValueReader::Get::fail_what_is_missing() {
  for (Place& place : places_) {
    if (place.waiting == 0 || (place.selection->exact && !place.nodes.empty())) continue;
    place.nodes.push_back(error_node(place.selection->path, OX_ENOANSWER));
  }
}

// Moves a place's nodes behind the others, in the order of their paths. Whether one of them carries an error.
bool ValueReader::Get::collect(Place& place, NodeList& nodes) {
  bool errors = false;
  sort_by_path(place.nodes);
  for (NodePtr& node : place.nodes) {
    errors = errors || code_of(node.get()) != OX_OK;
    set_component(node.get(), *place.component);
    set_response_time(node.get());
    nodes.add(std::move(node));
  }
  return errors;
}

void ValueReader::Get::finish(OX_RESULT why) {
  if (too_many_) return answer_(OX_ETOOMANY, {});
  if (why == OX_ENOMEM) return answer_(OX_ENOMEM, {});
  if (why == OX_ENOANSWER) fail_what_is_missing();
  if (refused_ && places_.size() == 1) return answer_(OX_EDENIED, {});
  NodeList nodes;
  bool errors = false;
  for (Place& place : places_) errors = collect(place, nodes) || errors;
  if (nodes.empty()) return answer_(OX_ENOTFOUND, {});
  answer_(errors ? OX_ENODES : OX_OK, std::move(nodes));
}

std::vector<Figure> FigureSources::ask(const FigureQuestion& question) const {
  std::vector<Figure> figures;
  const auto [first, last] = sources_.equal_range(question.component.type);
  for (auto source = first; source != last; ++source) source->second.add(question, figures);
  return figures;
}

bool FigureSources::wait(const FigureQuestion& question, const std::function<void()>& ready) const {
  const auto [first, last] = sources_.equal_range(question.component.type);
  return std::any_of(first, last, [&](const auto& of) { return of.second.wait && of.second.wait(question, ready); });
}

OX_RESULT ValueReader::read(const Question& question, ValueAnswer answer) const {
  const auto get = std::make_shared<Get>(*this, std::move(answer));
  if (const OX_RESULT result = get->prepare(question)) return result;
  tools_.jobs.add(question.session, get);
  get->start(question.limit);
  return OX_OK;
}

}  // namespace ox::manager
