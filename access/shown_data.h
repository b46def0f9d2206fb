// What the trace shows of a message's data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>

namespace ox {

// The payload of a request with stars in place of each value that can be set and never read, such as a community; also
// of one whose attribute the tree does not know.
[[nodiscard]] std::string shown_payload(std::uint32_t command, std::span<const unsigned char> payload);
// The data of a reply or report, without the communities of its events.
[[nodiscard]] std::string shown_answer(std::uint32_t command, std::span<const unsigned char> data);

// Calls `hide` with each community in an encoded list of events, as far as it reads.
using EventSecrets = void (*)(std::span<const unsigned char> events,
                              const std::function<void(std::span<const unsigned char>)>& hide);
// Who knows how events are encoded says so when the library is loaded; requests have those of sent events hidden, too.
bool know_event_secrets(EventSecrets find) noexcept;

}  // namespace ox
