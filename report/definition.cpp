#include "report/definition.h"

#include <algorithm>
#include <charconv>
#include <iterator>

namespace report {
namespace {

std::vector<std::string> words_of(const std::string& text) {
  std::vector<std::string> words;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find(' ', at), text.size());
    if (end > at) words.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return words;
}

std::string joined(const std::vector<std::string>& words, std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) text += (i != 0 ? " " : "") + words[i];
  return text;
}

std::string trimmed(const std::string& text) {
  const std::size_t begin = std::min(text.find_first_not_of(' '), text.size());
  return text.substr(begin, text.find_last_not_of(' ') + 1 - begin);
}

std::optional<double> number_in(const std::string& text) {
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return {};
  return number;
}

constexpr std::pair<const char*, Column::Kind> own_columns[] = {{"time", Column::time},
                                                                {"component", Column::component},
                                                                {"index", Column::index},
                                                                {"label", Column::label},
                                                                {"gap", Column::gap}};

class Definer {
 public:
  explicit Definer(Definition& made) : made_(made) {}

  void add(const Line& line) {
    switch (line.number) {
      case OXREP_TYPE_PARAMETER:
        return parameter(line.text);
      case OXREP_TYPE_CALCDATA:
        return calculated(line.text);
      case OXREP_TYPE_CSVDATA:
        return columns(line.text);
      case OXREP_TYPE_GRAPHDATA:
        return graph(line.text);
      case OXREP_TYPE_FORMFILE:
        if (line.text.find_first_of("/\\:") != line.text.npos) throw Fault("the page's file has a folder");
        break;
      case OXREP_TYPE_MIBNAME:
        if (line.text.empty()) throw Fault("no attribute is named");
        names_.attributes = made_.attributes.size() + 1;
        made_.attributes.push_back(line.text);
        return;
      default:
        break;
    }
    if (std::string* const text = text_of(line.number); text != nullptr && !line.text.empty()) *text = line.text;
  }

  void complete() {
    if (!made_.columns.empty()) return;
    for (const auto& [name, kind] : own_columns) {
      if (kind != Column::gap) made_.columns.push_back({kind, 0, name});
    }
    for (std::size_t i = 0; i < made_.attributes.size(); ++i) {
      made_.columns.push_back({Column::attribute, i, 'm' + std::to_string(i + 1)});
    }
    for (std::size_t i = 0; i < names_.results.size(); ++i) {
      if (attribute_place(names_.results[i]) == npos) made_.columns.push_back({Column::result, i, names_.results[i]});
    }
    made_.columns.push_back({Column::gap, 0, "gap"});
  }

 private:
  std::string* text_of(std::uint32_t number) {
    const std::pair<std::uint32_t, std::string*> texts[] = {
        {OXREP_TYPE_NAME, &made_.name},          {OXREP_TYPE_VERSION, &made_.version},
        {OXREP_TYPE_COMPNAME, &made_.component}, {OXREP_TYPE_INDEX, &made_.label},
        {OXREP_TYPE_FORMFILE, &made_.page},      {OXREP_TYPE_DESCRIPTION, &made_.description},
        {OXREP_TYPE_PREFIX, &made_.prefix}};
    const auto* const found =
        std::find_if(std::begin(texts), std::end(texts), [number](const auto& one) { return one.first == number; });
    return found == std::end(texts) ? nullptr : found->second;
  }

  void require_new_name(const std::string& name) const {
    if (!is_name(name)) throw Fault('"' + name + "\" is no name: letters, digits and _");
    const auto is_it = [&name](const auto& one) { return name == one.first; };
    if (attribute_place(name) != npos || name == "rate" || name == "answered" ||
        std::any_of(std::begin(own_columns), std::end(own_columns), is_it)) {
      throw Fault(name + " has a meaning of its own; take another name");
    }
    const auto has = [&name](const auto& all) { return std::find(all.begin(), all.end(), name) != all.end(); };
    if (has(names_.results) || has(names_.parameters)) throw Fault(name + " is there already");
  }

  void parameter(const std::string& text) {
    const std::vector<std::string> words = words_of(text);
    if (words.size() != 2) throw Fault("a parameter is its name and its default, as \"unit 8\"");
    require_new_name(words[0]);
    const auto number = number_in(words[1]);
    if (!number) throw Fault('"' + words[1] + "\" is no number");
    names_.parameters.push_back(words[0]);
    made_.parameters.emplace_back(words[0], *number);
  }

  void calculated(const std::string& text) {
    const std::size_t equals = text.find('=');
    if (equals == text.npos) throw Fault("write NAME = expression, as \"in = rate(m1) * 8\"");
    const std::string name = trimmed(text.substr(0, equals));
    require_new_name(name);
    Expression expression(trimmed(text.substr(equals + 1)), names_);
    names_.results.push_back(name);
    made_.results.push_back({name, std::move(expression)});
  }

