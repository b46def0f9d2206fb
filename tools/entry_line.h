// What the command lines of tools for entries of one kind have in common.
#pragma once

#include <string>

#include "tools/rows.h"

namespace tool {

// Whom a subcommand asks, for what, and how the answer is shown.
struct Call {
  const char* manager = nullptr;
  std::string name;
  Form form = Form::table;
};

struct EntryLine {
  std::string manager;
  std::string name;
  FormOptions form;

  [[nodiscard]] Call call() const { return {manager.empty() ? nullptr : manager.c_str(), name, form.form()}; }
};

}  // namespace tool
