// Who may open the named objects that a process makes.
#pragma once

namespace ox::platform {

enum class Access {
  machine,  // every local process of the system: blocks of the tree, the trace control block
  daemon,   // the daemon's account: a session's notification event
  group,    // members of the system's user group
};

}  // namespace ox::platform
