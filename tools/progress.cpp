#include "tools/progress.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "platform/terminal.h"

namespace tool {
namespace {

using namespace std::chrono_literals;

constexpr auto patience = 1s;
constexpr auto repainting = 200ms;

// Blanks over a line of that many characters.
void clear(std::size_t width) {
  if (width != 0) (void)std::fprintf(stderr, "\r%*s\r", static_cast<int>(width), "");
}

}  // namespace

Progress::Progress(std::string what) : what_(std::move(what)) {
  if (ox::platform::is_terminal(ox::platform::Stream::errors)) painter_ = std::thread([this] { run(); });
}

Progress::~Progress() {
  if (!painter_.joinable()) return;
  {
    const std::lock_guard lock(guard_);
    end_ = true;
  }
  ended_.notify_one();
  painter_.join();
}

void Progress::at(std::uint64_t done, std::uint64_t of) {
  const std::lock_guard lock(guard_);
  done_ = done;
  of_ = of;
}

void Progress::run() {
  std::size_t width = 0;
  std::unique_lock lock(guard_);
  for (auto wait = std::chrono::milliseconds(patience); !ended_.wait_for(lock, wait, [this] { return end_; });
       wait = repainting) {
    const std::string text = line();
    clear(width);
    (void)std::fputs(text.c_str(), stderr);
    (void)std::fflush(stderr);
    width = text.size();
  }
  clear(width);
}

std::string Progress::line() const {
  std::string text = what_;
  if (of_ != 0) {
    text += ": " + std::to_string(100 * std::min(done_, of_) / of_) + " %";
  } else if (done_ != 0) {
    text += ": " + std::to_string(done_);
  }
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - begin_).count();
  text += " (" + std::to_string(seconds) + " s)";
  const int columns = ox::platform::terminal_columns(ox::platform::Stream::errors);
  return columns > 1 ? text.substr(0, static_cast<std::size_t>(columns) - 1) : text;
}

}  // namespace tool
