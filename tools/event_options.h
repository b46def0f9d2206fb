// Events and filters from options of the command line.
#pragma once

#include <list>
#include <memory>
#include <optional>
#include <string>

#include "tools/cli.h"

namespace tool {

struct FreeEvents {
  void operator()(evmsg* list) const noexcept { (void)oxeEvmsgFree(list); }
};
using EventPtr = std::unique_ptr<evmsg, FreeEvents>;
struct FreeFilter {
  void operator()(evflt* filter) const noexcept { (void)oxeEvfltFree(filter); }
};
using FilterPtr = std::unique_ptr<evflt, FreeFilter>;

// An option's value: a text, or a number.
struct Given {
  std::size_t row = 0;
  std::string text;
  std::optional<uint32_t> number;
};

// The fields of an event to be sent.
class EventFields {
 public:
  void add_to(CLI::App& command);
  [[nodiscard]] EventPtr make() const;

 private:
  std::list<Given> given_;
  std::string component_;
};

// The criteria of a filter.
class EventCriteria {
 public:
  void add_to(CLI::App& command);
  void add_limits_to(CLI::App& command);
  [[nodiscard]] FilterPtr make() const;

 private:
  void add(CLI::App& command, bool limits);
  std::list<Given> given_;
};

}  // namespace tool
