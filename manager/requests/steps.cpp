#include "manager/requests/steps.h"

#include <asio/post.hpp>
#include <memory>
#include <new>
#include <vector>

#include "manager/base/later.h"
#include "manager/requests/manager.h"
#include "manager/requests/router.h"

namespace ox::manager {
namespace {

// One in a turn: what they ask for may take its time.
void route_next(Manager& manager) {
  if (manager.held.reasons() != 0) return;
  if (!manager.held.next([&manager](const Request& request) { route(manager, request); })) return;
  asio::post(manager.loop, [&manager] { route_next(manager); });
}

void go_on(Manager& manager) {
  manager.held.hold(HeldRequests::components, false);
  route_next(manager);
}

// Works on in turns of the loop, from now on, until it is done; a step that finds no memory comes again. What follows
// happens once. While the components' database is away no step comes further.
template <class Work, class Follow>
void in_steps(Manager& manager, const Work& work, const Follow& follow) {
  bool done = false;
  try {
    const Pace::Step step(manager.pace);
    done = work(step.until());
  } catch (const std::bad_alloc&) {
  }
  if (done) return follow();
  const auto next = [&manager, work, follow] { in_steps(manager, work, follow); };
  manager.components.is_away() ? later(manager.loop, look_again, next) : asio::post(manager.loop, next);
}

void clear_away(Manager& manager) {
  in_steps(
      manager, [&manager](Pace::Clock::time_point until) { return manager.components.clear_away(until); }, [] {});
}

// Before a renewal who looks at the files of all databases is asked to stop: where somebody reads a file, it cannot be
// put aside.
void work_beside(Manager& manager, Database& database, HeldRequests::Reason why) {
  const auto waiting = [&manager, why](bool away) {
    manager.held.hold(why, away);
    if (away) return;
    if (why == HeldRequests::collected) manager.streams.go_on();
    route_next(manager);
  };
  database.work_beside(manager.loop, waiting, [&manager] { manager.upkeep.break_off(); });
}

void work_beside_databases(Manager& manager) {
  work_beside(manager, manager.components.database(), HeldRequests::components_database);
  work_beside(manager, manager.events.store().database(), HeldRequests::events);
  work_beside(manager, manager.collected_file.database(), HeldRequests::collected);
  work_beside(manager, manager.run_ledger.database(), HeldRequests::runs);
}

// The last one first.
void tell_loaded(Manager& manager, const std::function<void()>& done) {
  const auto kept = std::make_shared<std::vector<ComponentName>>(manager.entries.kept(manager.store));
  const auto tell = [&manager, kept](Pace::Clock::time_point until) {
    for (; !kept->empty() && Pace::Clock::now() < until; kept->pop_back()) {
      manager.entries.tell(kept->back(), EntryChanges::What::loaded);
    }
    return kept->empty();
  };
  in_steps(manager, tell, done);
}

}  // namespace

void HeldRequests::add(const Request& request) {
  held_.push_back({request.session, request.message, request.reply, request.rights});
}

void HeldRequests::end_session(std::uint32_t session) {
  std::erase_if(held_, [&](const Held& held) { return held.session == session; });
}

bool HeldRequests::next(const std::function<void(const Request&)>& route) {
  if (held_.empty()) return false;
  const Held next = std::move(held_.front());
  held_.pop_front();
  route({next.session, next.message, next.reply, next.rights});
  return true;
}

void load_components(Manager& manager, const std::function<void(bool)>& done) {
  work_beside_databases(manager);
  const auto loaded = std::make_shared<bool>(false);
  const auto load = [&manager, loaded](Pace::Clock::time_point until) {
    const auto loading = manager.components.load(manager.store, until);
    *loaded = loading == ComponentFile::Loading::done;
    return loading != ComponentFile::Loading::more;
  };
  in_steps(manager, load, [&manager, loaded, done] {
    if (!*loaded) return done(false);
    tell_loaded(manager, [&manager, done] {
      done(true);
      go_on(manager);
      clear_away(manager);
    });
  });
}

void remove_component(Manager& manager, const ComponentName& name, const std::function<void(OX_RESULT)>& done) {
  if (const OX_RESULT result = manager.components.begin_removal(manager.store, name)) return done(result);
  manager.entries.tell(name, EntryChanges::What::removed);
  manager.held.hold(HeldRequests::components, true);
  const auto remove = [&manager, name](Pace::Clock::time_point until) {
    return manager.components.remove_on(manager.store, name, until);
  };
  in_steps(manager, remove, [&manager, name, done] {
    manager.held.hold(HeldRequests::components, false);
    const Change removed{.kind = Change::Kind::remove, .component = name};
    manager.subscriptions.changed(std::span(&removed, 1));
    done(OX_OK);
    route_next(manager);
  });
}

}  // namespace ox::manager
