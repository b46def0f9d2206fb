// Reading the values of components, stored ones and those of agents, as gets and watches name them.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "manager/base/node_list.h"
#include "manager/base/rights.h"
#include "manager/snmp/value_tools.h"

namespace ox::manager {

// A number of up to 32 bits, with the type of its value.
struct TypedNumber {
  std::uint32_t type = 0;
  std::uint32_t number = 0;
};
// A value that the manager has, and the store of components does not.
struct Figure {
  Oid path;
  std::variant<std::uint64_t, std::string, TypedNumber> value;  // Counter64, DisplayString
};
// The five words of a selection: for what happened in time from, to (seconds since 1970, 0: no bound), step, function,
// and the most of it (0: no bound).
struct SelectionWords {
  std::uint32_t from = 0;
  std::uint32_t to = 0;
  std::uint32_t step = 0;
  std::uint32_t function = 0;
  std::uint32_t count = 0;
};
[[nodiscard]] Value value_of(const Figure& figure);
struct FigureQuestion {
  const ComponentName& component;
  const Oid& top;  // only what stands there and below is wanted: what is dear is best had when it is named
  const SelectionWords& words;
};
// Adds what a component has. Figures come in the order of their paths.
using FigureSource = std::function<void(const FigureQuestion&, std::vector<Figure>&)>;
// For what takes its time: whether it is to be waited for. It calls back in a later turn then.
using FigureWait = std::function<bool(const FigureQuestion&, std::function<void()> ready)>;

// Who has figures, by the type of their components.
class FigureSources {
 public:
  void add(const std::string& type, FigureSource source, FigureWait wait = {}) {
    sources_.emplace(type, Source{std::move(source), std::move(wait)});
  }
  [[nodiscard]] std::vector<Figure> ask(const FigureQuestion& question) const;
  [[nodiscard]] bool wait(const FigureQuestion& question, const std::function<void()>& ready) const;

 private:
  struct Source {
    FigureSource add;
    FigureWait wait;
  };
  std::multimap<std::string, Source, std::less<>> sources_;
};

// The result of a request for values, and its nodes. The result is 0, 121 when a node carries an error code, 122
// without nodes, or why there are none.
using ValueAnswer = std::function<void(OX_RESULT result, NodeList nodes)>;

class ValueReader {
 public:
  ValueReader(const ValueTools& tools, const FigureSources& figures) : tools_(tools), figures_(figures) {}

  // What is wanted of which components ("type:name", the name may be a pattern), for which client.
  struct Question {
    std::uint32_t session = 0;
    const RightsPtr& rights;  // of the client's user
    const std::string& component;
    const std::string& names;
    std::uint32_t limit = 0;  // seconds until the values that are missing count as not answered; 0: the manager's own
    SelectionWords words{};
  };
  // A value that the user may not read is a node with error 5; when it is the only one that was asked for, the answer.
  // Answers at once or later, unless the client goes. 59, 197, 84, 125 to 128, 85 say that the question is wrong:
  // there is no answer then.
  [[nodiscard]] OX_RESULT read(const Question& question, ValueAnswer answer) const;

 private:
  class Get;

  const ValueTools tools_;
  const FigureSources& figures_;
};

}  // namespace ox::manager
