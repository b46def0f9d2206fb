// Rules: made, shown, started, stopped; and what their programs print.
#pragma once

#include <string>
#include <vector>

#include "tools/entries.h"
#include "tools/entry_line.h"

namespace tool {

class Command;

extern const Family rule_family;

struct NewRule {
  std::string program;
  std::vector<std::string> words;  // its arguments
  std::string name, target = "-", schedule, component;
  std::uint32_t interval = 60, level = 1;
  bool stopped = false;
  void add_to(Command& command);
};

// All return the exit code.
int create_rule(const Call& call, const NewRule& wanted);
int list_rules(const Call& call);
int show_rule(const Call& call);
int set_rule(const Call& call, bool runs);
int delete_rule(const Call& call);
// The last lines of its last run, and why that ended.
int show_rule_log(const Call& call);

}  // namespace tool
