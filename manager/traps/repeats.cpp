#include "manager/traps/repeats.h"

#include <new>
#include <utility>

namespace ox::manager {
namespace {

constexpr std::size_t overhead = 128;  // of a kind beside its key

}  // namespace

bool TrapRepeats::count(std::string_view key, std::uint32_t time_stamp) {
  const auto kind = kinds_.find(key);
  if (kind == kinds_.end() || kind->second.age != age_) return false;
  ++kind->second.count;
  kind->second.time_stamp = time_stamp;
  return true;
}

void TrapRepeats::open(std::string_view key, std::uint32_t first, bool listed, Clock::time_point now) {
  const auto known = kinds_.find(key);
  if (known != kinds_.end()) {
    known->second.first = first;
    known->second.age = age_;
    return;
  }
  if (bytes_ + key.size() + overhead > most_bytes_) return;
  try {
    windows_.push_back({now + window_, nullptr});
    windows_.back().kind =
        &*kinds_.emplace(std::string(key), Known{.first = first, .listed = listed, .age = age_}).first;
    bytes_ += key.size() + overhead;
  } catch (const std::bad_alloc&) {
    if (!windows_.empty() && windows_.back().kind == nullptr) windows_.pop_back();
  }
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
    bytes_ -= key.size() + overhead;
    kinds_.erase(kinds_.find(key));
  }
  return {};
}

}  // namespace ox::manager
