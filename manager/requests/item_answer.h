// Answers made of the items of a matrix, while the client takes them.
#pragma once

#include <functional>
#include <memory>

#include "manager/requests/item_nodes.h"
#include "manager/requests/manager.h"
#include "manager/sessions/request.h"

namespace ox::manager {

// Answers with what `make` makes, which gives the same items each time: they are counted first, since an answer tells
// its size before its bytes. 121 with what there is when some of it is lost.
using MakeItems = std::function<std::unique_ptr<ItemSource>()>;
void answer_items(Manager& manager, const Request& request, const ComponentName& component, const Oid& path,
                  MakeItems make);

}  // namespace ox::manager
