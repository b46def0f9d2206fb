#include "manager/reports/subscriptions.h"

#include <algorithm>
#include <new>

#include "manager/base/attributes.h"
#include "manager/components/stored_value.h"
#include "manager/reports/event_subscription.h"
#include "manager/requests/manager.h"

namespace ox::manager {
namespace {

constexpr std::uint32_t most_of_session = 10000;
constexpr std::uint32_t only_changes = 64;  // option: the values as they are now are not wanted

// The AMIB node of a value; 0 without one.
std::uint32_t amib_node(const Oid& path) {
  std::uint32_t node = 0;
  return oxbEntry(oid_text(path).c_str(), &node) == OX_OK ? node : 0;
}

bool is_readable(const Oid& path) {
  const std::uint32_t node = amib_node(path);
  return node != 0 && (oxbAccessControl(node) & OXB_READ) != 0;
}

// Whether a node of a get's answer came from an agent. Only agents fail now and then.
bool is_of_agent(const dnode* node) {
  if (code_of(node) != OX_OK) return true;
  const std::uint32_t entry = amib_node(path_of(node));
  return entry != 0 && oxbAmibInterface(entry) == OXB_SNMP;
}

bool selects_of_agent(const Selection& selection) {
  if (selection.error != OX_OK) return false;
  if (selection.exact) return oxbAmibInterface(selection.node) == OXB_SNMP;
  for (std::uint32_t leaf = oxbTraverse(selection.node, 0); leaf != 0; leaf = oxbTraverse(selection.node, leaf)) {
    if (oxbAmibInterface(leaf) == OXB_SNMP) return true;
  }
  return false;
}

void complete(dnode* node, const ComponentName& component) {
  set_component(node, component);
  set_response_time(node);
}

NodePtr deleted_node(const Oid& path) { return value_node(path, {OX_DELETED, std::string(1, '\0')}); }

// Of which component and attribute a node is, and what it says.
std::string place_of(const dnode* node) {
  const char* type = "";
  const char* name = "";
  (void)oxdGetCompType(node, &type);
  (void)oxdGetCompName(node, &name);
  return std::string(type) + ':' + name + ' ' + oid_text(path_of(node));
}
NodePtr gone_node(const std::string& place) {
  const std::size_t end = place.rfind(' ');
  ComponentName component;
  (void)parse_component_name(place.substr(0, end), component);
  NodePtr node = deleted_node(parse_oid(place.substr(end + 1)).value_or(Oid()));
  complete(node.get(), component);
  return node;
}
std::string contents_of(const dnode* node) {
  const Value value = value_of(node);
  return std::to_string(code_of(node)) + ' ' + std::to_string(value.type) + ' ' + value.bytes;
}

}  // namespace

Subscriptions::Subscriptions(Manager& manager) : manager_(manager) {}
Subscriptions::~Subscriptions() = default;

std::uint32_t Subscriptions::new_id() {
  do {
    ++last_id_;
  } while (last_id_ == 0 || gets_.contains(last_id_) || sets_.contains(last_id_));
  return last_id_;
}

bool Subscriptions::may_open(std::uint32_t session) const {
  const auto count = open_.find(session);
  return count == open_.end() || count->second < most_of_session;
}

OX_RESULT Subscriptions::open(std::unique_ptr<Subscription> opened, std::uint32_t options, std::uint32_t& id) {
  Subscription& subscription = *opened;
  ComponentName& component = subscription.component;
  if (!may_open(subscription.session)) return OX_ETOOMANY;
  if (const OX_RESULT result = manager_.directory.parse(subscription.component_text, component)) return result;
  const bool pattern = is_pattern(component.name);
  if (const OX_RESULT result = select(subscription.names, subscription.selections)) return result;
  std::uint32_t& count = open_[subscription.session];
  id = subscription.id = new_id();
  gets_.emplace(id, std::move(opened));
  ++count;
  try {
    watch_events(subscription);
    watchers_[{component.type, pattern ? std::string() : component.name}].push_back(&subscription);
    begin_polling(subscription, options);
  } catch (const std::bad_alloc&) {
    (void)close(id, subscription.session);
    throw;
  }
  return OX_OK;
}

void Subscriptions::watch_events(Subscription& subscription) {
  const ComponentName& component = subscription.component;
  if (component.type != "system" || oxcRegMatch(component.name.c_str(), "system") == 0) return;
  const auto attributes = event_attributes();
  for (std::size_t i = 0; i < attributes.size(); ++i) {
    Selection attribute;
    if (select_value(attributes[i].name, attribute) != OX_OK) continue;
    for (const Selection& selection : subscription.selections) {
      if (selection.error != OX_OK || !selection.covers(attribute.path)) continue;
      subscription.events.push_back(std::make_unique<EventSubscription>(manager_, subscription, i, attribute.path));
      break;
    }
  }
}

OX_RESULT Subscriptions::open_set(std::uint32_t session, std::uint32_t handle, std::uint32_t& id) {
  if (!may_open(session) || manager_.clients.outbox(session).overflows()) return OX_ETOOMANY;
  id = new_id();
  ++open_[session];
  sets_.emplace(id, SetUnderWay{session, handle});
  return OX_OK;
}

void Subscriptions::finish_set(std::uint32_t id, Reply reply) {
  const auto set = sets_.find(id);
  if (set == sets_.end()) return;  // closed, or its client is gone
  const SetUnderWay under_way = set->second;
  sets_.erase(set);
  --open_[under_way.session];
  reply.source_id = id;
  reply.report = ReportHeading{report_set, under_way.handle, 0};
  Outbox& outbox = manager_.clients.outbox(under_way.session);
  outbox.add(std::move(reply));
  if (outbox.began_to_overflow()) manager_.clients.warn_of_loss(under_way.session);
}

bool Subscriptions::has(std::uint32_t id, std::uint32_t session) const {
  const auto get = gets_.find(id);
  const auto set = sets_.find(id);
  return (get != gets_.end() && get->second->session == session) ||
         (set != sets_.end() && set->second.session == session);
}

bool Subscriptions::close(std::uint32_t id, std::uint32_t session) {
  if (!has(id, session)) return false;
  --open_[session];
  manager_.clients.outbox(session).forget(id);
  if (const auto get = gets_.find(id); get != gets_.end()) {
    erase(get);
  } else {
    sets_.erase(id);
  }
  return true;
}

void Subscriptions::erase(std::map<std::uint32_t, std::unique_ptr<Subscription>>::iterator entry) {
  const Subscription& subscription = *entry->second;
  const bool pattern = is_pattern(subscription.component.name);
  const auto watchers =
      watchers_.find({subscription.component.type, pattern ? std::string() : subscription.component.name});
  if (watchers != watchers_.end()) {  // else it was not opened to the end
    std::erase(watchers->second, &subscription);
    if (watchers->second.empty()) watchers_.erase(watchers);
  }
  gets_.erase(entry);
}

void Subscriptions::end_session(std::uint32_t session) {
  for (auto entry = gets_.begin(); entry != gets_.end();) {
    const auto next = std::next(entry);
    if (entry->second->session == session) erase(entry);
    entry = next;
  }
  std::erase_if(sets_, [&](const auto& entry) { return entry.second.session == session; });
  open_.erase(session);
}

void Subscriptions::report(const Subscription& subscription, OX_RESULT error, const NodeList& nodes) {
  Reply made = node_reply(error, nodes);
  made.source_id = subscription.id;
  made.report = ReportHeading{report_get, subscription.handle, 0};
  Outbox& outbox = manager_.clients.outbox(subscription.session);
  outbox.add(std::move(made));
  if (outbox.began_to_overflow()) manager_.clients.warn_of_loss(subscription.session);
}

void Subscriptions::report_refusal(std::uint32_t session, std::uint32_t handle, OX_RESULT code) {
  Reply made = error_reply(code);
  made.report = ReportHeading{report_get, handle, 0};
  manager_.clients.outbox(session).add(std::move(made));
}

// ---- Changes of stored values ----

void Subscriptions::changed(std::span<const Change> changes) {
  std::map<std::uint32_t, NodeList> reports;  // by subscription, in order of the changes
  for (const Change& change : changes) {
    if (change.kind == Change::Kind::relate || change.kind == Change::Kind::unrelate) continue;
    const ComponentName& component = change.component;
    for (const Key& key : {component, Key{component.type, {}}}) {
      const auto watchers = watchers_.find(key);
      if (watchers == watchers_.end()) continue;
      for (Subscription* watcher : watchers->second) {
        if (key.name.empty() && oxcRegMatch(watcher->component.name.c_str(), component.name.c_str()) == 0) continue;
        NodeList nodes;
        add_changes(*watcher, change, nodes);
        while (NodePtr node = nodes.take_first()) reports[watcher->id].add(std::move(node));
      }
    }
  }
  for (const auto& [id, nodes] : reports) report(*gets_.at(id), OX_OK, nodes);
}

// That a component has come or gone is told by its name, whatever of it is watched.
void Subscriptions::add_changes(Subscription& subscription, const Change& change, NodeList& nodes) const {
  NodePtr node;
  if (change.kind == Change::Kind::add) {
    node = text_node(component_name_path, change.component.name);
  } else if (change.kind == Change::Kind::remove) {
    node = deleted_node(component_name_path);
  } else {
    const bool watched = std::any_of(
        subscription.selections.begin(), subscription.selections.end(),
        [&](const Selection& selection) { return selection.error == OX_OK && selection.covers(change.path); });
    if (!watched || !is_readable(change.path)) return;
    node = change.kind == Change::Kind::set ? value_node(change.path, change.value) : deleted_node(change.path);
  }
  complete(node.get(), change.component);
  // The next poll is not to tell it again, nor one that is under way.
  if (subscription.poll_interval != 0 && is_of_agent(node.get())) {
    const std::string place = place_of(node.get());
    subscription.polled[place] = subscription.meanwhile[place] = contents_of(node.get());
  }
  nodes.add(std::move(node));
}

// ---- Values as they are now, and those that have to be asked for ----

void Subscriptions::begin_polling(Subscription& subscription, std::uint32_t options) {
  const bool of_agents = subscription.component.type == "node" &&
                         std::any_of(subscription.selections.begin(), subscription.selections.end(), selects_of_agent);
  if (!of_agents) {
    subscription.poll_interval = 0;
  } else if (subscription.poll_interval == 0) {
    subscription.poll_interval = manager_.settings.poll_interval;
  }
  const bool wanted = (options & only_changes) == 0;
  if (of_agents || wanted) poll(subscription.id, wanted, !wanted);
}

void Subscriptions::poll_later(Subscription& subscription) {
  if (!subscription.timer) subscription.timer = std::make_unique<asio::steady_timer>(manager_.loop);
  subscription.timer->expires_after(std::chrono::seconds(subscription.poll_interval));
  subscription.timer->async_wait([this, id = subscription.id](const asio::error_code& error) {
    if (!error) poll(id, false, false);
  });
}

void Subscriptions::poll(std::uint32_t id, bool report_all, bool silent) {
  const auto found = gets_.find(id);
  if (found == gets_.end()) return;
  Subscription& subscription = *found->second;
  subscription.meanwhile.clear();
  const auto take = [this, id, report_all, silent](OX_RESULT result, NodeList nodes) {
    const auto asked = gets_.find(id);
    if (asked != gets_.end()) polled(*asked->second, result, std::move(nodes), report_all, silent);
  };
  const OX_RESULT result =
      manager_.reader.read({subscription.session, subscription.component_text, subscription.names, 0}, take);
  if (result != OX_OK) take(result, {});
}

void Subscriptions::polled(Subscription& subscription, OX_RESULT result, NodeList nodes, bool report_all, bool silent) {
  NodeList told;
  std::map<std::string, std::string> now;
  OX_RESULT error = OX_OK;
  while (NodePtr node = nodes.take_first()) {
    bool tell = report_all;
    if (is_of_agent(node.get())) {
      const std::string place = place_of(node.get());
      const auto& contents = now[place] = contents_of(node.get());
      const auto before = subscription.polled.find(place);
      const bool is_new = before == subscription.polled.end() || before->second != contents;
      tell = tell || (!silent && is_new && !subscription.meanwhile.contains(place));
    }
    if (!tell) continue;
    if (code_of(node.get()) != OX_OK) error = OX_ENODES;
    told.add(std::move(node));
  }
  for (const auto& [place, contents] : subscription.meanwhile) now[place] = contents;
  for (const auto& [place, contents] : subscription.polled) {
    if (!now.contains(place)) told.add(gone_node(place));
  }
  if (subscription.poll_interval != 0) {
    subscription.polled = std::move(now);
    poll_later(subscription);
  }
  const bool failed = report_all && told.empty() && result != OX_OK && result != OX_ENOTFOUND;
  if (!told.empty() || failed) report(subscription, failed ? result : error, told);
}

}  // namespace ox::manager
