#include "manager/base/settings.h"

#include <array>
#include <asio/ip/address.hpp>
#include <string_view>

#include "manager/base/entry_file.h"
#include "manager/base/paths.h"

namespace ox::manager {
namespace {

struct Number {
  std::string_view keyword;
  std::uint32_t Settings::*member;
  std::uint32_t least;
  std::uint32_t most;
  bool at_restart = false;  // what uses it has a copy
};
constexpr std::array numbers{
    Number{"MaxFrame", &Settings::max_frame, 66000, 1u << 30},
    Number{"MaxQueue", &Settings::max_queue, 1, 10000},
    Number{"MaxNodes", &Settings::max_nodes, 1, 10000000},
    Number{"MaxClients", &Settings::max_clients, 1, 1000000},
    Number{"UserClients", &Settings::user_clients, 1, 1000000},
    Number{"UserBytes", &Settings::user_bytes, 1u << 20, 0x7FFFFFFF},
    Number{"UserRegistrations", &Settings::user_registrations, 1, 10000000},
    Number{"UserRequests", &Settings::user_requests, 1, 1000000},
    Number{"MaxValues", &Settings::max_values, 1, 100000000},
    Number{"MaxValueBytes", &Settings::max_value_bytes, 1, 0x7FFFFFFF},
    Number{"MaxSeries", &Settings::max_series, 1, 10000000, true},
    Number{"MaxSeriesBytes", &Settings::max_series_bytes, 1024, 0xFFFFFFFF, true},
    Number{"MaxWaitNames", &Settings::max_wait_names, 1, 1000000},
    Number{"MessageTimeout", &Settings::message_timeout, 1, 3600},
    Number{"MaxData", &Settings::max_data, 1024, 0x7FFFFFFF, true},
    Number{"GreetingTimeout", &Settings::greeting_timeout, 1, 3600},
    Number{"SendTimeout", &Settings::send_timeout, 1, 3600},
    Number{"RequestTimeout", &Settings::request_timeout, 1, 86400},
    Number{"SnmpTimeout", &Settings::snmp_timeout, 10, 600000},
    Number{"SnmpRetries", &Settings::snmp_retries, 0, 100},
    Number{"SnmpBindings", &Settings::snmp_bindings, 1, 100},
    Number{"SnmpInFlight", &Settings::snmp_in_flight, 1, 100000, true},
    Number{"EventLogAge", &Settings::event_log_age, 1, 36500},
    Number{"EventLogSize", &Settings::event_log_size, 65536, 0x7FFFFFFF},
    Number{"EventLogTimeout", &Settings::event_log_timeout, 1, 86400},
    Number{"MaxReports", &Settings::max_reports, 1, 10000000},
    Number{"MaxReportBytes", &Settings::max_report_bytes, 4096, 1u << 30, true},
    Number{"PollInterval", &Settings::poll_interval, 1, 86400},
    Number{"TrapPort", &Settings::trap_port, 0, 65535, true},
    Number{"TrapBuffer", &Settings::trap_buffer, 4096, 1u << 30, true},
    Number{"TrapRepeatWindow", &Settings::trap_repeat_window, 0, 86400, true},
    Number{"TrapReportInterval", &Settings::trap_report_interval, 1, 86400},
    Number{"TrapSourceRate", &Settings::trap_source_rate, 0, 1000000, true},
    Number{"TrapRate", &Settings::trap_rate, 0, 1000000, true},
    Number{"ActionTimeout", &Settings::action_timeout, 1, 86400},
    Number{"TrapActions", &Settings::trap_actions, 0, 1000, true},
    Number{"CommandTimeout", &Settings::command_timeout, 1, 31'536'000},
    Number{"JobsAtOnce", &Settings::jobs_at_once, 1, 1000},
    Number{"DiskWarning", &Settings::disk_warning, 1, 101},
    Number{"DiskPause", &Settings::disk_pause, 1, 101},
    Number{"RunLedgerAge", &Settings::run_ledger_age, 1, 36500},
    Number{"RunLedgerRuns", &Settings::run_ledger_runs, 1, 1'000'000},
};

struct Text {
  std::string_view keyword;
  std::string Settings::*member;
  bool at_restart;
};
constexpr std::array texts{
    Text{"TrapAddress", &Settings::trap_address, true},
    Text{"CommandPath", &Settings::command_path, false},
    Text{"CommunityName", &Settings::community_name, true},
    Text{"SockPort", &Settings::sock_port, false},
};

struct {
  std::string_view keyword = "Durability";
  Durability Settings::*member = &Settings::durability;
  bool at_restart = true;
} constexpr durability;

// Empty when the entry is right.
std::string take(const Entry& entry, Settings& settings) {
  const std::string keyword = entry.keyword();
  if (entry.count() != 1) return keyword + " needs one value";
  if (keyword == durability.keyword) {
    const std::string_view value = entry.value(0);
    if (value != "process" && value != "power") return "Durability must be process or power";
    settings.durability = value == "power" ? Durability::power : Durability::process;
    return {};
  }
  if (keyword == "TrapAddress") {
    asio::error_code error;
    (void)asio::ip::make_address(entry.value(0), error);
    if (error) return "TrapAddress must be an IP address";
  }
  for (const Text& text : texts) {
    if (text.keyword != keyword) continue;
    settings.*text.member = entry.value(0);
    return {};
  }
  for (const Number& number : numbers) {
    if (number.keyword != keyword) continue;
    std::uint32_t value = 0;
    if (oxcStrToUlong(entry.value(0), 10, &value) != OX_OK || value < number.least || value > number.most) {
      return keyword + " must be a number from " + std::to_string(number.least) + " to " + std::to_string(number.most);
    }
    settings.*number.member = value;
    return {};
  }
  return "unknown setting " + keyword;
}

template <class Row>
void take_over(const Row& row, const Settings& fresh, Settings& running, Changes& changes) {
  if (fresh.*row.member == running.*row.member) return;
  std::string& names = row.at_restart ? changes.at_restart : changes.at_once;
  names += (names.empty() ? "" : ", ") + std::string(row.keyword);
  if (!row.at_restart) running.*row.member = fresh.*row.member;
}

}  // namespace

std::string settings_file() { return join(oxcGetWorkdir(), "conf", "oxmgrd.cf"); }

bool read_settings(const std::string& file, Settings& settings, const FaultSink& faults) {
  return read_entries(file, faults, [&](const Entry& entry) { return take(entry, settings); });
}

Changes take_over(const Settings& fresh, Settings& running) {
  Changes changes;
  for (const Number& number : numbers) take_over(number, fresh, running, changes);
  for (const Text& text : texts) take_over(text, fresh, running, changes);
  take_over(durability, fresh, running, changes);
  return changes;
}

}  // namespace ox::manager
