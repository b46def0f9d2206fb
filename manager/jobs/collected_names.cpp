#include "manager/jobs/collected_names.h"

#include <set>

#include <oxbase/oxb.h>

#include "manager/snmp/columns.h"

namespace ox::manager {
namespace {

void add_instance(CollectedNames& names, const Selection& selection) {
  auto [leaf, item] = leaf_and_instance(selection.path);
  names.instance_question->wanted.push_back({selection.path, names.instances.size()});
  names.instances.push_back({std::move(leaf), std::move(item)});
}

void add_columns(CollectedNames& names, const Selection& selection, std::set<Oid>& known) {
  for (Oid& column : agent_columns(selection)) {
    if (selection.pattern.empty() && !known.insert(column).second) continue;
    names.columns.push_back({leaf_and_instance(column).first, &selection});
    names.column_question.wanted.push_back({std::move(column), 0});
  }
}

}  // namespace

std::shared_ptr<const CollectedNames> read_collected_names(const std::string& text, bool sparing) {
  const auto names = std::make_shared<CollectedNames>();
  if (select(text, names->selections) != OX_OK) return nullptr;
  names->instance_question = std::make_shared<Question>(Question{{}, true, sparing, true});
  names->column_question.uptime = true;
  names->column_question.spare = sparing;
  std::set<Oid> known;
  for (const Selection& selection : names->selections) {
    if (selection.error != OX_OK) continue;
    if (!selection.exact) {
      add_columns(*names, selection, known);
      names->stored = true;
    } else if (oxbAmibInterface(selection.node) == OXB_SNMP) {
      if (known.insert(selection.path).second) add_instance(*names, selection);
    } else {
      names->stored = true;
    }
  }
  for (std::size_t i = 0; i < names->columns.size(); ++i) {
    names->column_question.wanted[i].slot = names->instances.size() + i;
  }
  if (names->instances.empty()) names->instance_question = nullptr;
  return names;
}

}  // namespace ox::manager
