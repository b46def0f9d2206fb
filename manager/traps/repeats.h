// Traps that come again and again: the first is an event at once; those like it that follow within the window are
// counted, and told together when it is over. As long as they come, another window follows.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "manager/base/payload.h"
#include "manager/events/shares.h"

namespace ox::manager {

class TrapRepeats {
 public:
  using Clock = std::chrono::steady_clock;

  // At most `most_bytes` of keys and events are kept: what comes beyond that, or without memory, is never a repeat.
  TrapRepeats(std::chrono::seconds window, std::size_t most_bytes) : window_(window), most_bytes_(most_bytes) {}

  // What is known of the traps that are alike.
  struct Known {
    Bytes event;                   // the first one, encoded
    bool has_own_id = true;        // its identifier is its number, not a definition's
    bool listed = true;            // whether their events are logged
    Origin origin = 0;             // and on whose share
    std::uint32_t count = 0;       // repeats in this window
    std::uint32_t time_stamp = 0;  // of the last one
    std::uint32_t age = 0;
  };
  // Counts a trap like one before; false for a new one, which then opens a window. Equal traps have equal keys.
  [[nodiscard]] bool count(std::string_view key, std::uint32_t time_stamp);
  void open(std::string_view key, const Bytes& event, bool has_own_id, bool listed, Origin origin,
            Clock::time_point now);
  // The log has not taken some first events, or there are other definitions: what comes now is new.
  void forget() { ++age_; }

  [[nodiscard]] std::optional<Clock::time_point> next_end() const;
  struct Told {
    std::string key;
    Known known;
  };
  // A window that has ended by then and had repeats. Call again until there is none.
  [[nodiscard]] std::optional<Told> take(Clock::time_point now);

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
  };
  using Kinds = std::unordered_map<std::string, Known, Hash, std::equal_to<>>;
  void add(std::string_view key, Known known, Clock::time_point now);
  struct Window {
    Clock::time_point end;
    Kinds::pointer kind;
  };

  std::chrono::seconds window_;
  std::size_t most_bytes_;
  std::size_t bytes_ = 0;
  std::uint32_t age_ = 0;
  Kinds kinds_;
  std::deque<Window> windows_;  // in the order of their ends
};

}  // namespace ox::manager