  // The place of what a name stands for among the results; an attribute becomes one.
  std::size_t result_of(const std::string& name) {
    const auto found = std::find(names_.results.begin(), names_.results.end(), name);
    if (found != names_.results.end()) return static_cast<std::size_t>(found - names_.results.begin());
    if (attribute_place(name) >= made_.attributes.size()) return npos;
    made_.results.push_back({name, Expression(name, names_)});
    names_.results.push_back(name);
    return names_.results.size() - 1;
  }

  void columns(const std::string& text) {
    for (const std::string& word : words_of(text)) {
      const auto* const own = std::find_if(std::begin(own_columns), std::end(own_columns),
                                           [&word](const auto& one) { return word == one.first; });
      const std::size_t attribute = attribute_place(word);
      const auto result = std::find(names_.results.begin(), names_.results.end(), word);
      if (own != std::end(own_columns)) {
        made_.columns.push_back({own->second, 0, word});
      } else if (attribute < made_.attributes.size()) {
        made_.columns.push_back({Column::attribute, attribute, word});
      } else if (result != names_.results.end()) {
        made_.columns.push_back({Column::result, static_cast<std::size_t>(result - names_.results.begin()), word});
      } else {
        throw Fault(word +
                    " is no column: there are time, component, index, label, gap, m1 ... and what is calculated");
      }
    }
  }

  // The names are the last words, as far as they are names; the word before them is the unit, the rest the title.
  void graph(const std::string& text) {
    const std::vector<std::string> words = words_of(text);
    std::size_t first = words.size();
    const auto is_known = [this](const std::string& word) {
      return attribute_place(word) < made_.attributes.size() ||
             std::find(names_.results.begin(), names_.results.end(), word) != names_.results.end();
    };
    while (first > 2 && is_known(words[first - 1])) --first;
    if (first == words.size()) {
      throw Fault(words.size() < 3 ? "a plot is its title, its unit and names, as \"Traffic bit/s in out\""
                                   : words.back() + " is neither an attribute nor calculated before");
    }
    Graph made{joined(words, first - 1), words[first - 1], {}};
    for (std::size_t i = first; i < words.size(); ++i) made.results.push_back(result_of(words[i]));
    made_.graphs.push_back(std::move(made));
  }

  Definition& made_;
  Names names_;
};

// Attributes first: what is calculated of them may stand before them.
constexpr std::uint32_t reading_order[] = {
    OXREP_TYPE_NAME,     OXREP_TYPE_REPTYPE,   OXREP_TYPE_VERSION,     OXREP_TYPE_COMPNAME, OXREP_TYPE_MIBNAME,
    OXREP_TYPE_INDEX,    OXREP_TYPE_PARAMETER, OXREP_TYPE_CALCDATA,    OXREP_TYPE_CSVDATA,  OXREP_TYPE_GRAPHDATA,
    OXREP_TYPE_FORMFILE, OXREP_TYPE_HELPTOPIC, OXREP_TYPE_DESCRIPTION, OXREP_TYPE_PREFIX};

}  // namespace

bool Definition::uses_rates() const {
  return std::any_of(results.begin(), results.end(), [](const Calculated& one) { return one.expression.uses_rates(); });
}

Definition define(const std::vector<Line>& lines, std::vector<FaultLine>& faults) {
  Definition made;
  Definer definer(made);
  for (const std::uint32_t number : reading_order) {
    for (const Line& line : lines) {
      if (line.number != number) continue;
      try {
        definer.add(line);
      } catch (const Fault& fault) {
        faults.push_back({line.line, fault.what()});
      }
    }
  }
  definer.complete();
  if (made.attributes.empty()) faults.push_back({0, "nothing is collected: there is no mibname"});
  if (made.graphs.empty()) faults.push_back({0, "nothing is drawn: there is no graphdata"});
  std::stable_sort(faults.begin(), faults.end(),
                   [](const FaultLine& a, const FaultLine& b) { return a.line - 1 < b.line - 1; });  // 0 last
  return made;
}

std::vector<Line> lines_of(const RepType& type) {
  std::vector<Line> lines;
  for (std::uint32_t number = OXREP_TYPE_NAME; number <= OXREP_TYPE_PREFIX; ++number) {
    for (std::uint32_t at = 0; at < oxrepRepTypeCount(&type, number); ++at) {
      lines.push_back({number, oxrepRepTypeValue(&type, number, at), 0});
    }
  }
  return lines;
}

}  // namespace report
