#include "manager/requests/loading.h"

#include <asio/post.hpp>
#include <chrono>

#include "manager/requests/manager.h"
#include "manager/requests/router.h"

namespace ox::manager {
namespace {

constexpr auto step_time = std::chrono::milliseconds(10);  // for which everybody waits

// One in a turn: what they ask for may take its time.
void release_next(Manager& manager) {
  if (!manager.held.release([&manager](const Request& request) { route(manager, request); })) return;
  asio::post(manager.loop, [&manager] { release_next(manager); });
}

}  // namespace

void HeldRequests::add(const Request& request) { held_.push_back({request.session, request.message, request.reply}); }

void HeldRequests::end_session(std::uint32_t session) {
  std::erase_if(held_, [&](const Held& held) { return held.session == session; });
}

bool HeldRequests::release(const std::function<void(const Request&)>& route) {
  holding_ = false;
  if (held_.empty()) return false;
  const Held next = std::move(held_.front());
  held_.pop_front();
  route({next.session, next.message, next.reply});
  return true;
}

void load_components(Manager& manager, const std::function<void(bool)>& done) {
  const auto loading = manager.components.load(manager.store, std::chrono::steady_clock::now() + step_time);
  if (loading == ComponentFile::Loading::more) {
    return asio::post(manager.loop, [&manager, done] { load_components(manager, done); });
  }
  const bool loaded = loading == ComponentFile::Loading::done;
  done(loaded);
  if (loaded) release_next(manager);
}

}  // namespace ox::manager
