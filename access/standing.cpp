#include "access/standing.h"

#include <array>

#include "access/async_request.h"

namespace ox {
namespace {

constinit std::array<Standing, 2> kinds{Standing{lose_requests, tell_requests, register_requests_again}, Standing{}};

}  // namespace

void set_standing_waits(const Standing& waits) noexcept { kinds[1] = waits; }

void lose_standing() noexcept {
  for (const Standing& kind : kinds) {
    if (kind.lose != nullptr) kind.lose();
  }
}

void tell_standing() {
  for (const Standing& kind : kinds) {
    if (kind.tell != nullptr) kind.tell();
  }
}

OX_RESULT register_standing_again() {
  OX_RESULT result = OX_OK;
  for (const Standing& kind : kinds) {
    if (result == OX_OK && kind.register_again != nullptr) result = kind.register_again();
  }
  return result;
}

}  // namespace ox
