#include "platform/server/program.h"

#include <thread>

namespace ox::platform {

int Program::wait(std::chrono::milliseconds limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (running()) {
    if (std::chrono::steady_clock::now() >= end) return -1;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return status_;
}

}  // namespace ox::platform
