#include "access/reports.h"

#include <array>
#include <utility>

#include "access/session.h"
#include "access/wire.h"

namespace ox {
namespace {

constinit std::array<ReportHandler, 32> handlers{};

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

}  // namespace

void set_report_handler(std::uint32_t command, ReportHandler handler) noexcept {
  if (command < handlers.size()) handlers[command] = handler;
}

void fetch_reports() {
  for (NextFetch next;;) {
    MessagePtr report;
    if (fetch(next, report) != OX_OK) {
      session().disconnect();
      return;
    }
    if (report->type == type_nothing_waits) return;
    next = dispatch(std::move(report));
  }
}

}  // namespace ox
