#include "manager/base/user.h"

#include "manager/base/log.h"

namespace ox::manager {

void User::refused(const std::string& what, const std::string& why) {
  ++holds.refused;
  const auto now = std::chrono::steady_clock::now();
  if (now < silent_until_) {
    ++unsaid_;
    return;
  }
  silent_until_ = now + std::chrono::seconds(1);
  const std::uint64_t more = std::exchange(unsaid_, 0);
  log(Severity::warning, "user " + name_ + " was refused " + what + ": " + why +
                             (more == 0 ? "" : " (and " + std::to_string(more) + " refusals before that)"));
}

}  // namespace ox::manager
