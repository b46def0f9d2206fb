#include "manager/jobs/targets.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>

namespace ox::manager {

bool find_targets(const CollectorTools& tools, LogCollection& entry) {
  if (entry.targets_of == tools.store.generation()) return true;
  std::unordered_map<std::string_view, const std::shared_ptr<LogTarget>*> known;
  if (entry.targets) {
    known.reserve(entry.targets->size());
    for (const auto& target : *entry.targets) known.emplace(target->text, &target);
  }
  const std::string& wanted = entry.settings.component;
  const std::string text = wanted.find(':') == wanted.npos ? "node:" + wanted : wanted;
  std::vector<ComponentName> found;
  const OX_RESULT result = tools.directory.match(text, found);
  const bool missing = result != OX_OK;
  ComponentName named;
  if (missing && (parse_component_name(text, named) != OX_OK || is_pattern(named.name))) return false;
  if (missing) found = {named};
  const auto targets = std::make_shared<LogTargets>();
  for (ComponentName& name : found) {
    const auto before = known.find(name.type + ':' + name.name);
    std::shared_ptr<LogTarget> target =
        before != known.end() ? *before->second : std::make_shared<LogTarget>(std::move(name));
    target->there = !missing;
    target->rows.resize(std::max(target->rows.size(), entry.names->columns.size()));
    targets->push_back(std::move(target));
  }
  std::sort(targets->begin(), targets->end(), [](const auto& a, const auto& b) { return a->offset < b->offset; });
  entry.targets = targets;
  entry.targets_of = tools.store.generation();
  return true;
}

}  // namespace ox::manager
