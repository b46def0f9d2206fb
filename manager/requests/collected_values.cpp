#include "manager/requests/collected_values.h"

#include <algorithm>
#include <array>

#include "manager/base/attributes.h"
#include "manager/base/selection.h"
#include "manager/components/number_value.h"
#include "manager/requests/item_answer.h"
#include "manager/series/window.h"

namespace ox::manager {
namespace {

const Oid header_path = data_path(DataAttribute::header);
const Oid values_path = data_path(DataAttribute::values);
const Oid data_id_path = data_path(DataAttribute::id);
const Oid size_path = data_path(DataAttribute::size);
const Oid ledger_path{11, 14, 18};
const Oid window_path{11, 14, 20, 0};
const Oid books_path{11, 14, 21};
constexpr char data_relation[] = "logEnt-dataEnt";

// The one value that a request names; nothing for several, or none.
std::optional<Oid> one_value(const std::string& names) {
  std::vector<Selection> selections;
  if (select(names, selections) != OX_OK || selections.size() != 1 || !selections.front().exact) return {};
  return selections.front().path;
}

std::optional<ComponentName> one_component(const Manager& manager, const std::string& text) {
  ComponentName name;
  if (parse_component_name(text, name) != OX_OK || !manager.store.has(name)) return {};
  return name;
}

void answer_window(Manager& manager, const Request& request, const ComponentName& component,
                   const SelectionWords& words) {
  std::vector<std::shared_ptr<const EntryView>> views;
  for (const EntryId id : data_of(manager, component)) {
    if (auto view = manager.series.view(id)) views.push_back(std::move(view));
  }
  const WindowQuestion question{words.from, words.to, words.step, words.function, words.count};
  answer_items(manager, request, component, window_path,
               [&manager, views, question] { return std::make_unique<WindowItems>(manager.series, views, question); });
}

std::unique_ptr<ItemSource> items_of(Manager& manager, const std::shared_ptr<const EntryView>& view, bool header) {
  if (header) return std::make_unique<HeaderItems>(manager.series, view, true);
  return std::make_unique<ValueItems>(manager.series, view, 0, view->rounds, false);
}

std::string text_of_item(const Layout& layout, Axis axis, std::uint32_t number) {
  const auto& items = layout.items(axis);
  return number < items.size() ? items[number] : "*";
}

struct LedgerRow {
  GapRun run;
  std::shared_ptr<const EntryView> view;
  std::string entry;
};

std::vector<LedgerRow> ledger(Manager& manager, const FigureQuestion& question) {
  constexpr std::size_t most_rows = 5000;
  const std::size_t most =
      question.words.count != 0 ? std::min<std::size_t>(question.words.count, most_rows) : most_rows;
  std::vector<LedgerRow> rows;
  const auto first = [](const LedgerRow& a, const LedgerRow& b) { return a.run.first < b.run.first; };
  for (const EntryId id : data_of(manager, question.component)) {
    const auto view = manager.series.view(id);
    if (!view) continue;
    const std::string name = manager.series.name(id);
    manager.series.gap_runs(*view, question.words.from, question.words.to, [&](const GapRun& run) {
      rows.push_back({run, view, name});
      if (rows.size() <= 2 * most) return;
      std::nth_element(rows.begin(), rows.begin() + static_cast<std::ptrdiff_t>(rows.size() - most), rows.end(), first);
      rows.erase(rows.begin(), rows.end() - static_cast<std::ptrdiff_t>(most));
    });
  }
  std::stable_sort(rows.begin(), rows.end(), first);
  if (rows.size() > most) rows.erase(rows.begin(), rows.end() - static_cast<std::ptrdiff_t>(most));
  return rows;
}

void add_ledger(Manager& manager, const FigureQuestion& question, std::vector<Figure>& figures) {
  using Cell = decltype(Figure::value);
  constexpr std::uint32_t columns = 10;
  const auto seconds = [](std::int64_t milliseconds) {
    return TypedNumber{OX_UNIXTIME, static_cast<std::uint32_t>(milliseconds / 1000)};
  };
  const auto rows = ledger(manager, question);
  const auto cells_of = [&](const LedgerRow& row) {
    const Layout& layout = *row.view->layout;
    const GapRun& run = row.run;
    return std::array<Cell, columns>{text_of_item(layout, Axis::component, run.series.component),
                                     text_of_item(layout, Axis::amib, run.series.amib),
                                     text_of_item(layout, Axis::item, run.series.item),
                                     TypedNumber{OX_INTEGER, static_cast<std::uint32_t>(gap_of(run.status))},
                                     TypedNumber{OX_INTEGER, code_of_gap(run.status)},
                                     seconds(run.first),
                                     seconds(run.last),
                                     run.rounds,
                                     run.values,
                                     row.entry};
  };
  for (std::uint32_t column = 0; column < columns; ++column) {
    std::uint32_t number = 0;
    for (const LedgerRow& row : rows) figures.push_back({{11, 14, 18, column + 1, ++number}, cells_of(row)[column]});
  }
}

void add_books(const Manager& manager, const FigureQuestion& question, std::vector<Figure>& figures) {
  Counts sum;
  for (const EntryId id : data_of(manager, question.component)) {
    const Counts counts = manager.series.counts(id);
    sum.due += counts.due;
    sum.stored += counts.stored;
    sum.gaps += counts.gaps;
    sum.open += counts.open;
    sum.lost += counts.lost;
  }
  std::uint32_t number = 0;
  for (const std::uint64_t count : {sum.due, sum.stored, sum.gaps, sum.open, sum.lost}) {
    figures.push_back({{11, 14, 21, ++number, 0}, count});
  }
}

}  // namespace

std::vector<EntryId> data_of(const Manager& manager, const ComponentName& log_entry) {
  std::vector<std::pair<std::uint32_t, EntryId>> found;
  for (const Relation& relation : manager.store.relations_of(log_entry)) {
    if (relation.name != data_relation || relation.from != log_entry) continue;
    const EntryId id = manager.series.find(relation.to.name);
    if (id != 0) found.emplace_back(number_of(manager.store.value(relation.to, data_id_path)), id);
  }
  std::sort(found.begin(), found.end());
  std::vector<EntryId> ids;
  for (const auto& [number, id] : found) ids.push_back(id);
  return ids;
}

std::optional<CollectedBinary> collected_binary(const Manager& manager, const std::string& component,
                                                const std::string& names) {
  if (!component.starts_with("dataEnt:")) return {};
  const auto name = one_component(manager, component);
  const auto path = name ? one_value(names) : std::nullopt;
  if (!path || (*path != header_path && *path != values_path)) return {};
  const EntryId id = manager.series.find(name->name);
  if (id == 0) return {};
  return CollectedBinary{*name, *path, id, *path == header_path};
}

bool answer_collected(Manager& manager, const Request& request, const GetRequest& get) {
  if (const auto binary = collected_binary(manager, get.component, get.names)) {
    if (!request.rights->allow(Role::read, binary->path, binary->component, "get")) {
      request.reply(error_reply(OX_EDENIED));
      return true;
    }
    const auto view = manager.series.view(binary->id);
    answer_items(manager, request, binary->component, binary->path,
                 [&manager, view, header = binary->header] { return items_of(manager, view, header); });
    return true;
  }
  if (!get.component.starts_with("logEnt:") || one_value(get.names) != window_path) return false;
  const auto name = one_component(manager, get.component);
  if (!name) return false;
  if (request.rights->allow(Role::read, window_path, *name, "get")) {
    answer_window(manager, request, *name, get.words);
  } else {
    request.reply(error_reply(OX_EDENIED));
  }
  return true;
}

namespace {

void add_log_figures(Manager& manager, const FigureQuestion& question, std::vector<Figure>& figures) {
  if (is_under(question.top, ledger_path)) add_ledger(manager, question, figures);
  if (is_under(question.top, books_path) || is_under(books_path, question.top)) add_books(manager, question, figures);
}

void add_data_figures(const Manager& manager, const FigureQuestion& question, std::vector<Figure>& figures) {
  const EntryId id = manager.series.find(question.component.name);
  if (id == 0 || manager.store.value(question.component, size_path) != nullptr) return;
  const std::uint64_t size = std::min<std::uint64_t>(manager.series.counts(id).bytes, 0x7FFFFFFF);
  figures.push_back({size_path, TypedNumber{OX_INTEGER, static_cast<std::uint32_t>(size)}});
}

}  // namespace

void keep_collected(Manager& manager) {
  manager.figures.add("logEnt", [&manager](const FigureQuestion& question, std::vector<Figure>& figures) {
    add_log_figures(manager, question, figures);
  });
  manager.figures.add("dataEnt", [&manager](const FigureQuestion& question, std::vector<Figure>& figures) {
    add_data_figures(manager, question, figures);
  });
  const auto changed = [&manager](const ComponentName& name, EntryChanges::What what, std::span<const Oid>) {
    if (what == EntryChanges::What::removed) manager.series.remove(manager.series.find(name.name));
  };
  manager.entries.keep("dataEnt", {.changed = changed});
}

}  // namespace ox::manager
