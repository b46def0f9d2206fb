#include "manager/components/entry_changes.h"

#include <utility>

namespace ox::manager {

OX_RESULT EntryChanges::check(Change& change) const {
  const auto keeper = keepers_.find(change.component.type);
  return keeper != keepers_.end() && keeper->second.check ? keeper->second.check(change) : OX_RESULT{OX_OK};
}

void EntryChanges::changed(std::span<const Change> batch) const {
  struct Told {
    What what = What::set;
    std::vector<Oid> paths{};
  };
  std::map<ComponentName, Told> all;
  for (const Change& change : batch) {
    if (!keepers_.contains(change.component.type)) continue;
    Told& told = all[change.component];
    if (change.kind == Change::Kind::add) told.what = What::added;
    if (change.kind == Change::Kind::set || change.kind == Change::Kind::unset) told.paths.push_back(change.path);
  }
  for (const auto& [name, told] : all) tell(name, told.what, told.paths);
}

std::vector<ComponentName> EntryChanges::kept(const Store& store) const {
  std::vector<ComponentName> all;
  for (const auto& [type, keeper] : keepers_) {
    for (ComponentName& name : store.matching({type, "*"})) all.push_back(std::move(name));
  }
  return all;
}

void EntryChanges::tell(const ComponentName& name, What what, std::span<const Oid> paths) const {
  const auto keeper = keepers_.find(name.type);
  if (keeper != keepers_.end()) keeper->second.changed(name, what, paths);
}

}  // namespace ox::manager
