#include "manager/traps/definitions.h"

#include <chrono>

#include "manager/base/log.h"

namespace ox::manager {
namespace {

constexpr auto look_interval = std::chrono::seconds(1);

}  // namespace

void TrapDefinitions::start() {
  read();
  look_later();
}

// When they cannot be read, those that are there stay.
void TrapDefinitions::read() {
  oxcTrConf* made = nullptr;
  const OX_RESULT result = oxcTrCreateList3(&made);
  if (result != OX_OK) {
    return log(Severity::error, std::string("the trap definitions cannot be read: ") + oxcStrError(result));
  }
  list_.reset(made);
  renewed_();
  std::size_t count = 0;
  for (const oxcTrTag* tag = oxcTrFirstTag(made); tag != nullptr; tag = tag->next) ++count;
  log(Severity::information, std::to_string(count) + " trap definitions");
}

void TrapDefinitions::look_later() {
  timer_.expires_after(look_interval);
  timer_.async_wait([this](const asio::error_code& error) {
    if (error) return;
    look_later();
    std::uint32_t wanted = 0;
    if (oxcTrGetReloadFlag(&wanted) == OX_OK && wanted != 0) read();
  });
}

const oxcTrTag* TrapDefinitions::find(const oxsSnmpTrap& trap) const {
  const oxcTrTag* found = nullptr;
  if (oxcTrSearchTrap(list_.get(), trap.enterprise, trap.genericTrap, trap.specificTrap, &found) != OX_OK) {
    return nullptr;
  }
  return found;
}

}  // namespace ox::manager
