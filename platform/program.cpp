#include "platform/program.h"

#include <algorithm>
#include <thread>

namespace ox::platform {

void Program::keep(std::string_view written) {
  if (keeps_end_) {
    output_.append(written.substr(written.size() - std::min(written.size(), kept_output_)));
    if (output_.size() > kept_output_) output_.erase(0, output_.size() - kept_output_);
  } else {
    output_.append(written.substr(0, kept_output_ - output_.size()));
  }
}

void Program::kill() {
  if (!running()) return;
  kill_without_waiting();
  (void)wait(std::chrono::seconds(10));
}

int Program::wait(std::chrono::milliseconds limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (running()) {
    if (std::chrono::steady_clock::now() >= end) return -1;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return status_;
}

}  // namespace ox::platform
