// Locks of components. A lock is advisory: it keeps other lockers away, and ends with its session.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>

#include "manager/base/component_name.h"

namespace ox::manager {

class Locks {
 public:
  // Shared locks of a component stand beside each other, an exclusive one stands alone. 207 when it is held already;
  // 85 when the session has too many.
  [[nodiscard]] OX_RESULT lock(const ComponentName& component, bool shared, std::uint32_t session, std::uint32_t& id);
  // The session that held it; nothing for an id that is neither one of the asking session's nor one that it may break.
  [[nodiscard]] std::optional<std::uint32_t> unlock(std::uint32_t id, std::uint32_t asking,
                                                    const std::function<bool(const ComponentName&)>& may_break);
  void end_session(std::uint32_t session);
  [[nodiscard]] bool is_locked(const ComponentName& component) const { return holders_.contains(component); }

 private:
  struct Lock {
    ComponentName component;
    std::uint32_t session = 0;
  };
  struct Holders {
    bool shared = false;
    std::uint32_t count = 0;
  };
  void release(const ComponentName& component);

  std::map<std::uint32_t, Lock> locks_;
  std::map<ComponentName, Holders> holders_;
  std::map<std::uint32_t, std::uint32_t> open_;  // locks of each session
  std::uint32_t next_id_ = 1;
};

}  // namespace ox::manager
