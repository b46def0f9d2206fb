// What the process has standing at the manager beyond one exchange, its open requests and waits: told when the
// connection is lost, and registered again with the next one.
//
// Whoever is to be told something carries it as a notice until the session's thread dispatches. Telling needs no memory
// and no list of its own, and holds whatever the callbacks do: close, open, dispatch, open the session anew.
#pragma once

#include <cstdint>

#include <oxbase/oxc.h>

namespace ox {

// One kind of them. `lose` gives all the notice 17; `tell` tells the notices, each once.
struct Standing {
  void (*lose)() noexcept;
  void (*tell)();
  // Registers all again, under the names that they have in messages. 0, also when the manager refuses some: a report
  // or a notice says so; else what ended the connection.
  OX_RESULT (*register_again)();
};

// Asynchronous requests are known from the start; the waits of the floor above are named here before the first opens.
void set_standing_waits(const Standing& waits) noexcept;

void lose_standing() noexcept;
void tell_standing();
[[nodiscard]] OX_RESULT register_standing_again();

// Calls `visit` for each record of a list, its turn numbered: it goes to the end of the list first. Those that are
// added meanwhile, their turn the last one, are not visited; those that a visit within a visit has seen, not again.
template <class Record, class Visit>
void visit_all(Record*& head, std::uint32_t& last_turn, Visit visit) {
  const std::uint32_t turn = ++last_turn;
  while (head != nullptr && head->turn < turn) {
    Record* const record = head;
    (void)oxcQueueDel(&head, record);
    (void)oxcQueueAdd(&head, record);
    record->turn = turn;
    visit(*record);
  }
}

}  // namespace ox
