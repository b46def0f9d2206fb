#include "manager/reports/subscriptions.h"

#include <algorithm>
#include <chrono>
#include <new>
#include <utility>

#include "common/protocol.h"

namespace ox::manager {
namespace {

constexpr std::uint32_t most_of_session = 10000;
constexpr std::uint32_t only_changes = 64;  // option: the values as they are now are not wanted

}  // namespace

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
  if (const OX_RESULT result = directory_.parse(subscription.component_text, component)) return result;
  if (const OX_RESULT result = select(subscription.names, subscription.selections)) return result;
  if (subscription.selections.size() == 1 && subscription.selections.front().exact && !is_pattern(component.name) &&
      !subscription.rights->allow(Role::read, subscription.selections.front().path, component, "a watch of")) {
    return OX_EDENIED;
  }
  std::uint32_t& count = open_[subscription.session];
  id = subscription.id = new_id();
  gets_.emplace(id, std::move(opened));
  ++count;
  try {
    watch_events(subscription);
    watchers_.add(subscription);
    ask(subscription, options);
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
      const EventSubscription::Client client{
          subscription.id, subscription.session, subscription.handle, {subscription.rights, &vocabulary_}};
      subscription.events.push_back(
          std::make_unique<EventSubscription>(events_, settings_, clients_, client, i, attribute.path));
      break;
    }
  }
}

OX_RESULT Subscriptions::open_set(std::uint32_t session, std::uint32_t handle, std::uint32_t& id) {
  if (!may_open(session) || clients_.outbox(session).overflows()) return OX_ETOOMANY;
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
  reply.report = ReportHeading{command_asy_set, under_way.handle, 0};
  add(under_way.session, std::move(reply));
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
  clients_.outbox(session).forget(id);
  if (const auto get = gets_.find(id); get != gets_.end()) {
    erase(get);
  } else {
    sets_.erase(id);
  }
  return true;
}

void Subscriptions::erase(Gets::iterator entry) {
  watchers_.remove(*entry->second);
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
  made.report = ReportHeading{command_asy_get, subscription.handle, 0};
  add(subscription.session, std::move(made));
}

void Subscriptions::add(std::uint32_t session, Reply report) {
  Outbox& outbox = clients_.outbox(session);
  outbox.add(std::move(report));
  if (outbox.began_to_overflow()) clients_.warn_of_loss(session);
}

void Subscriptions::report_refusal(std::uint32_t session, std::uint32_t handle, OX_RESULT code) {
  Reply made = error_reply(code);
  made.report = ReportHeading{command_asy_get, handle, 0};
  clients_.outbox(session).add(std::move(made));
}

void Subscriptions::changed(std::span<const Change> changes) {
  for (const auto& [id, nodes] : watchers_.news(changes)) report(*gets_.at(id), OX_OK, nodes);
}

// For the values as they are now, and again and again for those of agents.
void Subscriptions::ask(Subscription& subscription, std::uint32_t options) {
  const bool of_agents = subscription.component.type == "node" && selects_of_agents(subscription.selections);
  const bool wanted = (options & only_changes) == 0;
  if (!of_agents && !wanted) return;
  const std::uint32_t own = subscription.poll_interval != 0 ? subscription.poll_interval : settings_.poll_interval;
  const std::chrono::seconds interval(of_agents ? own : 0);
  const auto tell = [this, id = subscription.id](OX_RESULT result, const NodeList& nodes) {
    report(*gets_.at(id), result, nodes);
  };
  subscription.poller =
      std::make_shared<Poller>(loop_, reader_,
                               Poller::Question{subscription.session, subscription.rights, subscription.component_text,
                                                subscription.names, interval},
                               tell);
  subscription.poller->ask(wanted ? Poller::Mode::everything : Poller::Mode::nothing);
}

}  // namespace ox::manager
