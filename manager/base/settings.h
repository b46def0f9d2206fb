// The daemon's settings: "oxmgrd.cf" in the work directory's "conf" (docs/files.md).
#pragma once

#include <cstdint>
#include <string>

#include "manager/base/durability.h"
#include "manager/base/faults.h"

namespace ox::manager {

struct Settings {
  std::uint32_t max_frame = 1u << 20;  // bytes of a request's data part
  std::uint32_t max_queue = 16;        // requests of one client waiting to be answered
  std::uint32_t max_nodes = 100000;    // data nodes of one answer
  std::uint32_t max_clients = 4000;
  std::uint32_t user_clients = 1000;          // connections of one user
  std::uint32_t user_bytes = 64u << 20;       // that the messages, answers and reports of one user take
  std::uint32_t user_registrations = 20000;   // watches, waits, locks and senders of one user
  std::uint32_t user_requests = 500;          // of one user, being answered at once
  std::uint32_t max_values = 5000000;         // components and values that are stored
  std::uint32_t max_value_bytes = 1u << 30;   // of them
  std::uint32_t max_series = 10000;           // files of collected data that applications append to
  std::uint32_t max_series_bytes = 1u << 30;  // of them
  std::uint32_t max_wait_names = 10000;       // of persistent waits, open or not
  std::uint32_t message_timeout = 30;         // seconds from a message's first byte to its last
  std::uint32_t max_data = 64u << 20;         // bytes of one file of collected data
  std::uint32_t greeting_timeout = 10;        // seconds
  std::uint32_t send_timeout = 30;            // seconds that a client may leave an answer unread
  std::uint32_t request_timeout = 300;        // seconds, for requests without a limit of their own
  std::uint32_t snmp_timeout = 1000;          // milliseconds
  std::uint32_t snmp_retries = 3;             // after the first attempt
  std::uint32_t snmp_bindings = 16;           // variable bindings of one SNMP request
  std::uint32_t snmp_in_flight = 256;         // SNMP requests waiting for their answers
  std::uint32_t event_log_age = 90;           // days that events are kept
  std::uint32_t event_log_size = 256u << 20;  // bytes of all events kept
  std::uint32_t event_log_timeout = 120;      // seconds for a search of them, until its client has the answer
  Durability durability = Durability::process;
  std::uint32_t max_reports = 100000;         // events that a wait may be behind
  std::uint32_t max_report_bytes = 1u << 20;  // of the values that one client has not fetched
  std::uint32_t poll_interval = 60;           // seconds between two looks at watched values of agents
  std::uint32_t trap_port = 0;                // 0: no traps are received
  std::string trap_address = "0.0.0.0";       // of this machine, where they are received; 0.0.0.0 or :: for all
  std::uint32_t trap_buffer = 8u << 20;       // bytes of traps that the system holds while the manager is busy
  std::uint32_t trap_repeat_window = 5;       // seconds in which the same trap is counted as a repeat; 0: never
  std::uint32_t trap_report_interval = 10;    // seconds between two events about traps that were lost
  std::uint32_t trap_source_rate = 100;       // events a second that the traps of one sender may become; 0: any number
  std::uint32_t trap_rate = 1000;             // of all senders
  std::uint32_t action_timeout = 60;          // seconds that an action may run
  std::uint32_t trap_actions = 8;             // actions of trap definitions that run at once
  std::uint32_t command_timeout = 3600;       // seconds that a command of an entry may run
  std::uint32_t jobs_at_once = 16;            // commands of entries that run at once
  std::uint32_t disk_warning = 90;            // per cent of the disk of collected data, when an event tells of it
  std::uint32_t disk_pause = 97;              // when collection pauses
  std::string command_path;              // folders of their programs, with ";" between them; empty: the installation's
  std::uint32_t run_ledger_age = 90;     // days that what became of due times is kept
  std::uint32_t run_ledger_runs = 1000;  // of each entry, at the most
  std::string community_name;            // these two are the library's, which reads them itself
  std::string sock_port;
};

[[nodiscard]] std::string settings_file();
// Reads the file; a missing one leaves the defaults. False, with every fault reported, when a line is wrong; the
// setting keeps its default then.
[[nodiscard]] bool read_settings(const std::string& file, Settings& settings, const FaultSink& faults);

// Settings that differ, by their names, joined by commas.
struct Changes {
  std::string at_once;
  std::string at_restart;
};
// Takes from `fresh` what takes effect while the manager runs, and names all that differs.
[[nodiscard]] Changes take_over(const Settings& fresh, Settings& running);

}  // namespace ox::manager
