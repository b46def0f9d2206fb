#include "access/reports.h"

#include <array>
#include <utility>

#include "access/session.h"
#include "access/wire.h"

namespace ox {
namespace {

constinit std::array<ReportHandler, 32> handlers = [] {
  std::array<ReportHandler, 32> built_in{};
  built_in[command_asy_get] = on_get_report;
  built_in[command_asy_set] = on_set_report;
  built_in[command_application_data] = on_application_data;
  return built_in;
}();

NextFetch dispatch(MessagePtr report) {
  const std::uint32_t command = report->command;
  const ReportHandler handler = command < handlers.size() ? handlers[command] : nullptr;
  return handler != nullptr ? handler(std::move(report)) : NextFetch{};
}

OX_RESULT fetch(const NextFetch& next, MessagePtr& report) {
  Frame frame;
  if (const OX_RESULT result = frame.lay_out({.type = next.type, .reference = next.reference}, {})) return result;
  return session().exchange(frame, report);
}

// Tells when a report has come before, without keeping them all: it keeps the 1st, 2nd, 4th, ... and so sees every
// round of reports that repeats, at the latest in its second turn.
class Repetition {
 public:
  [[nodiscard]] bool seen(std::uint32_t receiver, std::uint32_t reference) noexcept {
    if (count_ != 0 && receiver == receiver_ && reference == reference_) return true;
    if (++count_ == next_kept_) {
      next_kept_ *= 2;
      receiver_ = receiver;
      reference_ = reference;
    }
    return false;
  }

 private:
  std::uint32_t count_ = 0;
  std::uint32_t next_kept_ = 1;
  std::uint32_t receiver_ = 0;
  std::uint32_t reference_ = 0;
};

}  // namespace

void set_report_handler(std::uint32_t command, ReportHandler handler) noexcept {
  if (command < handlers.size()) handlers[command] = handler;
}

void fetch_reports() {
  Repetition postponed;
  for (NextFetch next;;) {
    MessagePtr report;
    if (fetch(next, report) != OX_OK) {
      session().disconnect();
      return;
    }
    if (report->type == type_nothing_waits) return;
    const std::uint32_t receiver = report->destination_id;
    const std::uint32_t reference = report->reference;
    next = dispatch(std::move(report));
    if (next.postponed && postponed.seen(receiver, reference)) return;
  }
}

}  // namespace ox
