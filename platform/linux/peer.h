// The credentials of a connected socket's other end.
#pragma once

#include "platform/server/peer.h"

namespace ox::platform {

// Without a user when the system does not tell. Throws std::bad_alloc.
[[nodiscard]] Peer peer_of(int socket);

}  // namespace ox::platform
