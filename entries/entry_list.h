// Lists of entries, as the families hand them out: names, and a cursor at the one to open next.
#pragma once

#include "common/memory.h"
#include "data/field_kinds.h"
#include "entries/requests.h"

namespace ox::entries {

struct ListedEntry {
  ListedEntry* next;
  ListedEntry* prev;
  field::Text name;
  field::Number id;
};

// A tracked block; the families' list types are this under names of their own.
struct EntryList {
  ListedEntry* items;
  ListedEntry* cursor;
  field::Text manager;

  // Appends an item. 3.
  [[nodiscard]] OX_RESULT add(const char* name, field::Number id) noexcept;
  // Puts the items into the order of their numbers. 3.
  [[nodiscard]] OX_RESULT sort() noexcept;
};

void release(EntryList* list) noexcept;

template <class List>
struct ListDelete {
  void operator()(List* list) const noexcept { release(list); }
};
template <class List>
using list_ptr = std::unique_ptr<List, ListDelete<List>>;

// An empty list of that manager's entries. 3.
template <class List>
[[nodiscard]] OX_RESULT make_list(const char* manager, const char* tag, list_ptr<List>& list) noexcept {
  list.reset(make_tracked<List>(tag).release());
  return list ? field::assign(list->manager, manager) : OX_RESULT{OX_ENOMEM};
}

// What next-open does: `open(manager, name)` on the entry at the cursor, which goes on when that succeeds, so that an
// entry that fails is tried again. Behind the last entry, and for no list, *record becomes null.
template <class Record, class Open>
[[nodiscard]] OX_RESULT open_next(EntryList* list, Record** record, Open open) {
  if (list == nullptr || list->cursor == nullptr) {
    *record = nullptr;
    return OX_OK;
  }
  const OX_RESULT result = open(list->manager.text, list->cursor->name.text);
  if (result == OX_OK) list->cursor = list->cursor->next;
  return result;
}

}  // namespace ox::entries
