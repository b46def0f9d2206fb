#include "access/reports.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

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

// The reports that were postponed: at most one of each receiver, since the manager waits for the answer to one before
// it sends the next.
class Postponed {
 public:
  // Notes it; true when it has been noted before.
  [[nodiscard]] bool again(std::uint32_t receiver, std::uint32_t reference) {
    const std::pair report(receiver, reference);
    if (std::find(reports_.begin(), reports_.end(), report) != reports_.end()) return true;
    reports_.push_back(report);
    return false;
  }

 private:
  std::vector<std::pair<std::uint32_t, std::uint32_t>> reports_;
};

}  // namespace

void set_report_handler(std::uint32_t command, ReportHandler handler) noexcept {
  if (command < handlers.size()) handlers[command] = handler;
}

void fetch_reports() {
  Postponed postponed;
  const std::uint32_t connection = session().connection();
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
    if (session().connection() != connection) return;  // a callback has opened another, which announces its own
    if (next.postponed && postponed.again(receiver, reference)) return;
  }
}

}  // namespace ox
