#include "manager/traps/books.h"

#include <array>

namespace ox::manager {
namespace {

struct Loss {
  std::uint64_t TrapBooks::*count;
  const char* text;
};
constexpr std::array losses{
    Loss{&TrapBooks::overflowed, " lost because the socket's buffer was full"},
    Loss{&TrapBooks::malformed, " malformed"},
    Loss{&TrapBooks::without_memory, " dropped for want of memory"},
    Loss{&TrapBooks::unlogged, " not taken by the event log"},
    Loss{&TrapBooks::unwanted, " not taken, by traps.cf"},
    Loss{&TrapBooks::limited, " more than TrapSourceRate or TrapRate allow"},
    Loss{&TrapBooks::of_version_3, " of version 3, which is not supported"},
    Loss{&TrapBooks::idle_actions, " actions not run"},
};

}  // namespace

std::string losses_text(const TrapBooks& now, const TrapBooks& before) {
  std::string text;
  for (const Loss& loss : losses) {
    const std::uint64_t count = now.*loss.count - before.*loss.count;
    if (count != 0) text += (text.empty() ? "" : ", ") + std::to_string(count) + loss.text;
  }
  return text;
}

std::string books_text(const TrapBooks& books) {
  std::string text = std::to_string(books.received) + " received: " + std::to_string(books.events) + " events, " +
                     std::to_string(books.repeats) + " repeats";
  if (books.lost() != 0) text += ", " + losses_text(books, {});
  return text;
}

}  // namespace ox::manager
