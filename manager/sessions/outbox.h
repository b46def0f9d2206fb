// What one client has to fetch: its sources of reports in turn, and the announcement that there is something.
//
// Announced once, until the client has been told that nothing waits: it fetches until then. A source that is held has
// something that may not go out now; it costs no look and is not announced until it is released.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "manager/sessions/request.h"

namespace ox::manager {

// The error of a report that tells that reports have been lost.
inline constexpr std::uint32_t reports_lost = OX_ETOOMANY;

class ReportSource {
 public:
  ReportSource() = default;
  ReportSource(const ReportSource&) = delete;
  ReportSource& operator=(const ReportSource&) = delete;
  virtual ~ReportSource() = default;
  // Nothing when there is none for now.
  [[nodiscard]] virtual std::optional<Reply> next_report() = 0;
  // Nothing for now, but for an answer that the client owes.
  [[nodiscard]] virtual bool held() const { return false; }

 private:
  friend class Outbox;
  bool queued_ = false;
};

class Outbox {
 public:
  // `most_of_user` are the bytes that all clients of the user may hold.
  Outbox(std::function<void()> announce, std::size_t most_bytes, const std::uint32_t& most_of_user);
  // On whose account it is.
  void set_user(std::shared_ptr<User> user) { queue_.holding.set_user(std::move(user)); }

  // Some source may have a report. Announced once until the client has fetched everything.
  void ready(ReportSource& source);
  void leave(ReportSource& source);
  // The client has given an answer that it owed: what was held has its turn again, in the fetch that brought it.
  void release() noexcept { ready_.splice(ready_.end(), held_); }
  // The next report of the sources in turn.
  [[nodiscard]] std::optional<Reply> fetch();

  // Queues a report of an asynchronous request. When the client has left too many unfetched, the report is dropped, and
  // the request is told so by a report when the client comes back.
  void add(Reply report);
  void forget(std::uint32_t request);  // drops the reports of a request
  [[nodiscard]] std::size_t bytes() const { return queue_.bytes; }
  // Whether reports are being lost; says so once each time it begins.
  [[nodiscard]] bool overflows() const { return !queue_.lost.empty(); }
  [[nodiscard]] bool began_to_overflow() { return std::exchange(queue_.began, false); }

 private:
  struct Queue final : ReportSource {
    std::optional<Reply> next_report() override;
    std::deque<Reply> reports;
    std::size_t bytes = 0;
    Holding holding;
    // What is told in place of lost reports, by the manager's and the client's number of the request. One that was
    // refused has none of the manager's, and its refusal is told as it is.
    std::map<std::pair<std::uint32_t, std::uint32_t>, Reply> lost;
    bool began = false;
  };

  std::function<void()> announce_;
  std::size_t most_bytes_;
  const std::uint32_t& most_of_user_;
  std::list<ReportSource*> ready_;
  std::list<ReportSource*> held_;
  bool announced_ = false;
  Queue queue_;
};

}  // namespace ox::manager
