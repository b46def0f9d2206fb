// Rules: their records, and what is written of them.
#pragma once

#include <oxbase/oxr.h>

#include "common/trace.h"
#include "entries/record.h"

namespace ox::entries {

inline constexpr char rule_type[] = "ruleEnt";
inline constexpr std::uint32_t rule_seconds = 20;  // the time-out of requests about rules, where they have one

inline constexpr char rule_admin_path[] = "11.13.7.0";
inline constexpr char rule_oper_path[] = "11.13.8.0";
inline constexpr char rule_error_path[] = "11.13.9.0";
inline constexpr char rule_schedule_path[] = "11.13.11.0";

// Values of OperStatus.
inline constexpr std::uint32_t rule_idle = 0;
inline constexpr std::uint32_t rule_running = 1;
inline constexpr std::uint32_t rule_waiting = 2;

// Writes a text. 0; 1 for a null name or path; 59; 3; the errors of oxaSet.
[[nodiscard]] OX_RESULT write_rule(const char* manager, const char* name, const char* path, const char* text);

// Writes a status, and puts it into the record. As write_rule().
[[nodiscard]] OX_RESULT write_admin_status(const char* manager, oxrRule* rule, std::uint32_t status);
[[nodiscard]] OX_RESULT write_oper_status(const char* manager, oxrRule* rule, std::uint32_t status);

// Takes a record out of the table of programs.
void forget_rule(const oxrRule& rule) noexcept;

}  // namespace ox::entries

// The lines of the family's calls.
#define OX_RULE_START(name, format, ...) \
  OX_TRACE(::ox::trace::rules, "<S:" name "(" format ")>\n" __VA_OPT__(, ) __VA_ARGS__)
#define OX_RULE_CALL(name, ...) ::ox::traced_as(::ox::trace::rules, "<E:" name "[%ld]>\n", __VA_ARGS__)
