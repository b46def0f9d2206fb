// Who watches which components.
#pragma once

#include <compare>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "manager/components/store.h"
#include "manager/reports/subscription.h"

namespace ox::manager {

class Watchers {
 public:
  // A subscription must be removed before it goes.
  void add(Subscription& subscription);
  void remove(const Subscription& subscription);

  // What the changes mean to those who watch them, by the subscription's id, in order of the changes.
  [[nodiscard]] std::map<std::uint32_t, NodeList> news(std::span<const Change> changes) const;

 private:
  struct Key {
    std::string type;
    std::string name;  // empty: those who watch a pattern
    auto operator<=>(const Key&) const = default;
  };
  [[nodiscard]] static Key key_of(const Subscription& subscription);

  std::map<Key, std::vector<Subscription*>> watchers_;
};

}  // namespace ox::manager
