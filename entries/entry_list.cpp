#include "entries/entry_list.h"

#include <oxbase/oxc.h>

namespace ox::entries {
namespace {

void free_item(ListedEntry* item) noexcept {
  field::clear(item->name);
  (void)oxcMemFree(item);
}

int OX_CALL compare_ids(const void* a, const void* b) {
  const auto id = [](const void* element) { return (*static_cast<ListedEntry* const*>(element))->id; };
  return id(a) < id(b) ? -1 : id(a) > id(b) ? 1 : 0;
}

}  // namespace

OX_RESULT EntryList::add(const char* name, field::Number id) noexcept {
  auto item = make_tracked<ListedEntry>("EntryList");
  if (!item) return OX_ENOMEM;
  if (const OX_RESULT result = field::assign(item->name, name)) return result;
  item->id = id;
  (void)oxcQueueAdd(&items, item.release());
  cursor = items;
  return OX_OK;
}

OX_RESULT EntryList::sort() noexcept {
  const OX_RESULT result = oxcQueueSort(&items, compare_ids);
  cursor = items;
  return result;
}

void release(EntryList* list) noexcept {
  if (list == nullptr) return;
  while (ListedEntry* const item = list->items) {
    (void)oxcQueueDel(&list->items, item);
    free_item(item);
  }
  field::clear(list->manager);
  (void)oxcMemFree(list);
}

}  // namespace ox::entries
