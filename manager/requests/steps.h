// Work on the components that takes its time, in steps beside the other work, and the requests that wait for it.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>

#include "manager/base/component_name.h"
#include "manager/sessions/request.h"

namespace ox::manager {

struct Manager;

// Requests that need a component, while the components are at work: those of a client come one by one as ever.
class HeldRequests {
 public:
  // Whether requests are to be held; so it is until the components have been loaded.
  [[nodiscard]] bool holding() const { return holding_; }
  void hold(bool on) { holding_ = on; }
  void add(const Request& request);
  // They are dropped with their client.
  void end_session(std::uint32_t session);
  // Hands out the oldest that waits; false when there is none.
  [[nodiscard]] bool next(const std::function<void(const Request&)>& route);

 private:
  struct Held {
    std::uint32_t session;
    Message message;
    std::function<void(Reply)> reply;
    RightsPtr rights;
  };
  std::deque<Held> held_;
  bool holding_ = true;
};

// Loads the components of a database that is open. `done` gets false when they cannot be loaded; else what waited is
// handled behind it, in its order. A store that takes no longer than a step is loaded at once.
void load_components(Manager& manager, const std::function<void(bool)>& done);

// Removes a component with all that it has, and tells those who watch it. `done` gets 0; 144 with all as it was.
void remove_component(Manager& manager, const ComponentName& name, const std::function<void(OX_RESULT)>& done);

}  // namespace ox::manager
