// How many events the traps of one sender, and of all, may become: so that a flood of one costs the others nothing.
#pragma once

#include <asio/ip/address.hpp>
#include <chrono>
#include <cstdint>
#include <map>

namespace ox::manager {

class TrapBuckets {
 public:
  using Clock = std::chrono::steady_clock;

  // Events a second, of one and of all; 0: any number. A hundred seconds' worth may come at once.
  TrapBuckets(std::uint32_t of_one, std::uint32_t of_all) : of_one_(of_one), of_all_(of_all) {}

  // Takes one from the sender's bucket and from everybody's. What is severe is counted apart from what is not, so that
  // the one cannot use up the other. False when there is none.
  [[nodiscard]] bool take(const asio::ip::address& sender, bool severe, Clock::time_point now);

 private:
  struct Bucket {
    double used = 0;
    Clock::time_point at{};
  };
  [[nodiscard]] static double used(const Bucket& bucket, std::uint32_t rate, Clock::time_point now);
  [[nodiscard]] static bool has_room(Bucket& bucket, std::uint32_t rate, Clock::time_point now);
  void forget(Clock::time_point now);

  std::uint32_t of_one_;
  std::uint32_t of_all_;
  struct Sender {
    Bucket buckets[2];
  };
  Bucket all_[2];
  std::map<asio::ip::address, Sender> senders_;  // those whose buckets are not full
  std::size_t forget_at_ = 1024;
};

}  // namespace ox::manager
