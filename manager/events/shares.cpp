#include "manager/events/shares.h"

#include <algorithm>
#include <numeric>

#include "manager/base/checksum.h"

namespace ox::manager {
namespace {

constexpr Sequence gone_bit = Sequence{1} << 63;
constexpr std::size_t least_sweep = 64;

struct Claim {
  std::uint64_t bytes = 0;
  std::uint64_t weight = 1;
};

// What each may keep so that all keep no more than the limit: who claims no more than his share, by weight, keeps all
// of it, and what he leaves of it is the others'.
std::vector<std::uint64_t> share_out(std::uint64_t limit, std::span<const Claim> claims) {
  std::vector<std::size_t> order(claims.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    return claims[a].bytes * claims[b].weight < claims[b].bytes * claims[a].weight;
  });
  std::uint64_t weights = 0;
  for (const Claim& claim : claims) weights += claim.weight;
  std::vector<std::uint64_t> kept(claims.size());
  for (const std::size_t i : order) {
    kept[i] = std::min(claims[i].bytes, limit * claims[i].weight / weights);
    limit -= kept[i];
    weights -= claims[i].weight;
  }
  return kept;
}

}  // namespace

Origin origin_of(EventKind kind, std::span<const std::byte> whose) {
  const std::uint32_t hash = whose.empty() ? 0 : crc32(whose) & 0xFFFF;
  return static_cast<std::uint32_t>(kind) << 16 | hash;
}

std::vector<Sequence>::iterator EventShares::Events::find(Sequence sequence) noexcept {
  return std::lower_bound(places_.begin(), places_.end(), sequence,
                          [](Sequence place, Sequence wanted) { return (place & ~gone_bit) < wanted; });
}

void EventShares::Events::put(Sequence sequence) {
  if (places_.empty() || sequence > (places_.back() & ~gone_bit)) return places_.push_back(sequence);
  const auto place = find(sequence);
  const auto index = static_cast<std::size_t>(place - places_.begin());
  if ((*place & ~gone_bit) != sequence) {
    places_.insert(place, sequence);
  } else if ((*place & gone_bit) != 0) {
    *place = sequence;
    --gone_;
  }
  first_ = std::min(first_, index);
}

bool EventShares::Events::mark_gone(Sequence sequence) noexcept {
  const auto place = find(sequence);
  if (place == places_.end() || *place != sequence) return false;
  *place |= gone_bit;
  ++gone_;
  return true;
}

std::optional<Sequence> EventShares::Events::oldest() noexcept {
  while (first_ < places_.size() && (places_[first_] & gone_bit) != 0) ++first_;
  return first_ < places_.size() ? std::optional(places_[first_]) : std::nullopt;
}

void EventShares::Events::sweep() noexcept {
  if (gone_ < least_sweep || gone_ < places_.size() / 2) return;
  std::erase_if(places_, [](Sequence place) { return (place & gone_bit) != 0; });
  gone_ = first_ = 0;
}

void EventShares::change(const Change& made) {
  if (changes_.size() == changes_.capacity()) changes_.reserve(2 * changes_.size() + 16);
  if (made.what == Change::added) {
    enter(made);
  } else if (!take_out(made)) {
    return;
  }
  changes_.push_back(made);
}

void EventShares::enter(const Change& made) {
  Events& events = origins_[made.origin];
  events.put(made.sequence);
  events.bytes += made.bytes;
  kinds_[kind_of(made.origin)].bytes += made.bytes;
}

// False for one that is not known: a page of the files did not read.
bool EventShares::take_out(const Change& made) noexcept {
  const auto found = origins_.find(made.origin);
  if (found == origins_.end() || !found->second.mark_gone(made.sequence)) return false;
  found->second.bytes -= made.bytes;
  kinds_[kind_of(made.origin)].bytes -= made.bytes;
  return true;
}

void EventShares::commit() noexcept {
  for (const Change& made : changes_) {
    if (made.what == Change::added) continue;
    if (made.what == Change::dropped) ++kinds_[kind_of(made.origin)].dropped;
    const auto found = origins_.find(made.origin);
    if (found == origins_.end()) continue;
    found->second.sweep();
    if (!found->second.empty()) continue;
    kinds_[kind_of(made.origin)].bytes -= found->second.bytes;  // of rows that the files have lost
    origins_.erase(found);
  }
  changes_.clear();
}

// What has been removed is still marked: entering it takes no memory.
void EventShares::take_back() noexcept {
  for (auto made = changes_.rbegin(); made != changes_.rend(); ++made) {
    if (made->what == Change::added) {
      (void)take_out(*made);
    } else {
      enter(*made);
    }
  }
  changes_.clear();
}

std::uint64_t EventShares::bytes() const {
  std::uint64_t all = 0;
  for (const Kind& kind : kinds_) all += kind.bytes;
  return all;
}

void EventShares::plan(std::uint64_t limit) {
  give_way_.clear();
  std::vector<Claim> claims;
  for (std::size_t kind = 0; kind < kinds_.size(); ++kind) {
    claims.push_back({kinds_[kind].bytes, event_shares[kind].percent});
  }
  const auto kept = share_out(limit, claims);
  for (std::size_t kind = 0; kind < kinds_.size(); ++kind) {
    kinds_[kind].limit = kept[kind];
    if (kept[kind] < kinds_[kind].bytes) plan(kind, kept[kind]);
  }
}

// The largest at the end; of several the oldest.
void EventShares::plan(std::size_t kind, std::uint64_t limit) {
  std::vector<GivesWay> all;
  std::vector<Claim> claims;
  for (auto& [origin, events] : origins_) {
    if (kind_of(origin) != kind) continue;
    all.push_back({origin, 0, events.bytes, events.oldest().value_or(0)});
    claims.push_back({events.bytes});
  }
  const auto kept = share_out(limit, claims);
  for (std::size_t i = 0; i < all.size(); ++i) all[i].limit = kept[i];
  std::erase_if(all, [](const GivesWay& one) { return one.limit == one.bytes; });
  std::sort(all.begin(), all.end(), [](const GivesWay& a, const GivesWay& b) {
    return a.bytes != b.bytes ? a.bytes < b.bytes : a.oldest > b.oldest;
  });
  give_way_.insert(give_way_.end(), all.begin(), all.end());
}

std::optional<EventShares::Place> EventShares::next() {
  for (; !give_way_.empty(); give_way_.pop_back()) {
    const GivesWay& last = give_way_.back();
    const Kind& kind = kinds_[kind_of(last.origin)];
    const auto found = origins_.find(last.origin);
    if (found == origins_.end() || found->second.bytes <= last.limit || kind.bytes <= kind.limit) continue;
    if (const auto sequence = found->second.oldest()) return Place{last.origin, *sequence};
  }
  return {};
}

}  // namespace ox::manager
