// The account of a named pipe's client.
#pragma once

#include <windows.h>

#include "platform/server/peer.h"

namespace ox::platform {

// Known once something of the client has been read; without a user before that. Throws std::bad_alloc.
[[nodiscard]] Peer peer_of(HANDLE pipe);

}  // namespace ox::platform
