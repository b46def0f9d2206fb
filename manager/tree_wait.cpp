#include "manager/tree_wait.h"

#include <chrono>
#include <utility>

#include <oxbase/oxb.h>
#include <oxbase/oxc.h>

#include "manager/base/log.h"
#include "manager/definitions.h"

namespace ox::manager {
namespace {

constexpr auto look_interval = std::chrono::seconds(1);

}  // namespace

TreeWait::TreeWait(asio::io_context& loop, Clients& clients, FaultList& faults, std::vector<std::string> files)
    : clients_(clients), files_(std::move(files)), timer_(loop) {
  const std::string text =
      "running processes hold the AMIB of older definition files, which is used; the changed files wait until they end";
  log(Severity::warning, text);
  faults.add(text);
  clients_.on_open([](std::uint32_t process) {
    log(Severity::warning, "process " + std::to_string(process) +
                               " uses the AMIB of older definition files; the changed files wait until it ends");
  });
  look_later();
}

void TreeWait::look_later() {
  timer_.expires_after(look_interval);
  timer_.async_wait([this](const asio::error_code& error) {
    if (error) return;
    if (clients_.none() && replace()) return;
    look_later();
  });
}

// The manager's own hold is given up for it, and taken again when others have one, too.
bool TreeWait::replace() {
  (void)oxbDeleteAmibTree(OXB_TREE);
  bool outdated = false;
  if (const OX_RESULT result = hold_tree(files_, outdated)) {
    log(Severity::error, std::string("the AMIB cannot be loaded: ") + oxcStrError(result));
    return false;
  }
  if (outdated) return false;
  clients_.on_open(nullptr);
  log(Severity::information, "the AMIB of the changed definition files is in use");
  return true;
}

}  // namespace ox::manager
