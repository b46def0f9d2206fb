#include "manager/requests/steps.h"

#include <asio/post.hpp>
#include <chrono>
#include <memory>
#include <vector>

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

using Names = std::shared_ptr<std::vector<ComponentName>>;

// The last one first.
void tell_loaded(Manager& manager, const Names& names, const std::function<void()>& done) {
  const auto end = step_end();
  while (!names->empty()) {
    manager.entries.tell(names->back(), EntryChanges::What::loaded);
    names->pop_back();
    if (std::chrono::steady_clock::now() < end) continue;
    return asio::post(manager.loop, [&manager, names, done] { tell_loaded(manager, names, done); });
  }
  done();
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
  if (loading == ComponentFile::Loading::failed) return done(false);
  const Names kept = std::make_shared<std::vector<ComponentName>>(manager.entries.kept(manager.store));
  tell_loaded(manager, kept, [&manager, done] {
    done(true);
    go_on(manager);
    clear_away(manager);
  });
}

void remove_component(Manager& manager, const ComponentName& name, const std::function<void(OX_RESULT)>& done) {
  if (const OX_RESULT result = manager.components.begin_removal(manager.store, name)) return done(result);
  manager.entries.tell(name, EntryChanges::What::removed);
  manager.held.hold(true);
  remove_on(manager, name, done);
}

}  // namespace ox::manager
