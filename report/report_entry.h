// Reports as the manager keeps them, and their types.
#pragma once

#include <string>
#include <vector>

#include "report/definition.h"
#include "tools/entries.h"

namespace report {

extern const tool::Family report_family;
extern const tool::Family type_family;

struct Report {
  std::string name;
  std::string title;
  std::string type;
  std::string log_entry;
  std::string period;
  std::vector<std::string> parameters;
  std::string folder;
  std::string state;      // "1" started, "2" stopped
  std::string last_page;  // as ISO 8601 has it

  [[nodiscard]] std::string component() const { return "repEnt:" + name; }
};

// Both throw Failure, of one that is not there with the next step.
[[nodiscard]] Report read_report(const char* manager, const std::string& name);
[[nodiscard]] std::vector<Line> read_type(const char* manager, const std::string& name);

// The definition of a registered type. Throws std::runtime_error with its first fault.
[[nodiscard]] Definition definition_of(const char* manager, const std::string& type);

// The folder of a report's files. Throws std::runtime_error for one that leads out of where reports lie.
[[nodiscard]] std::string folder_of(const Report& report);

}  // namespace report
