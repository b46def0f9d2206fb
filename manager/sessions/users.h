// The users of this manager's clients, and what each may have of it.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "manager/base/user.h"
#include "platform/server/peer.h"

namespace ox::manager {

class Users {
 public:
  // `appeared` is called with each that is new.
  explicit Users(std::function<void(const std::shared_ptr<User>&)> appeared) : appeared_(std::move(appeared)) {}

  // One for each account, for as long as the manager runs: there are no more of them than the machine has.
  [[nodiscard]] std::shared_ptr<User> of(const platform::AccountId& account);
  // Those that there have been, by account.
  [[nodiscard]] const std::map<platform::AccountId, std::shared_ptr<User>>& all() const { return users_; }

 private:
  std::function<void(const std::shared_ptr<User>&)> appeared_;
  std::map<platform::AccountId, std::shared_ptr<User>> users_;
};

// A connection on its user's account, for as long as it lasts.
class Seat {
 public:
  Seat() = default;
  Seat(const Seat&) = delete;
  Seat& operator=(const Seat&) = delete;
  ~Seat() {
    if (user_) --user_->holds.connections;
  }
  void take(std::shared_ptr<User> user) {
    ++user->holds.connections;
    user_ = std::move(user);
  }

 private:
  std::shared_ptr<User> user_;
};

}  // namespace ox::manager
