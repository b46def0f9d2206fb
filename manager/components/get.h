// Reading values: the get request, and what asynchronous gets report.
#pragma once

#include <span>
#include <string>

#include "manager/manager.h"
#include "manager/sessions/request.h"

namespace ox::manager {

// The payload of a get.
struct GetRequest {
  std::string component;
  std::string names;
  std::uint32_t options = 0;
  std::uint32_t limit = 0;
  // 0, 71, 70, 125. The selection words have no meaning for this manager: they are read and passed over.
  [[nodiscard]] OX_RESULT read(std::span<const std::byte> bytes);
};

// Replies, at once or later, with the values of the components; the limit is the time-out in seconds, 0 the manager's
// own. Another result than 0 says that the request is wrong: there is no reply then.
[[nodiscard]] OX_RESULT read_values(Manager& manager, const std::string& component, const std::string& names,
                                    std::uint32_t limit, std::function<void(Reply)> reply);

}  // namespace ox::manager
