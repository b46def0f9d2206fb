// Which events a user may see: those of the components that he may read.
#pragma once

#include <memory>

#include "manager/base/rights.h"
#include "manager/components/vocabulary.h"
#include "manager/events/readers.h"
#include "manager/events/record.h"

namespace ox::manager {

struct EventSight {
  RightsPtr rights{};
  const Vocabulary* vocabulary = nullptr;

  [[nodiscard]] bool sees(const LoggedEvent& event) const {
    if (rights->may_all(Role::read)) return true;
    if (!event.component) event.component = std::make_shared<const ComponentName>(component_of_logged(event));
    return rights->may(Role::read, *event.component);
  }

 private:
  [[nodiscard]] ComponentName component_of_logged(const LoggedEvent& event) const {
    EventPtr decoded;
    if (decode_events(event.body, decoded) != OX_OK) return {};
    ComponentName component = component_of(decoded.get());
    if (!component.type.empty()) component.type = vocabulary->canonical_type(component.type);
    return component;
  }
};

}  // namespace ox::manager
