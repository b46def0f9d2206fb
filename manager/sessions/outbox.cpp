#include "manager/sessions/outbox.h"

namespace ox::manager {
namespace {

constexpr std::size_t report_overhead = 128;  // of a report beside its data

std::size_t cost(const Reply& report) { return report_overhead + report.data.size(); }

}  // namespace

Outbox::Outbox(std::function<void()> announce, std::size_t most_bytes, const std::uint32_t& most_of_user)
    : announce_(std::move(announce)), most_bytes_(most_bytes), most_of_user_(most_of_user) {}

void Outbox::ready(ReportSource& source) {
  if (!source.queued_) ready_.push_back(&source);
  source.queued_ = true;
  if (!announced_) announce_();
  announced_ = true;
}

void Outbox::leave(ReportSource& source) {
  if (std::exchange(source.queued_, false) && std::erase(ready_, &source) == 0) std::erase(held_, &source);
}

// Moving from list to list takes no memory: what has been taken must not get lost.
std::optional<Reply> Outbox::fetch() {
  while (!ready_.empty()) {
    ReportSource& source = *ready_.front();
    if (auto report = source.next_report()) {
      ready_.splice(ready_.end(), ready_, ready_.begin());
      return report;
    }
    if (source.held()) {
      held_.splice(held_.end(), ready_, ready_.begin());
      continue;
    }
    ready_.pop_front();
    source.queued_ = false;
  }
  announced_ = false;
  return {};
}

void Outbox::add(Reply report) {
  const std::size_t bytes = queue_.bytes + cost(report);
  const bool full = !queue_.reports.empty() && bytes > most_bytes_;
  if (full || !queue_.lost.empty() || !queue_.holding.hold(bytes, most_of_user_)) {
    queue_.began = queue_.began || queue_.lost.empty();
    const bool refusal = report.source_id == 0;
    Reply notice = error_reply(refusal ? report.error : reports_lost);
    notice.source_id = report.source_id;
    notice.report = report.report;
    queue_.lost.emplace(std::pair(report.source_id, report.report->destination_id), std::move(notice));
    return;
  }
  queue_.bytes = bytes;
  queue_.reports.push_back(std::move(report));
  ready(queue_);
}

void Outbox::forget(std::uint32_t request) {
  std::erase_if(queue_.lost, [&](const auto& notice) { return notice.first.first == request; });
  std::erase_if(queue_.reports, [&](const Reply& report) {
    if (report.source_id != request) return false;
    queue_.bytes -= cost(report);
    return true;
  });
  (void)queue_.holding.hold(queue_.bytes, most_of_user_);
}

std::optional<Reply> Outbox::Queue::next_report() {
  if (!reports.empty()) {
    Reply report = std::move(reports.front());
    reports.pop_front();
    bytes -= cost(report);
    (void)holding.hold(bytes, 0);
    return report;
  }
  if (lost.empty()) return {};
  return std::move(lost.extract(lost.begin()).mapped());
}

}  // namespace ox::manager
