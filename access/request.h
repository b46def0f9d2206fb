// What all requests do: lay a message out, send it, wait for the one reply.
#pragma once

#include <initializer_list>

#include <oxbase/oxd.h>

#include "access/message.h"
#include "access/wire.h"

namespace ox {

// 0 and the reply, whatever error it carries; 14; 266; 3; 71; 17 and the transport's errors.
[[nodiscard]] OX_RESULT exchange(const RequestHeader& header, std::initializer_list<PayloadPart> payload,
                                 MessagePtr& reply);

// The reply's data as a list, null when it has none. 0, 71, 3.
[[nodiscard]] OX_RESULT decode_reply(const Message& reply, dnode*& list);

}  // namespace ox
