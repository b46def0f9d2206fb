#include "manager/sessions/users.h"

namespace ox::manager {

std::shared_ptr<User> Users::of(const platform::AccountId& account) {
  auto& user = users_[account];
  if (!user) user = std::make_shared<User>(platform::account_name(account));
  return user;
}

}  // namespace ox::manager
