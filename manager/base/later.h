// Work that comes back to the event loop after a while.
#pragma once

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <memory>
#include <system_error>
#include <utility>

namespace ox::manager {

// Between two looks whether a database that is away, beside the loop, is back.
constexpr auto look_again = std::chrono::milliseconds(5);

// `work` is called from the loop then; never, when the loop is destroyed before.
template <class Work>
void later(asio::io_context& loop, std::chrono::steady_clock::duration pause, Work work) {
  auto timer = std::make_unique<asio::steady_timer>(loop, pause);
  asio::steady_timer& waiting = *timer;
  waiting.async_wait([timer = std::move(timer), work = std::move(work)](const std::error_code&) mutable { work(); });
}

}  // namespace ox::manager
