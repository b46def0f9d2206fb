#include "manager/traps/repeats.h"

#include <new>
#include <utility>

namespace ox::manager {
namespace {

constexpr std::size_t overhead = 192;  // of a kind beside its key and its event

std::size_t size_of(std::string_view key, const Bytes& event) { return key.size() + event.size() + overhead; }

}  // namespace

bool TrapRepeats::count(std::string_view key, std::uint32_t time_stamp) {
  const auto kind = kinds_.find(key);
  if (kind == kinds_.end() || kind->second.age != age_) return false;
  ++kind->second.count;
  kind->second.time_stamp = time_stamp;
  return true;
}

// What was counted of a known one is told with the new event.
void TrapRepeats::open(std::string_view key, const Bytes& event, bool has_own_id, bool listed, Origin origin,
                       Clock::time_point now) {
  try {
    Known fresh{.event = event, .has_own_id = has_own_id, .listed = listed, .origin = origin, .age = age_};
    const auto known = kinds_.find(key);
    if (known == kinds_.end()) return add(key, std::move(fresh), now);
    fresh.count = known->second.count;
    fresh.time_stamp = known->second.time_stamp;
    bytes_ += fresh.event.size() - known->second.event.size();
    known->second = std::move(fresh);
  } catch (const std::bad_alloc&) {
    if (!windows_.empty() && windows_.back().kind == nullptr) windows_.pop_back();
  }
}

void TrapRepeats::add(std::string_view key, Known known, Clock::time_point now) {
  const std::size_t size = size_of(key, known.event);
  if (bytes_ + size > most_bytes_) return;
  windows_.push_back({now + window_, nullptr});
  windows_.back().kind = &*kinds_.emplace(std::string(key), std::move(known)).first;
  bytes_ += size;
}

std::optional<TrapRepeats::Clock::time_point> TrapRepeats::next_end() const {
  return windows_.empty() ? std::nullopt : std::optional(windows_.front().end);
}

std::optional<TrapRepeats::Told> TrapRepeats::take(Clock::time_point now) {
  while (!windows_.empty() && windows_.front().end <= now) {
    const Window window = windows_.front();
    auto& [key, known] = *window.kind;
    if (known.count != 0) {
      Told told{key, known};
      windows_.push_back({now + window_, window.kind});
      windows_.pop_front();
      known.count = 0;
      return told;
    }
    windows_.pop_front();
    bytes_ -= size_of(key, known.event);
    kinds_.erase(kinds_.find(key));
  }
  return {};
}

}  // namespace ox::manager
