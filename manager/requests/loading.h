// The loading of the components in steps, beside the work, and the requests that wait for it.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>

#include "manager/sessions/request.h"

namespace ox::manager {

struct Manager;

// Requests that need a component, until the components are there: those of a client come one by one as ever.
class HeldRequests {
 public:
  // Whether requests are to be held.
  [[nodiscard]] bool holding() const { return holding_; }
  void add(const Request& request);
  // They are dropped with their client.
  void end_session(std::uint32_t session);
  // Holds nothing any more, and hands out the oldest that waits; false when there is none.
  [[nodiscard]] bool release(const std::function<void(const Request&)>& route);

 private:
  struct Held {
    std::uint32_t session;
    Message message;
    std::function<void(Reply)> reply;
  };
  std::deque<Held> held_;
  bool holding_ = true;
};

// Loads the components of a database that is open. `done` gets false when they cannot be loaded; else what waited is
// handled behind it, in its order. A store that takes no longer than a step is loaded at once.
void load_components(Manager& manager, const std::function<void(bool)>& done);

}  // namespace ox::manager
