#include "manager/reports/watchers.h"

#include <algorithm>

#include "manager/base/attributes.h"
#include "manager/components/stored_value.h"

namespace ox::manager {
namespace {

bool is_readable(const Oid& path) {
  std::uint32_t node = 0;
  return oxbEntry(oid_text(path).c_str(), &node) == OX_OK && (oxbAccessControl(node) & OXB_READ) != 0;
}

bool selects(const Subscription& subscription, const Oid& path) {
  return std::any_of(subscription.selections.begin(), subscription.selections.end(),
                     [&](const Selection& selection) { return selection.error == OX_OK && selection.covers(path); });
}

// That a component has come or gone is told by its name, whatever of it is watched. Null for what is not told.
NodePtr news_of(const Subscription& subscription, const Change& change) {
  switch (change.kind) {
    case Change::Kind::add:
      if (!subscription.rights->may(Role::read, component_name_path, change.component)) return nullptr;
      return told_node(change.component, component_name_path, {OX_DISPLAYSTRING, change.component.name + '\0'});
    case Change::Kind::remove:
      if (!subscription.rights->may(Role::read, component_name_path, change.component)) return nullptr;
      return deleted_node(change.component, component_name_path);
    case Change::Kind::set:
    case Change::Kind::unset:
      break;
    case Change::Kind::relate:
    case Change::Kind::unrelate:
      return nullptr;
  }
  if (!selects(subscription, change.path) || !is_readable(change.path)) return nullptr;
  if (!subscription.rights->may(Role::read, change.path, change.component)) return nullptr;
  return change.kind == Change::Kind::set ? told_node(change.component, change.path, change.value)
                                          : deleted_node(change.component, change.path);
}

}  // namespace

Watchers::Key Watchers::key_of(const Subscription& subscription) {
  const ComponentName& component = subscription.component;
  return {component.type, is_pattern(component.name) ? std::string() : component.name};
}

void Watchers::add(Subscription& subscription) { watchers_[key_of(subscription)].push_back(&subscription); }

void Watchers::remove(const Subscription& subscription) {
  const auto found = watchers_.find(key_of(subscription));
  if (found == watchers_.end()) return;
  std::erase(found->second, &subscription);
  if (found->second.empty()) watchers_.erase(found);
}

std::map<std::uint32_t, NodeList> Watchers::news(std::span<const Change> changes) const {
  std::map<std::uint32_t, NodeList> news;
  for (const Change& change : changes) {
    const ComponentName& component = change.component;
    for (const Key& key : {Key{component.type, component.name}, Key{component.type, {}}}) {
      const auto watchers = watchers_.find(key);
      if (watchers == watchers_.end()) continue;
      for (const Subscription* watcher : watchers->second) {
        if (key.name.empty() && oxcRegMatch(watcher->component.name.c_str(), component.name.c_str()) == 0) continue;
        NodePtr node = news_of(*watcher, change);
        if (node == nullptr) continue;
        if (watcher->poller) watcher->poller->told(node.get());
        news[watcher->id].add(std::move(node));
      }
    }
  }
  return news;
}

}  // namespace ox::manager
