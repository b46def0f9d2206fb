// What became of the datagrams that reached the trap port.
#pragma once

#include <cstdint>
#include <string>

namespace ox::manager {

// received = events + repeats + malformed + without_memory + unlogged + unwanted + limited + of_version_3, as soon as
// the log has answered for all events.
struct TrapBooks {
  std::uint64_t received = 0;
  std::uint64_t events = 0;          // became an event of its own
  std::uint64_t repeats = 0;         // counted in an event about repeats
  std::uint64_t malformed = 0;       // no trap and no inform
  std::uint64_t without_memory = 0;  // dropped for want of memory
  std::uint64_t unlogged = 0;        // the log did not take the event
  std::uint64_t overflowed = 0;      // dropped by the system before they were received: the socket's buffer was full
  std::uint64_t unwanted = 0;        // of senders or with communities that traps.cf does not take
  std::uint64_t limited = 0;         // more events than one sender, or all, may cause
  std::uint64_t of_version_3 = 0;    // which is not supported
  std::uint64_t idle_actions = 0;    // actions of events that were not run

  [[nodiscard]] std::uint64_t lost() const {
    return malformed + without_memory + unlogged + unwanted + limited + of_version_3 + overflowed + idle_actions;
  }
};

// "3 lost because the socket's buffer was full, 1 malformed": what was lost since earlier books.
[[nodiscard]] std::string losses_text(const TrapBooks& now, const TrapBooks& before);
// Everything, on one line.
[[nodiscard]] std::string books_text(const TrapBooks& books);

}  // namespace ox::manager
