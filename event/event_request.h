// Requests about events: a code, a session, numbers and bytes.
#pragma once

#include <oxbase/oxe.h>

#include "access/message.h"
#include "access/wire.h"

namespace ox::event {

inline constexpr std::uint32_t code_open = 10;
inline constexpr std::uint32_t code_close = 11;
inline constexpr std::uint32_t code_send = 12;
inline constexpr std::uint32_t code_cancel = 13;
inline constexpr std::uint32_t code_log_get = 15;
inline constexpr std::uint32_t code_log_check = 16;
inline constexpr std::uint32_t code_log_uncheck = 17;
inline constexpr std::uint32_t code_log_delete = 18;
inline constexpr std::uint32_t code_log_modify = 19;
inline constexpr std::uint32_t code_wait_open = command_application_data;  // also of its reports
inline constexpr std::uint32_t code_wait_close = 26;

// Sends it and waits for the reply. 0; the reply's error; the codes of exchange().
[[nodiscard]] OX_RESULT request(const RequestHeader& header, std::initializer_list<PayloadPart> body,
                                MessagePtr& reply);

}  // namespace ox::event
