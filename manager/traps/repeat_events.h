// The events about traps that came again, each when its window is over.
#pragma once

#include <asio/steady_timer.hpp>
#include <cstdint>
#include <string_view>

#include "manager/base/settings.h"
#include "manager/events/log.h"
#include "manager/traps/books.h"
#include "manager/traps/losses.h"
#include "manager/traps/repeats.h"

namespace ox::manager {

class RepeatEvents {
 public:
  RepeatEvents(asio::io_context& loop, const Settings& settings, EventLog& events, TrapBooks& books,
               TrapLosses& losses);

  // Whether the settings want any counted.
  [[nodiscard]] bool wanted() const { return settings_.trap_repeat_window != 0; }
  // Counts a trap like one before; false for a new one.
  [[nodiscard]] bool count(std::string_view key, std::uint32_t time_stamp) { return repeats_.count(key, time_stamp); }
  // A new one has got its event.
  void open(std::string_view key, const Bytes& event, bool has_own_id, bool listed, Origin origin) {
    repeats_.open(key, event, has_own_id, listed, origin, TrapRepeats::Clock::now());
  }
  void forget() { repeats_.forget(); }

  void tell_later();
  // At the end: whatever its window.
  void tell_all();

 private:
  void tell(std::size_t most, TrapRepeats::Clock::time_point now);
  void tell(const TrapRepeats::Told& repeats);

  const Settings& settings_;
  EventLog& events_;
  TrapBooks& books_;
  TrapLosses& losses_;
  TrapRepeats repeats_;
  asio::steady_timer timer_;
  bool due_ = false;
};

}  // namespace ox::manager
