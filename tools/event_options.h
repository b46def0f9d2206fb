// Events and filters from options of the command line.
#pragma once

#include <list>
#include <optional>
#include <string>

#include "tools/library.h"

namespace tool {

class Command;

using EventPtr = Owner<evmsg, oxeEvmsgFree>;
using FilterPtr = Owner<evflt, oxeEvfltFree>;

// An option's value: a text, or a number.
struct Given {
  std::size_t row = 0;
  std::string text;
  std::optional<uint32_t> number;
};

// The fields of an event to be sent.
class EventFields {
 public:
  void add_to(Command& command);
  [[nodiscard]] EventPtr make() const;

 private:
  std::list<Given> given_;
  std::string component_;
};

// The criteria of a filter.
class EventCriteria {
 public:
  void add_to(Command& command);
  void add_limits_to(Command& command);
  [[nodiscard]] FilterPtr make() const;

 private:
  void add(Command& command, bool limits);
  std::list<Given> given_;
};

}  // namespace tool
