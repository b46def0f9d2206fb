// Handles of senders of events. A handle ends with its session.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include <oxbase/oxtypes.h>

namespace ox::manager {

class EventHandles {
 public:
  // 0 and the handle; 85 when the session has too many.
  [[nodiscard]] OX_RESULT open(std::uint32_t session, std::string sender, std::uint32_t& handle);
  // The sender's name; null for a handle that is not one of the session's.
  [[nodiscard]] const std::string* sender(std::uint32_t handle, std::uint32_t session) const;
  [[nodiscard]] bool close(std::uint32_t handle, std::uint32_t session);
  void end_session(std::uint32_t session);

 private:
  struct Handle {
    std::uint32_t session = 0;
    std::string sender;
  };
  std::map<std::uint32_t, Handle> handles_;
  std::map<std::uint32_t, std::uint32_t> open_;  // handles of each session
  std::uint32_t last_ = 0;
};

}  // namespace ox::manager
