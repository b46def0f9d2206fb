#include "manager/sessions/users.h"

#include <algorithm>
#include <span>

#include "manager/base/checksum.h"

namespace ox::manager {

namespace {

// Positive, and never 0, in 32 bits with a sign.
std::uint32_t mark_of(const platform::AccountId& account) {
  return std::max(1u, crc32(std::as_bytes(std::span(account))) & 0x7FFFFFFF);
}

}  // namespace

std::shared_ptr<User> Users::of(const platform::AccountId& account) {
  const auto known = users_.find(account);
  if (known != users_.end()) return known->second;
  const auto user = std::make_shared<User>(platform::account_name(account), mark_of(account));
  users_.emplace(account, user);
  appeared_(user);
  return user;
}

}  // namespace ox::manager
