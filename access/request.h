// What all requests do: lay a message out, send it, wait for the one reply.
#pragma once

#include <initializer_list>

#include <oxbase/oxa.h>

#include "access/message.h"
#include "access/wire.h"

namespace ox {

// 0 and the reply, whatever error it carries; 14; 266; 3; 71; 17 and the transport's errors.
[[nodiscard]] OX_RESULT exchange(const RequestHeader& header, std::initializer_list<PayloadPart> payload,
                                 MessagePtr& reply);

// What synchronous and asynchronous requests of a kind have in common: the checks and the payload. 14; the codes of
// Frame::lay_out; 70 for a null component or AMIB name; 109; 266 for a list of 65536 encoded bytes or more.
[[nodiscard]] OX_RESULT lay_out_get(Frame& frame, const RequestHeader& header, const char* component,
                                    const char* amib_name, const oxaSelection* selection, std::uint32_t options,
                                    std::uint32_t limit);
[[nodiscard]] OX_RESULT lay_out_set(Frame& frame, const RequestHeader& header, std::uint32_t first,
                                    std::uint32_t second, const dnode* list);

// The reply's data as a list, null when it has none. 0, 71, 3.
[[nodiscard]] OX_RESULT decode_reply(const Message& reply, dnode*& list);

}  // namespace ox
