// A forked child holds a copy of what the library had in the parent, but none of its threads. Where processes are not
// forked, these calls do nothing.
#pragma once

#include <mutex>

namespace ox::platform {

// Runs in every forked child, alone, before the fork returns there: forgets what is the parent's. It only writes to
// memory. Named when the library is loaded, at most 16 in all.
using Forget = void (*)() noexcept;
bool in_forked_child(Forget forget) noexcept;

// A fork waits until nobody holds the lock, so that the child finds it free and what it guards whole; at most for a
// second, for one whose holder is stuck. The lock lives as long as the process. At most 16 in all.
bool free_in_forked_child(std::mutex& lock) noexcept;

}  // namespace ox::platform
