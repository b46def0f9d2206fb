#include "manager/jobs/asking.h"

#include <cstring>
#include <string_view>

namespace ox::manager {

void Asking::start(Asker& asker, const Agent& agent) {
  place_.target->busy = true;
  at_.resize(place_.names->columns.size());
  ended_columns_.resize(place_.names->columns.size());
  left_ = (place_.names->instance_question ? 1 : 0) + (place_.names->columns.empty() ? 0 : 1);
  if (place_.names->instance_question) asker.get(agent, place_.names->instance_question, shared_from_this());
  if (place_.names->columns.empty()) return;
  asker.walk(agent, place_.names->column_question, place_.target->most_rows(), shared_from_this());
}

void Asking::reading(const Reading& reading) {
  reading_ = reading;
  number_.reset();
}

bool Asking::take(std::size_t slot, NodePtr node) {
  const CollectedNames& names = *place_.names;
  const OX_RESULT code = code_of(node.get());
  if (code != OX_OK || oxdGetValueType(node.get()) == OX_NULL) {
    return refuse(slot, names.path(slot), code != OX_OK ? code : OX_RESULT{OX_ENOSUCHVALUE});
  }
  place_.target->silent = false;
  if (slot >= names.instances.size()) {
    take_row(slot - names.instances.size(), node.get());
  } else {
    put(place_.target->series_of(place_.series, *place_.round->filling, names, slot), node.get(), &names.path(slot));
  }
  return true;
}

void Asking::put(std::uint32_t series, const dnode* node, const Oid* path) {
  const Filling& filling = *place_.round->filling;
  if (!number_) {
    number_ = place_.series.add_reading(filling.id, place_.round->number, place_.target->number(place_.series, filling),
                                        reading_.at, reading_.uptime);
  }
  std::uint32_t type = 0;
  std::uint32_t size = 0;
  const void* value = nullptr;
  if (oxdGetValue(node, &type, &size, &value) != OX_OK) size = 0;
  (void)place_.series.put(filling.id, place_.round->number, series, *number_, type,
                          {static_cast<const std::byte*>(value), size});
  if (path != nullptr && !place_.target->failing.empty()) place_.target->failing.erase(oid_text(*path));
}

void Asking::take_row(std::size_t column, const dnode* node) {
  const CollectedNames::Column& of = place_.names->columns[column];
  const char* name = nullptr;
  if (oxdGetAmibName(node, &name) != OX_OK) return;
  if (!of.selection->pattern.empty() && !of.selection->covers(path_of(node))) return;
  const std::string_view text(name);
  if (text.size() <= of.leaf.size()) return;
  LogTarget::Row& row = place_.target->row(column, at_[column], text.substr(of.leaf.size() + 1));
  row.round = place_.round->number;
  put(place_.target->series_of(place_.series, *place_.round->filling, *place_.names, column, row), node, nullptr);
}

Asking::Reason Asking::reason_of(OX_RESULT code) const {
  if (code == OX_ENOSUCHVALUE) return {Gap::no_instance, 0};
  if (code == OX_ENOANSWER) return {reading_.asked ? Gap::no_answer : Gap::not_asked, 0};
  return {Gap::agent_error, reading_.error_status != 0 ? reading_.error_status : code};
}

bool Asking::refuse(std::size_t slot, const Oid& path, OX_RESULT code) {
  const CollectedNames& names = *place_.names;
  failed_(*place_.target, path, code);
  if (slot >= names.instances.size()) {
    // A walk names the column's slot once, whatever columns are there for it.
    ended_columns_[slot - names.instances.size()] = reason_of(code);
  } else {
    gap(place_.target->series_of(place_.series, *place_.round->filling, names, slot), reason_of(code));
  }
  return true;
}

void Asking::gap(std::uint32_t series, const Reason& reason) {
  place_.round->failed = true;
  (void)place_.series.put_gap(place_.round->filling->id, place_.round->number, series, reason.gap, reason.code);
}

// What was there last and is not now. A column without any row is a gap of its own.
void Asking::end_column(std::size_t column) {
  LogTarget& target = *place_.target;
  const Filling& filling = *place_.round->filling;
  const Reason failed = ended_columns_[column];
  const Reason reason = failed.gap != Gap::none ? failed : Reason{Gap::no_instance, 0};
  std::vector<LogTarget::Row>& rows = target.rows[column];
  for (LogTarget::Row& row : rows) {
    if (row.round != place_.round->number) {
      gap(target.series_of(place_.series, filling, *place_.names, column, row), reason);
    }
  }
  if (rows.empty()) {
    gap(target.series_of(place_.series, filling, place_.names->columns[column].leaf, "*"), reason);
  }
  if (failed.gap != Gap::none) return;
  std::erase_if(rows, [this](const LogTarget::Row& row) { return row.round != place_.round->number; });
}

void Asking::done(const std::vector<std::size_t>& slots, OX_RESULT) {
  const std::size_t first = place_.names->instances.size();
  for (const std::size_t slot : slots) {
    if (slot >= first) end_column(slot - first);
  }
  if (--left_ != 0) return;
  place_.target->busy = false;
  ended_();
}

void Asking::gap_all(const Place& place, LogTarget& target, Gap gap, std::uint32_t code) {
  const CollectedNames& names = *place.names;
  const Filling& filling = *place.round->filling;
  const auto put = [&](std::uint32_t series) {
    (void)place.series.put_gap(filling.id, place.round->number, series, gap, code);
  };
  for (std::size_t i = 0; i < names.instances.size(); ++i) put(target.series_of(place.series, filling, names, i));
  for (std::size_t i = 0; i < names.columns.size(); ++i) {
    for (LogTarget::Row& row : target.rows[i]) put(target.series_of(place.series, filling, names, i, row));
    if (target.rows[i].empty() && target.name.type == "node") {
      put(target.series_of(place.series, filling, names.columns[i].leaf, "*"));
    }
  }
}

}  // namespace ox::manager
