#include "manager/traps/buckets.h"

#include <algorithm>

namespace ox::manager {
namespace {

constexpr double seconds_at_once = 100;
constexpr std::size_t most_senders = 65536;

}  // namespace

double TrapBuckets::used(const Bucket& bucket, std::uint32_t rate, Clock::time_point now) {
  return std::max(0.0, bucket.used - std::chrono::duration<double>(now - bucket.at).count() * rate);
}

bool TrapBuckets::has_room(Bucket& bucket, std::uint32_t rate, Clock::time_point now) {
  if (rate == 0) return true;
  bucket.used = used(bucket, rate, now);
  bucket.at = now;
  return bucket.used + 1 <= seconds_at_once * rate;
}

bool TrapBuckets::take(const asio::ip::address& sender, bool severe, Clock::time_point now) {
  Bucket& all = all_[severe ? 1 : 0];
  if (!has_room(all, of_all_, now)) return false;
  if (of_one_ != 0) {
    if (senders_.size() >= forget_at_) forget(now);
    if (senders_.size() >= most_senders && !senders_.contains(sender)) return false;
    Bucket& own = senders_[sender].buckets[severe ? 1 : 0];
    if (!has_room(own, of_one_, now)) return false;
    own.used += 1;
  }
  all.used += 1;
  return true;
}

// Those that have sent nothing for so long that it does not count any more.
void TrapBuckets::forget(Clock::time_point now) {
  std::erase_if(senders_, [&](const auto& entry) {
    return std::all_of(std::begin(entry.second.buckets), std::end(entry.second.buckets),
                       [&](const Bucket& bucket) { return used(bucket, of_one_, now) == 0; });
  });
  forget_at_ = std::min(most_senders, std::max<std::size_t>(1024, 2 * senders_.size()));
}

}  // namespace ox::manager
