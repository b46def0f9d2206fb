// Copying what a data entry has collected.
#pragma once

#include <functional>
#include <string>

#include "manager/requests/manager.h"

namespace ox::manager {

// Into the data entry of another name, which has nothing, beside the other work. `done` gets 0 when all of it is safe;
// 207 when the other one has something; 84, 144, 261 when there is nothing of the copy.
void copy_collected(Manager& manager, const std::string& from, const std::string& to,
                    const std::function<void(OX_RESULT)>& done);

}  // namespace ox::manager
