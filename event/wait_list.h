// The open waits of a kind: a list that owns them. Looking up never touches what is not on it, so that a stale handle
// finds nothing.
#pragma once

#include <memory>

#include <oxbase/oxc.h>

#include "access/session.h"
#include "access/standing.h"
#include "event/evflt.h"

namespace ox::event {

// Wait is a tracked record with the queue links first, and with a member `filter` that it owns, perhaps `memory`, too.
template <class Wait>
struct WaitDelete {
  void operator()(Wait* wait) const noexcept {
    (void)oxeEvfltFree(wait->filter);
    if constexpr (requires { wait->memory; }) delete wait->memory;
    (void)oxcMemFree(wait);
  }
};
template <class Wait>
using wait_ptr = std::unique_ptr<Wait, WaitDelete<Wait>>;

// Null when memory runs out.
template <class Wait>
[[nodiscard]] wait_ptr<Wait> make_wait(const char* tag) noexcept {
  return wait_ptr<Wait>(make_tracked<Wait>(tag).release());
}

template <class Wait>
class WaitList {
 public:
  template <class Wanted>
  [[nodiscard]] Wait* find_if(Wanted wanted) const noexcept {
    Wait* wait = head_;
    while (wait != nullptr && !wanted(*wait)) wait = reinterpret_cast<Wait*>(wait->links.next);
    return wait;
  }
  [[nodiscard]] Wait* find(const void* handle) const noexcept {
    return find_if([handle](const Wait& wait) { return &wait == handle; });
  }

  template <class Use>
  void for_each(Use use) const {
    for (Wait* wait = head_; wait != nullptr; wait = reinterpret_cast<Wait*>(wait->links.next)) use(*wait);
  }
  // See visit_all in access/standing.h.
  template <class Visit>
  void visit(std::uint32_t& last_turn, Visit visit) {
    visit_all(head_, last_turn, visit);
  }

  Wait* add(wait_ptr<Wait> wait) noexcept {
    (void)oxcQueueAdd(&head_, wait.get());
    return wait.release();
  }
  [[nodiscard]] wait_ptr<Wait> take(Wait* open) noexcept {
    (void)oxcQueueDel(&head_, open);
    return wait_ptr<Wait>(open);
  }

  // Gives an open wait a copy of the filter. 0; 1 for a wait that is not on the list; 3; 5001.
  [[nodiscard]] OX_RESULT set_filter(const void* handle, const evflt* filter) const noexcept {
    if (const OX_RESULT result = session().check_thread()) return result;
    Wait* const wait = find(handle);
    if (wait == nullptr) return OX_EARG;
    evflt_ptr copy;
    if (const OX_RESULT result = copy_filter(filter, copy)) return result;
    (void)oxeEvfltFree(wait->filter);
    wait->filter = copy.release();
    return OX_OK;
  }

  // In a forked child: they are its parent's.
  void forget() noexcept { head_ = nullptr; }

 private:
  Wait* head_ = nullptr;
};

}  // namespace ox::event
