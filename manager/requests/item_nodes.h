// Nodes with binary values, made of the items of a matrix while somebody takes them.
#pragma once

#include <memory>
#include <utility>

#include "manager/base/component_name.h"
#include "manager/base/oid.h"
#include "manager/series/items.h"

namespace ox::manager {

// Encoded nodes of an attribute, one after the other.
class NodesOfItems {
 public:
  NodesOfItems(ComponentName component, Oid path, std::unique_ptr<ItemSource> items)
      : component_(std::move(component)), path_(std::move(path)), items_(std::move(items)) {}

  // Appends a node; the first one is there without items, too. Behind the last item, when some are lost, one that says
  // so. False when there are none left.
  [[nodiscard]] bool next(Bytes& out);
  [[nodiscard]] bool lost() const { return items_->lost(); }

 private:
  ComponentName component_;
  Oid path_;
  std::unique_ptr<ItemSource> items_;
  bool begun_ = false;
  bool ended_ = false;
};

}  // namespace ox::manager
