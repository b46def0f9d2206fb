// The AMIB paths of the manager's own attributes.
#pragma once

#include <cstdint>

#include "manager/base/oid.h"

namespace ox::manager {

// Of every component: the name by which it is found.
inline const Oid component_name_path{11, 1, 1, 0};

// Of a node: where and how its agent is asked.
inline const Oid node_address_path{11, 5, 1, 0};
inline const Oid node_port_path{11, 5, 2, 0};
inline const Oid node_read_community_path{11, 5, 3, 0};
inline const Oid node_write_community_path{11, 5, 4, 0};
inline const Oid node_snmp_version_path{11, 5, 5, 0};
inline const Oid node_timeout_path{11, 5, 6, 0};
inline const Oid node_retries_path{11, 5, 7, 0};
inline const Oid node_reachable_path{11, 5, 8, 0};
inline const Oid node_round_trip_path{11, 5, 9, 0};
// What the manager has learned of it; no attribute that anybody reads.
inline const Oid node_learned_path{11, 5, 102, 0};

// Of a log entry, "11.14.N.0".
enum class LogAttribute : std::uint32_t {
  title = 1,
  key = 2,
  id = 3,
  component = 4,
  names = 5,
  start = 6,
  interval = 7,
  rotate = 8,
  expire = 9,
  status = 10,
  active = 11,
  last_collected = 12,
  last_data_id = 13,
  reload = 14,
  failed = 15,
  schedule = 16,
  schedule_type = 17,
};
[[nodiscard]] inline Oid log_path(LogAttribute attribute) { return {11, 14, static_cast<std::uint32_t>(attribute), 0}; }

// Of a data entry, "11.15.N.0".
enum class DataAttribute : std::uint32_t {
  title = 1,
  key = 2,
  id = 3,
  start = 4,
  component = 5,
  names = 6,
  interval = 7,
  status = 8,
  local_time = 9,
  period = 10,
  period_start = 11,
  period_end = 12,
  size = 13,
  header = 14,
  values = 15,
};
[[nodiscard]] inline Oid data_path(DataAttribute attribute) {
  return {11, 15, static_cast<std::uint32_t>(attribute), 0};
}

// Why a collection fails, told to who asks for it.
inline const Oid collection_error_path{10, 6, 9, 0};

// Of a command entry, by the numbers of its attributes.
enum class CommandAttribute : std::uint32_t {
  command = 1,
  argument = 2,
  start_time = 3,
  interval = 4,
  admin_status = 5,
  oper_status = 6,
  id = 7,
  mode = 8,
  schedule = 10,
  invalid_command = 11,
  invalid_argument = 12,
  last_error = 13,
  next_start = 14,
  last_start = 15,
  last_exit_status = 16,
};
[[nodiscard]] inline Oid command_path(CommandAttribute attribute) {
  return {11, 23, static_cast<std::uint32_t>(attribute), 0};
}
// A column of its runs, from 1, below that and with the number of the run behind.
inline const Oid command_runs_path{11, 23, 17};

// The arguments of management requests, "10.7.N.0".
enum class ManagementArgument : std::uint32_t {
  type = 1,
  from_type = 2,
  to_type = 3,
  relation = 4,
  related = 7,
  name = 8,
  from_name = 9,
  to_name = 10,
  entry_name = 30,
  text = 31,  // a line of what the manager tells
};
[[nodiscard]] inline Oid argument_path(ManagementArgument argument) {
  return {10, 7, static_cast<std::uint32_t>(argument), 0};
}

// Management codes of the manager's own; those behind the first are without arguments.
inline constexpr std::uint32_t copy_data_code = 200;
inline constexpr std::uint32_t backup_code = 201;
inline constexpr std::uint32_t database_check_code = 202;

// What the manager counts: the numbers of "sysmib.oxTraps", from 1.
[[nodiscard]] inline Oid trap_figure_path(std::uint32_t number) { return {10, 100, number, 0}; }

// How it does: "sysmib.oxManager", its numbers from 1.
inline const Oid manager_figures_path{10, 103};
[[nodiscard]] inline Oid manager_figure_path(std::uint32_t number) { return {10, 103, number, 0}; }

// What its users have: "sysmib.oxClients", a column from 1, the number of the user from 1.
[[nodiscard]] inline Oid client_figure_path(std::uint32_t column, std::uint32_t user) {
  return {10, 104, column, user};
}

// What was not taken as an agent's answer: the numbers of "sysmib.oxAnswers", from 1.
[[nodiscard]] inline Oid answer_figure_path(std::uint32_t number) { return {10, 105, number, 0}; }

// What kinds of events have of the log: "sysmib.oxEventLog", a column from 1, the number of the kind from 1.
[[nodiscard]] inline Oid event_log_figure_path(std::uint32_t column, std::uint32_t kind) {
  return {10, 106, column, kind};
}

// What it finds wrong: the count and the texts of "sysmib.oxFaults", from 1.
inline const Oid fault_count_path{10, 101, 1, 0};
[[nodiscard]] inline Oid fault_text_path(std::uint32_t number) { return {10, 101, 2, number}; }

}  // namespace ox::manager
