// Attributes of rules that the daemon reads and writes.
#pragma once

namespace expert {

inline constexpr char rule_type[] = "ruleEnt";
inline constexpr char name_path[] = "11.1.1.0";
inline constexpr char all_paths[] = "11.13";

inline constexpr char admin_path[] = "11.13.7.0";
inline constexpr char oper_path[] = "11.13.8.0";
inline constexpr char error_path[] = "11.13.9.0";
inline constexpr char request_path[] = "11.13.10.0";
inline constexpr char output_path[] = "11.13.12.0";   // the last lines of the last run
inline constexpr char end_path[] = "11.13.13.0";      // why it ended
inline constexpr char process_path[] = "11.13.14.0";  // the process that runs, 0: none
inline constexpr char starts_path[] = "11.13.15.0";   // how often it was started since the daemon was

}  // namespace expert
