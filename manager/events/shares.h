// Whose the events of the log are, and what each has of its room: so that a flood of one pushes out nobody else's.
//
// Every kind of events has a share of the room; what one leaves of its share the others may fill until it is wanted
// back. Within a kind those who have the most give way first, with their oldest events.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace ox::manager {

// Numbers events in their order, from 1 on, for the whole life of an installation.
using Sequence = std::uint64_t;

// A severe one, of severity 3 or more, follows its like.
enum class EventKind : std::uint8_t { trap, severe_trap, sent, severe_sent, own };
struct EventShare {
  std::string_view name;
  std::uint32_t percent;  // of the log
};
inline constexpr std::array<EventShare, 5> event_shares{{
    {"traps", 30},
    {"severe traps", 20},
    {"sent", 20},
    {"severe sent", 20},
    {"of the manager", 10},
}};
inline constexpr std::uint32_t severe_level = 3;

// The kind of an event, and behind it whose it is: 16 bits of a checksum of his address or account. 0 are traps of
// somebody unknown.
using Origin = std::uint32_t;
[[nodiscard]] Origin origin_of(EventKind kind, std::span<const std::byte> whose = {});
inline constexpr Origin own_origin = static_cast<Origin>(EventKind::own) << 16;
[[nodiscard]] inline std::size_t kind_of(Origin origin) { return origin >> 16; }
[[nodiscard]] inline Origin severe(Origin origin) { return origin + (1u << 16); }

class EventShares {
 public:
  // What changes is gathered until it is safe. An event that cannot be added for want of memory changes nothing.
  void add(Origin origin, Sequence sequence, std::uint64_t bytes) { change({origin, sequence, bytes, Change::added}); }
  void remove(Origin origin, Sequence sequence, std::uint64_t bytes, bool dropped = false) {
    change({origin, sequence, bytes, dropped ? Change::dropped : Change::removed});
  }
  void commit() noexcept;
  void take_back() noexcept;

  [[nodiscard]] std::uint64_t bytes() const;
  [[nodiscard]] std::uint64_t bytes(std::size_t kind) const { return kinds_[kind].bytes; }
  [[nodiscard]] std::uint64_t dropped(std::size_t kind) const { return kinds_[kind].dropped; }  // for want of room

  // Chooses who has to give way so that all have no more than `limit` bytes.
  void plan(std::uint64_t limit);
  struct Place {
    Origin origin = 0;
    Sequence sequence = 0;
  };
  // The next event that has to go, until it is removed; nothing when all of them are gone.
  [[nodiscard]] std::optional<Place> next();

 private:
  // The events of one origin, in order. Those that are gone are marked, and swept out together.
  class Events {
   public:
    std::uint64_t bytes = 0;

    void put(Sequence sequence);
    [[nodiscard]] bool mark_gone(Sequence sequence) noexcept;
    [[nodiscard]] std::optional<Sequence> oldest() noexcept;
    void sweep() noexcept;
    [[nodiscard]] bool empty() const { return gone_ == places_.size(); }

   private:
    [[nodiscard]] std::vector<Sequence>::iterator find(Sequence sequence) noexcept;
    std::vector<Sequence> places_;
    std::size_t gone_ = 0;
    std::size_t first_ = 0;  // those before it are gone
  };
  struct Kind {
    std::uint64_t bytes = 0;
    std::uint64_t dropped = 0;
    std::uint64_t limit = 0;  // of the plan
  };
  struct Change {
    Origin origin;
    Sequence sequence;
    std::uint64_t bytes;
    enum : std::uint8_t { added, removed, dropped } what;
  };
  struct GivesWay {
    Origin origin;
    std::uint64_t limit;
    std::uint64_t bytes;
    Sequence oldest;
  };
  void change(const Change& made);
  void enter(const Change& made);
  [[nodiscard]] bool take_out(const Change& made) noexcept;
  void plan(std::size_t kind, std::uint64_t limit);

  std::unordered_map<Origin, Events> origins_;
  std::array<Kind, event_shares.size()> kinds_{};
  std::vector<Change> changes_;     // that are not safe yet
  std::vector<GivesWay> give_way_;  // the next one at the end
};

}  // namespace ox::manager
