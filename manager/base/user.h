// An account of this machine that has clients here: what they hold together, and what they were refused.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

namespace ox::manager {

class User {
 public:
  // What is counted of a user; the limits stand in the settings.
  struct Holdings {
    std::uint64_t connections = 0;
    std::uint64_t bytes = 0;          // of messages that have begun, of requests and answers, of reports
    std::uint64_t registrations = 0;  // watches, waits and their names, locks, senders of events
    std::uint64_t requests = 0;       // that are being answered
    std::uint64_t refused = 0;        // of all requests, for want of a role or for having too much already
  };

  explicit User(std::string name, std::uint32_t mark = 0) : name_(std::move(name)), mark_(mark) {}

  [[nodiscard]] const std::string& name() const { return name_; }
  // What files know the account by, a checksum of what the system calls it; 0 for one that no file is to know.
  [[nodiscard]] std::uint32_t mark() const { return mark_; }

  // Counts a refusal and logs it: one line a second at the most, the others are counted in the next.
  void refused(const std::string& what, const std::string& why);

  Holdings holds{};

 private:
  std::string name_;
  std::uint32_t mark_;
  std::chrono::steady_clock::time_point silent_until_{};
  std::uint64_t unsaid_ = 0;
};

// Bytes that one thing holds on its user's account, counted by pages: what is small and short costs no counting.
class Holding {
 public:
  Holding() = default;
  Holding(const Holding&) = delete;
  Holding& operator=(const Holding&) = delete;
  ~Holding() { (void)hold(0, 0); }

  void set_user(std::shared_ptr<User> user) { user_ = std::move(user); }
  // From now on that many. False, with all as it was, when the user would hold more than `most` with them.
  [[nodiscard]] bool hold(std::size_t bytes, std::uint64_t most) {
    const std::size_t pages = bytes / page;
    if (pages == pages_ || !user_) return true;
    std::uint64_t& all = user_->holds.bytes;
    if (pages > pages_ && all + (pages - pages_) * page > most) return false;
    all = all + pages * page - pages_ * page;
    pages_ = pages;
    return true;
  }

 private:
  static constexpr std::size_t page = 4096;

  std::shared_ptr<User> user_;
  std::size_t pages_ = 0;
};

}  // namespace ox::manager
