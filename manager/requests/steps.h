// Work on the components that takes its time, in steps beside the other work, and the requests that wait for it.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>

#include "manager/base/component_name.h"
#include "manager/sessions/request.h"

namespace ox::manager {

struct Manager;

// Requests that need what the manager is at work on: those of a client come one by one as ever.
class HeldRequests {
 public:
  // What the manager works on, so that requests that need it are to be held: of the components, so it is until they
  // have been loaded; of a database, while it is away.
  enum Reason : std::uint32_t { components = 1, components_database = 2, events = 4, collected = 8, runs = 16 };
  [[nodiscard]] std::uint32_t reasons() const { return reasons_; }
  void hold(Reason why, bool on) { reasons_ = on ? reasons_ | why : reasons_ & ~std::uint32_t{why}; }
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
  std::uint32_t reasons_ = components;
};

// Loads the components of a database that is open; from then on databases are renewed beside the loop. `done` gets
// false when they cannot be loaded; else what waited is handled behind it, in its order. A store that takes no longer
// than a step is loaded at once.
void load_components(Manager& manager, const std::function<void(bool)>& done);

// Removes a component with all that it has, and tells those who watch it. `done` gets 0; 144 with all as it was.
void remove_component(Manager& manager, const ComponentName& name, const std::function<void(OX_RESULT)>& done);

}  // namespace ox::manager
