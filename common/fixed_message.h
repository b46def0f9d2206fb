// The few texts that do not come from the message file, in the language of the system and the
// installation's code page.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace ox {

enum class FixedMessage {
  capacity,  // memory shortage
  system,    // text: the failing call, number: its error
  no_file,   // text: the message file, in the next two as well
  too_big,
  attribute,
  no_group,  // number: the error
  no_home,
  no_authorization,  // the text of result code 5, whatever the file says
  platform_error,    // number: the error; follows the text of result code 259
};
inline constexpr std::size_t fixed_messages = 9;

// The message with its places filled in. Throws std::bad_alloc.
[[nodiscard]] std::string fixed_message(FixedMessage message, std::string_view text = {}, std::uint32_t number = 0);

// The message of memory shortage, where there is none to convert it with: in English where it would have to be.
[[nodiscard]] const char* shortage_text() noexcept;

}  // namespace ox
