// Reading the values of components, stored ones and those of agents, as gets and watches name them.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "manager/base/node_list.h"
#include "manager/snmp/value_tools.h"

namespace ox::manager {

// A value that is counted and kept nowhere.
struct Figure {
  Oid path;
  std::variant<std::uint64_t, std::string> value;  // Counter64, DisplayString
};
// A component's figures, in the order of their paths.
using FigureSource = std::function<std::vector<Figure>(const ComponentName&)>;

// The result of a request for values, and its nodes. The result is 0, 121 when a node carries an error code, 122
// without nodes, or why there are none.
using ValueAnswer = std::function<void(OX_RESULT result, NodeList nodes)>;

class ValueReader {
 public:
  ValueReader(const ValueTools& tools, FigureSource figures) : tools_(tools), figures_(std::move(figures)) {}

  // What is wanted of which components ("type:name", the name may be a pattern), for which client.
  struct Question {
    std::uint32_t session = 0;
    const std::string& component;
    const std::string& names;
    std::uint32_t limit = 0;  // seconds until the values that are missing count as not answered; 0: the manager's own
  };
  // Answers at once or later, unless the client goes. 59, 197, 84, 125 to 128, 85 say that the question is wrong:
  // there is no answer then.
  [[nodiscard]] OX_RESULT read(const Question& question, ValueAnswer answer) const;

 private:
  class Get;

  const ValueTools tools_;
  FigureSource figures_;
};

}  // namespace ox::manager
