// The daemon from its start to its end.
#pragma once

namespace expert {

// Keeps the rules' programs until a signal ends it. The exit code: 0, 1 when it could not start.
[[nodiscard]] int run_daemon();

}  // namespace expert
