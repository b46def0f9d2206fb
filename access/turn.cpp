#include "access/turn.h"

#include <utility>

#include "platform/fork.h"
#include "platform/named_event.h"

namespace ox {
namespace {

// What is there already is run for so long by a dispatch that does not wait.
constexpr auto least_time = std::chrono::milliseconds(10);

constinit Turn* running = nullptr;
[[maybe_unused]] const bool follows_forks = platform::in_forked_child([]() noexcept { running = nullptr; });

}  // namespace

Turn::Turn(std::uint32_t timeout_ms) noexcept
    : endless_(timeout_ms == platform::infinite),
      end_(Clock::now() + std::chrono::milliseconds(timeout_ms)),
      last_begin_(timeout_ms == 0 ? end_ + least_time : end_),
      outer_(std::exchange(running, this)) {}

Turn::~Turn() { running = outer_; }

Turn* Turn::current(Turn* instead) noexcept { return std::exchange(running, instead); }

std::uint32_t Turn::left() const noexcept {
  if (endless_) return platform::infinite;
  const auto rest = std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now()).count();
  return rest > 0 ? static_cast<std::uint32_t>(rest) : 0;
}

bool Turn::in_vain() noexcept { return std::exchange(in_vain_, false) && left() != 0; }

}  // namespace ox
