#include "manager/traps/losses.h"

#include <algorithm>

#include "manager/base/log.h"
#include "manager/traps/guarded.h"

namespace ox::manager {
namespace {

constexpr auto first_report = std::chrono::seconds(1);

}  // namespace

void TrapLosses::tell_later() {
  if (due_ || books_.lost() == told_.lost()) return;
  timer_.expires_at(std::max(last_ + std::chrono::seconds(settings_.trap_report_interval),
                             std::chrono::steady_clock::now() + first_report));
  timer_.async_wait([this](const asio::error_code& error) {
    if (error) return;
    due_ = false;
    woken_();
    last_ = std::chrono::steady_clock::now();
    guarded([this] { tell(); });
  });
  due_ = true;
}

void TrapLosses::tell() {
  if (books_.lost() == told_.lost()) return;  // told while this was put off
  std::string detail = losses_text(books_, told_);
  if (books_.malformed != told_.malformed) detail += "; the last malformed one came from " + malformed_from_;
  if (books_.idle_actions != told_.idle_actions) detail += "; the last action: " + action_fault_;
  const bool traps = books_.lost() - books_.idle_actions != told_.lost() - told_.idle_actions;
  const std::string summary = traps ? "traps have been lost" : "actions have not been run";
  log(Severity::warning, summary + ": " + detail);
  events_.tell(2, summary, detail, [this, now = books_](OX_RESULT result, const Bytes&) {
    if (result == OX_OK) {
      told_ = now;
    } else if (!ended_) {
      guarded([this] { tell_later(); });
    }
  });
}

}  // namespace ox::manager
