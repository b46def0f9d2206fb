// How large the store would be with the changes of a list, each behind those before it.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <utility>

#include "manager/components/store.h"

namespace ox::manager {

class StoreGrowth {
 public:
  explicit StoreGrowth(const Store& store) : store_(store), size_(store.size()) {}

  [[nodiscard]] const Store::Size& size() const { return size_; }
  // With one change more, of those of values and that which adds a component; others make it no larger.
  [[nodiscard]] Store::Size with(const Change& change) const;
  void add(const Change& change);

 private:
  using Place = std::pair<ComponentName, Oid>;
  using Bytes = std::optional<std::size_t>;  // nothing: there is no value
  [[nodiscard]] Bytes before(const Change& change) const;

  const Store& store_;
  Store::Size size_;
  std::map<Place, Bytes> changed_;
};

}  // namespace ox::manager
