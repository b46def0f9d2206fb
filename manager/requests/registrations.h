// What a client has open with the manager: watches, waits, locks, senders of events; on its user's account.
#pragma once

#include <cstdint>
#include <map>
#include <memory>

#include "manager/base/user.h"

namespace ox::manager {

class Registrations {
 public:
  void opened(std::uint32_t session, const std::shared_ptr<User>& user) {
    Open& open = open_[session];
    open.user = user;
    ++open.count;
    ++user->holds.registrations;
  }
  void closed(std::uint32_t session) {
    const auto found = open_.find(session);
    if (found == open_.end() || found->second.count == 0) return;
    --found->second.count;
    --found->second.user->holds.registrations;
  }
  void end_session(std::uint32_t session) {
    const auto found = open_.find(session);
    if (found == open_.end()) return;
    found->second.user->holds.registrations -= found->second.count;
    open_.erase(found);
  }

 private:
  struct Open {
    std::shared_ptr<User> user;
    std::uint64_t count = 0;
  };
  std::map<std::uint32_t, Open> open_;
};

}  // namespace ox::manager
