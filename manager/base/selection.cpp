#include "manager/base/selection.h"

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>

#include <oxbase/oxc.h>

namespace ox::manager {
namespace {

constexpr std::uint32_t most_alternatives = 1024;

struct Alternatives {
  std::array<char*, most_alternatives> texts{};
  std::uint32_t count = 0;
  Alternatives() = default;
  Alternatives(const Alternatives&) = delete;
  Alternatives& operator=(const Alternatives&) = delete;
  ~Alternatives() {
    for (std::uint32_t i = 0; i < count; ++i) (void)oxcMemFree(texts[i]);
  }
};

// The number of path components of an AMIB node.
std::size_t depth(std::uint32_t node) {
  std::size_t count = 0;
  while (oxbParent(node) != 0) {
    node = oxbParent(node);
    ++count;
  }
  return count;
}

OX_RESULT read_path(std::string_view numeric, Selection& selection) {
  std::vector<std::optional<std::uint32_t>> pattern;
  bool stars = false;
  while (!numeric.empty()) {
    const auto dot = numeric.find('.');
    const auto component = numeric.substr(0, dot);
    numeric = dot == numeric.npos ? std::string_view() : numeric.substr(dot + 1);
    if (component.find('*') != component.npos) {
      stars = true;
      pattern.emplace_back();
      continue;
    }
    const auto number = parse_oid(component);
    if (!number || number->size() != 1) return OX_EAMIBNAME;
    pattern.emplace_back(number->front());
    if (!stars) selection.path.push_back(number->front());
  }
  if (stars) selection.pattern = std::move(pattern);
  return selection.path.empty() ? OX_RESULT{OX_EAMIBNAME} : OX_RESULT{OX_OK};
}

OX_RESULT select_one(const char* name, Selection& selection) {
  const char* numeric = nullptr;
  if (const OX_RESULT result = oxbNumName(name, &numeric)) return result;
  if (const OX_RESULT result = read_path(numeric, selection)) return result;
  // A path of numbers may begin outside the AMIB altogether.
  if (oxbEntry(name, &selection.node) != OX_OK) {
    selection.error = OX_EAMIBNAME;
    return OX_OK;
  }
  const bool below = selection.path.size() > depth(selection.node);
  const bool leaf = oxbIsLeaf(selection.node) != 0;
  selection.exact = leaf && below && selection.pattern.empty();
  if (below && !leaf) selection.error = OX_EAMIBNAME;
  return OX_OK;
}

}  // namespace

bool Selection::covers(const Oid& value) const {
  if (exact) return value == path;
  if (pattern.empty()) return is_under(value, path);
  // A last "*" stands for all that is left.
  if (value.size() < pattern.size() || (value.size() > pattern.size() && pattern.back())) return false;
  return std::equal(
      pattern.begin(), pattern.end(), value.begin(),
      [](const std::optional<std::uint32_t>& wanted, std::uint32_t given) { return !wanted || *wanted == given; });
}

OX_RESULT select(const std::string& names, std::vector<Selection>& selections) {
  const auto alternatives = std::make_unique<Alternatives>();
  if (const OX_RESULT result =
          oxbDeploy(names.c_str(), &alternatives->count, alternatives->texts.data(), most_alternatives)) {
    return result;
  }
  for (std::uint32_t i = 0; i < alternatives->count; ++i) {
    Selection selection;
    if (const OX_RESULT result = select_one(alternatives->texts[i], selection)) return result;
    selections.push_back(std::move(selection));
  }
  const bool all_unknown = std::all_of(selections.begin(), selections.end(),
                                       [](const Selection& selection) { return selection.error != OX_OK; });
  return all_unknown ? OX_RESULT{OX_EAMIBNAME} : OX_RESULT{OX_OK};
}

OX_RESULT select_value(const char* name, Selection& selection) {
  if (const OX_RESULT result = select_one(name, selection)) return result;
  return selection.exact ? OX_RESULT{OX_OK} : OX_RESULT{OX_EAMIBNAME};
}

}  // namespace ox::manager
