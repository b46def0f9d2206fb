#include "access/reports.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "access/session.h"
#include "access/turn.h"
#include "access/wire.h"
#include "common/trace.h"
#include "platform/fork.h"

namespace ox {
namespace {

constexpr std::uint32_t type_withdrawn = 0x10000;  // of a kept report: refused, with nobody told. None that travels

constinit std::array<ReportHandler, 32> handlers = [] {
  std::array<ReportHandler, 32> built_in{};
  built_in[command_asy_get] = on_get_report;
  built_in[command_asy_set] = on_set_report;
  built_in[command_application_data] = on_application_data;
  return built_in;
}();

// What one handler throws costs its report alone: the loops around it go on.
NextFetch dispatch(MessagePtr report) noexcept {
  if (report->type == type_withdrawn) return {.type = type_fetch_refused, .reference = report->reference};
  const std::uint32_t command = report->command;
  const ReportHandler handler = command < handlers.size() ? handlers[command] : nullptr;
  NextFetch next;
  if (handler == nullptr) return next;
  (void)guarded([&]() -> OX_RESULT {
    next = handler(std::move(report));
    return OX_OK;
  });
  return next;
}

OX_RESULT fetch(const NextFetch& next, MessagePtr& report) {
  Frame frame;
  if (const OX_RESULT result = frame.lay_out({.type = next.type, .reference = next.reference}, {})) return result;
  return session().exchange(frame, report);
}

// The reports that have been fetched and not handled, in their order. Application data are of one connection: to that
// they are answered, and to the next one they come again.
class Kept {
 public:
  [[nodiscard]] bool empty() const noexcept { return first_ == nullptr; }
  void add(MessagePtr report) noexcept {
    drop_stale();
    (void)oxcQueueAdd(&first_, report.release());
  }
  // Null when there is none.
  [[nodiscard]] MessagePtr take() noexcept {
    drop_stale();
    return empty() ? nullptr : take(first_);
  }
  // The next of those that belong to no connection.
  [[nodiscard]] MessagePtr take_lasting() noexcept {
    drop_stale();
    Message* found = nullptr;
    visit([&](Message* report) {
      if (found == nullptr && !is_application_data(*report)) found = report;
    });
    return found == nullptr ? nullptr : take(found);
  }
  template <class Unwanted>
  void drop(Unwanted unwanted) noexcept {
    visit([&](Message* report) {
      if (unwanted(*report)) (void)take(report);
    });
  }
  template <class Visit>
  void visit(Visit visit) noexcept {
    for (Message* report = first_; report != nullptr;) {
      visit(std::exchange(report, reinterpret_cast<Message*>(report->links.next)));
    }
  }

 private:
  static bool is_application_data(const Message& report) noexcept { return report.command == command_application_data; }
  MessagePtr take(Message* report) noexcept {
    (void)oxcQueueDel(&first_, report);
    return MessagePtr(report);
  }
  void drop_stale() noexcept {
    const bool same = std::exchange(connection_, session().connection()) == session().connection();
    if (!same || !session().connected()) drop(is_application_data);
  }

  Message* first_ = nullptr;
  std::uint32_t connection_ = 0;
};

constinit Kept kept;
[[maybe_unused]] const bool follows_forks = platform::in_forked_child([]() noexcept { kept = Kept(); });

// The reports that were postponed: at most one of each receiver, since the manager waits for the answer to one before
// it sends the next.
class Postponed {
 public:
  // Notes it; true when it has been noted before, or cannot be.
  [[nodiscard]] bool again(std::uint32_t receiver, std::uint32_t reference) {
    const std::pair report(receiver, reference);
    if (std::find(reports_.begin(), reports_.end(), report) != reports_.end()) return true;
    return guarded([&]() -> OX_RESULT {
             reports_.push_back(report);
             return OX_OK;
           }) != OX_OK;
  }

 private:
  std::vector<std::pair<std::uint32_t, std::uint32_t>> reports_;
};

class FetchLoop {
 public:
  FetchLoop() noexcept : turn_(Turn::current(nullptr)) {}
  ~FetchLoop() {
    (void)Turn::current(turn_);
    session().go_on(!kept.empty());
  }
  FetchLoop(const FetchLoop&) = delete;
  FetchLoop& operator=(const FetchLoop&) = delete;

  void run() {
    while (has_report() && may_begin()) handle(kept.take());
  }
  void run_if_needed() {
    run();
    if (!begun_ && !failed_ && turn_ != nullptr) turn_->found_nothing();
  }

 private:
  // What an answer or a postponement says goes out at once, and brings the next report; else a kept one comes first.
  bool has_report() {
    if (ended_) return false;
    const NextFetch next = std::exchange(next_, {});
    if (next.type == type_fetch && !next.postponed && !kept.empty()) return true;
    MessagePtr report;
    if (fetch(next, report) != OX_OK) {
      failed_ = true;
      session().disconnect();
      return false;
    }
    if (report->type != type_nothing_waits) kept.add(std::move(report));
    return !kept.empty();
  }
  [[nodiscard]] bool may_begin() const noexcept { return turn_ == nullptr || turn_->may_begin(); }
  void handle(MessagePtr report) {
    if (report == nullptr) return;  // it was of an earlier connection
    begun_ = true;
    if (turn_ != nullptr) turn_->begin();
    const std::uint32_t connection = session().connection();
    session().go_on(true);  // a callback that pumps fetches what the manager does not announce before the end
    const std::uint32_t receiver = report->destination_id;
    const std::uint32_t reference = report->reference;
    next_ = dispatch(std::move(report));
    // A callback has opened another connection: that announces its own, and has nothing to do with this answer.
    ended_ = session().connection() != connection || (next_.postponed && postponed_.again(receiver, reference));
  }

  Turn* turn_;
  NextFetch next_;
  Postponed postponed_;
  bool begun_ = false;
  bool failed_ = false;
  bool ended_ = false;
};

}  // namespace

void set_report_handler(std::uint32_t command, ReportHandler handler) noexcept {
  if (command < handlers.size()) handlers[command] = handler;
}

void fetch_reports() { FetchLoop().run(); }

void go_on_fetching() { FetchLoop().run_if_needed(); }

void finish_reports() {
  while (MessagePtr report = kept.take_lasting()) (void)dispatch(std::move(report));
}

void drop_reports(std::uint32_t command, std::uint32_t receiver) noexcept {
  const auto is_theirs = [&](const Message& report) {
    return report.command == command && report.destination_id == receiver;
  };
  if (command != command_application_data) return kept.drop(is_theirs);
  kept.visit([&](Message* report) {
    if (is_theirs(*report)) report->type = type_withdrawn;
  });
}

void forget_reports() noexcept {
  kept.drop([](const Message&) { return true; });
}

}  // namespace ox
