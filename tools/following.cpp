#include "tools/following.h"

#include <algorithm>
#include <cstdio>
#include <thread>
#include <utility>

#include "tools/cli.h"
#include "tools/diagnosis.h"
#include "tools/text.h"

namespace tool {
namespace {

constexpr uint32_t forever = 0xFFFFFFFF;
constexpr auto pause = std::chrono::milliseconds(200);

bool lost = false;
void OX_CALL on_disconnect(uint32_t, OX_RESULT, uint32_t) { lost = true; }

}  // namespace

Following::Following(const Command& app, bool reconnect, uint32_t timeout) : tool_(app.name()), reconnect_(reconnect) {
  open_session(on_disconnect);
  if (timeout != 0) end_ = Clock::now() + std::chrono::seconds(timeout);
}

bool Following::turn() {
  const uint32_t left = milliseconds_left();
  if (left == 0) return false;
  const OX_RESULT result = oxaDispatch(left);
  if (!std::exchange(lost, false)) {
    require(result, "manager");
  } else if (reconnect_) {
    come_back();
  } else {
    throw Failure("manager", OX_ECLOSED);
  }
  return true;
}

uint32_t Following::milliseconds_left() const {
  if (!end_) return forever;
  const auto rest = std::chrono::ceil<std::chrono::milliseconds>(*end_ - Clock::now()).count();
  return static_cast<uint32_t>(std::clamp<long long>(rest, 0, forever - 1));
}

void Following::come_back() const {
  say(stderr, "%s: the manager is gone; going on when it is back\n", tool_.c_str());
  for (;;) {
    const OX_RESULT result = oxaInit(on_disconnect);
    if (result == OX_OK) return;
    if (result == OX_EDENIED) throw Failure("manager", result);
    if (milliseconds_left() == 0) throw Failure("manager", OX_ECLOSED);
    std::this_thread::sleep_for(pause);
  }
}

Option add_no_reconnect(Command& command, bool& no_reconnect) {
  return command.add_flag("--no-reconnect", no_reconnect,
                          "end when the manager does, instead of waiting for the next one");
}

}  // namespace tool
