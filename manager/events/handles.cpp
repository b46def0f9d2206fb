#include "manager/events/handles.h"

#include <utility>

namespace ox::manager {
namespace {

constexpr std::uint32_t most_of_session = 1000;

}  // namespace

OX_RESULT EventHandles::open(std::uint32_t session, std::string sender, std::uint32_t& handle) {
  if (open_[session] >= most_of_session) return OX_ETOOMANY;
  do {
    ++last_;
  } while (last_ == 0 || handles_.contains(last_));
  handle = last_;
  handles_.emplace(handle, Handle{session, std::move(sender)});
  ++open_[session];
  return OX_OK;
}

const std::string* EventHandles::sender(std::uint32_t handle, std::uint32_t session) const {
  const auto found = handles_.find(handle);
  return found != handles_.end() && found->second.session == session ? &found->second.sender : nullptr;
}

bool EventHandles::close(std::uint32_t handle, std::uint32_t session) {
  if (sender(handle, session) == nullptr) return false;
  handles_.erase(handle);
  --open_[session];
  return true;
}

void EventHandles::end_session(std::uint32_t session) {
  if (open_.erase(session) == 0) return;
  std::erase_if(handles_, [&](const auto& entry) { return entry.second.session == session; });
}

}  // namespace ox::manager
