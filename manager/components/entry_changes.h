// Who is told when components of a type come, change and go, and who has a say in what is set.
#pragma once

#include <functional>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "manager/components/store.h"

namespace ox::manager {

class EntryChanges {
 public:
  enum class What { loaded, added, set, removed };
  struct Keeper {
    // The change is safe by then, and the store has it; what is removed stays in the store for some turns. `paths` were
    // set, or taken away: none for what is removed, or loaded, which is told of each component when all are there and
    // before any request. It may make changes of its own.
    std::function<void(const ComponentName& name, What what, std::span<const Oid> paths)> changed{};
    // Whether a client may set that: 0, or the code that refuses it. May change the value.
    std::function<OX_RESULT(Change& change)> check{};
  };

  // Of the components of a type; one keeper for each.
  void keep(const std::string& type, Keeper keeper) { keepers_[type] = std::move(keeper); }

  [[nodiscard]] OX_RESULT check(Change& change) const;
  void changed(std::span<const Change> batch) const;
  // Those that have a keeper.
  [[nodiscard]] std::vector<ComponentName> kept(const Store& store) const;
  void tell(const ComponentName& name, What what, std::span<const Oid> paths = {}) const;

 private:
  std::map<std::string, Keeper, std::less<>> keepers_;
};

}  // namespace ox::manager
