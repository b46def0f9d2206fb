#include "manager/traps/repeat_events.h"

#include <chrono>
#include <limits>
#include <new>
#include <string>
#include <utility>

#include "manager/traps/event.h"
#include "manager/traps/guarded.h"

namespace ox::manager {
namespace {

constexpr std::size_t most_repeat_bytes = 16u << 20;
constexpr std::size_t most_told = 64;  // in one turn

}  // namespace

RepeatEvents::RepeatEvents(asio::io_context& loop, const Settings& settings, EventLog& events, TrapBooks& books,
                           TrapLosses& losses)
    : settings_(settings),
      events_(events),
      books_(books),
      losses_(losses),
      repeats_(std::chrono::seconds(settings.trap_repeat_window), most_repeat_bytes),
      timer_(loop) {}

void RepeatEvents::tell_later() {
  const auto end = repeats_.next_end();
  if (!end || due_) return;
  timer_.expires_at(*end);
  timer_.async_wait([this](const asio::error_code& error) {
    if (error) return;
    due_ = false;
    guarded([this] { tell(most_told, TrapRepeats::Clock::now()); });
    guarded([this] { tell_later(); });
  });
  due_ = true;
}

void RepeatEvents::tell_all() {
  const auto every = TrapRepeats::Clock::now() + std::chrono::seconds(settings_.trap_repeat_window + 1);
  tell(std::numeric_limits<std::size_t>::max(), every);
}

void RepeatEvents::tell(std::size_t most, TrapRepeats::Clock::time_point now) {
  for (std::size_t told = 0; told < most; ++told) {
    const auto repeats = repeats_.take(now);
    if (!repeats) return;
    try {
      tell(*repeats);
    } catch (const std::bad_alloc&) {
      books_.repeats -= repeats->known.count;
      books_.without_memory += repeats->known.count;
      losses_.tell_later();
    }
  }
}

void RepeatEvents::tell(const TrapRepeats::Told& repeats) {
  const auto& known = repeats.known;
  EventPtr event;
  if (decode_events(known.event, event) != OX_OK) throw std::bad_alloc();
  const std::string summary = text_of(event.get(), &oxeEvmsgGetOptMsg) + " (repeated " + std::to_string(known.count) +
                              (known.count == 1 ? " time" : " times") + " in " +
                              std::to_string(settings_.trap_repeat_window) + " s)";
  require(oxeEvmsgSetOptMsg(event.get(), summary.c_str()));
  require(oxeEvmsgSetRefEventId(event.get(), number_of(event.get(), &oxeEvmsgGetEventId)));
  if (known.has_own_id) (void)oxeEvmsgClrEventId(event.get());
  (void)oxeEvmsgClrOccurTime(event.get());
  (void)oxeEvmsgClrRecoverTime(event.get());
  require(oxeEvmsgSetSnmpTimeStamp(event.get(), known.time_stamp));
  const auto done = [this, count = known.count](OX_RESULT result, const Bytes&) {
    if (result == OX_OK) return;
    books_.repeats -= count;
    books_.unlogged += count;
    guarded([this] { losses_.tell_later(); });
  };
  (void)events_.submit(std::move(event), own_name, known.origin, done, known.listed);
}

}  // namespace ox::manager
