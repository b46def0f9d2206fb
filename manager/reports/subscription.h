// One asynchronous get.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "manager/base/component_name.h"
#include "manager/base/selection.h"
#include "manager/reports/event_subscription.h"
#include "manager/snmp/poller.h"

namespace ox::manager {

struct Subscription {
  std::uint32_t id = 0;
  std::uint32_t session = 0;
  RightsPtr rights;          // of its user
  std::uint32_t handle = 0;  // the client's name for it
  ComponentName component;   // its name may be a pattern
  std::string component_text;
  std::string names;
  std::vector<Selection> selections;
  std::uint32_t poll_interval = 0;  // seconds; 0: the manager's own
  std::vector<std::unique_ptr<EventSubscription>> events;
  std::shared_ptr<Poller> poller;  // null when neither the values as they are nor those of agents are wanted
};

}  // namespace ox::manager
