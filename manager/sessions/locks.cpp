#include "manager/sessions/locks.h"

namespace ox::manager {
namespace {

constexpr std::uint32_t most_of_session = 10000;

}  // namespace

OX_RESULT Locks::lock(const ComponentName& component, bool shared, std::uint32_t session, std::uint32_t& id) {
  const auto held = holders_.find(component);
  if (held != holders_.end() && !(shared && held->second.shared)) return OX_EEXISTS;
  std::uint32_t& open = open_[session];
  if (open >= most_of_session) return OX_ETOOMANY;
  while (next_id_ == 0 || locks_.contains(next_id_)) ++next_id_;
  id = next_id_++;
  locks_.emplace(id, Lock{component, session});
  Holders& holders = holders_[component];
  holders.shared = shared;
  ++holders.count;
  ++open;
  return OX_OK;
}

void Locks::release(const ComponentName& component) {
  const auto held = holders_.find(component);
  if (held != holders_.end() && --held->second.count == 0) holders_.erase(held);
}

std::optional<std::uint32_t> Locks::unlock(std::uint32_t id, std::uint32_t asking,
                                           const std::function<bool(const ComponentName&)>& may_break) {
  const auto found = locks_.find(id);
  if (found == locks_.end()) return std::nullopt;
  const std::uint32_t session = found->second.session;
  if (session != asking && !may_break(found->second.component)) return std::nullopt;
  --open_[session];
  release(found->second.component);
  locks_.erase(found);
  return session;
}

void Locks::end_session(std::uint32_t session) {
  if (open_.erase(session) == 0) return;
  for (auto lock = locks_.begin(); lock != locks_.end();) {
    if (lock->second.session != session) {
      ++lock;
      continue;
    }
    release(lock->second.component);
    lock = locks_.erase(lock);
  }
}

}  // namespace ox::manager
