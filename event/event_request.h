// Requests about events: a code, a session, numbers and bytes.
#pragma once

#include <oxbase/oxe.h>

#include "access/message.h"
#include "access/wire.h"

namespace ox::event {

// Sends it and waits for the reply. 0; the reply's error; the codes of exchange().
[[nodiscard]] OX_RESULT request(const RequestHeader& header, std::initializer_list<PayloadPart> body,
                                MessagePtr& reply);

}  // namespace ox::event
