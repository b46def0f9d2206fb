#include "manager/requests/steps.h"

#include <asio/post.hpp>
#include <chrono>

#include "manager/requests/manager.h"
#include "manager/requests/router.h"

namespace ox::manager {
namespace {

// Of a step, for which everybody waits.
std::chrono::steady_clock::time_point step_end() {
  return std::chrono::steady_clock::now() + std::chrono::milliseconds(10);
}

// One in a turn: what they ask for may take its time.
void route_next(Manager& manager) {
  if (manager.held.holding()) return;
  if (!manager.held.next([&manager](const Request& request) { route(manager, request); })) return;
  asio::post(manager.loop, [&manager] { route_next(manager); });
}

void go_on(Manager& manager) {
  manager.held.hold(false);
  route_next(manager);
}

void clear_away(Manager& manager) {
  if (manager.components.clear_away(step_end())) return;
  asio::post(manager.loop, [&manager] { clear_away(manager); });
}

void remove_on(Manager& manager, const ComponentName& name, const std::function<void(OX_RESULT)>& done) {
  if (!manager.components.remove_on(manager.store, name, step_end())) {
    return asio::post(manager.loop, [&manager, name, done] { remove_on(manager, name, done); });
  }
  const Change removed{.kind = Change::Kind::remove, .component = name};
  manager.subscriptions.changed(std::span(&removed, 1));
  done(OX_OK);
  go_on(manager);
}

}  // namespace

void HeldRequests::add(const Request& request) { held_.push_back({request.session, request.message, request.reply}); }

void HeldRequests::end_session(std::uint32_t session) {
  std::erase_if(held_, [&](const Held& held) { return held.session == session; });
}

bool HeldRequests::next(const std::function<void(const Request&)>& route) {
  if (held_.empty()) return false;
  const Held next = std::move(held_.front());
  held_.pop_front();
  route({next.session, next.message, next.reply});
  return true;
}

void load_components(Manager& manager, const std::function<void(bool)>& done) {
  const auto loading = manager.components.load(manager.store, step_end());
  if (loading == ComponentFile::Loading::more) {
    return asio::post(manager.loop, [&manager, done] { load_components(manager, done); });
  }
  const bool loaded = loading == ComponentFile::Loading::done;
  done(loaded);
  if (!loaded) return;
  go_on(manager);
  clear_away(manager);
}

void remove_component(Manager& manager, const ComponentName& name, const std::function<void(OX_RESULT)>& done) {
  if (const OX_RESULT result = manager.components.begin_removal(manager.store, name)) return done(result);
  manager.held.hold(true);
  remove_on(manager, name, done);
}

}  // namespace ox::manager
