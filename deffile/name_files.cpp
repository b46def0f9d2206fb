// The exported functions on name file directories, and the calling thread's table of open ones.
#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <oxbase/oxc.h>

#include "common/ascii.h"
#include "common/context.h"
#include "common/memory.h"
#include "common/paths.h"
#include "common/text_result.h"
#include "deffile/name_directory.h"

namespace ox {
namespace {

struct NameSlots {
  std::vector<std::unique_ptr<NameDirectory>> slots;  // null: free
  std::string created, found;                         // the last results of the thread
  std::int32_t map_files = -1;                        // slots of the two fixed directories, -1 while not open
  std::int32_t type_files = -1;
};
using FixedSlot = std::int32_t NameSlots::*;

NameSlots& table() { return context<NameSlots>(); }

// Null for a slot that is not open.
NameDirectory* directory(std::int32_t slot) {
  NameSlots& all = table();
  return slot >= 0 && static_cast<std::size_t>(slot) < all.slots.size() ? all.slots[slot].get() : nullptr;
}

std::size_t free_slot(NameSlots& all) {
  std::size_t slot = 0;
  while (slot < all.slots.size() && all.slots[slot]) ++slot;
  constexpr std::size_t growth = 20;
  if (slot == all.slots.size()) all.slots.resize(slot + growth);
  return slot;
}

OX_RESULT open(const char* path, std::int32_t* slot) {
  if (path == nullptr || *path == '\0' || slot == nullptr) return OX_EARG;
  auto made = std::make_unique<NameDirectory>(path);
  NameSlots& all = table();
  const std::size_t taken = free_slot(all);
  all.slots[taken] = std::move(made);
  *slot = static_cast<std::int32_t>(taken);
  return all.slots[taken]->load();
}

OX_RESULT create(std::int32_t slot, const char* name, const char** path) {
  if (name == nullptr || *name == '\0' || path == nullptr) return OX_EARG;
  NameDirectory* const names = directory(slot);
  if (names == nullptr) return OX_ENOFILENAME;
  std::string& made = table().created;
  names->file_of(0, made);  // the room for it is there before the name is
  std::uint32_t number = 0;
  const OX_RESULT result = names->create(name, number);
  if (result != OX_OK) return result;
  names->file_of(number, made);
  *path = made.c_str();
  return OX_OK;
}

OX_RESULT file_of(std::int32_t slot, const char* name, const char** path) {
  if (name == nullptr || path == nullptr) return OX_EARG;
  const NameDirectory* const names = directory(slot);
  const NameEntry* const entry = names != nullptr ? names->index().by_name(name) : nullptr;
  if (entry == nullptr) return OX_ENOFILENAME;
  names->file_of(entry->number, table().found);
  *path = table().found.c_str();
  return OX_OK;
}

// "N" and hexadecimal digits, any number of them.
bool read_file_name(std::string_view file, std::uint32_t& number) noexcept {
  if (file.size() < 2 || file.front() != 'N') return false;
  const bool digits = std::all_of(file.begin() + 1, file.end(), [](char c) { return digit_value(c) < 16; });
  return digits && oxcStrToUlong(file.data() + 1, 16, &number) == OX_OK;
}

OX_RESULT name_of(std::int32_t slot, const char* file, const char** name) {
  if (file == nullptr || name == nullptr) return OX_EARG;
  const NameDirectory* const names = directory(slot);
  std::uint32_t number = 0;
  const bool known = names != nullptr && read_file_name(file, number);
  const NameEntry* const entry = known ? names->index().by_number(number) : nullptr;
  if (entry == nullptr) return OX_ENOFILENAME;
  *name = entry->name;
  return OX_OK;
}

OX_RESULT close_slot(std::int32_t slot) {
  if (directory(slot) == nullptr) return OX_ENOFILENAME;
  NameSlots& all = table();
  all.slots[static_cast<std::size_t>(slot)].reset();
  for (const FixedSlot fixed : {&NameSlots::map_files, &NameSlots::type_files}) {
    if (all.*fixed == slot) all.*fixed = -1;
  }
  return OX_OK;
}

struct ItemsDelete {
  void operator()(oxcNameItem* list) const noexcept { (void)oxcQueueFree(list, oxcMemFree); }
};

OX_RESULT list_names(std::int32_t slot, oxcNameItem** list) {
  if (list == nullptr) return OX_EARG;
  const NameDirectory* const names = directory(slot);
  if (names == nullptr) return OX_ENOFILENAME;
  std::unique_ptr<oxcNameItem, ItemsDelete> made;
  for (const NameEntry* entry = names->index().first(); entry != nullptr; entry = entry->next) {
    const std::size_t size = std::strlen(entry->name) + 1;
    auto* item =
        static_cast<oxcNameItem*>(oxcMemZalloc(static_cast<std::uint32_t>(sizeof(oxcNameItem) + size), "wkflist"));
    if (item == nullptr) return OX_ENOMEM;
    std::memcpy(item->name, entry->name, size);
    oxcNameItem* head = made.release();
    (void)oxcQueueAdd(&head, item);
    made.reset(head);
  }
  if (made) (void)oxcQueueLink(list, made.release());
  return OX_OK;
}

// A directory below the work directory, opened once for a thread.
OX_RESULT open_fixed(FixedSlot fixed, const char* folder) {
  if (table().*fixed != -1) return OX_OK;
  std::int32_t opened = -1;
  const OX_RESULT result = oxcNameFileOpen(work_path({"data", folder}).c_str(), &opened);
  if (result == OX_OK) {
    table().*fixed = opened;
  } else if (opened != -1) {
    (void)oxcNameFileClose(opened);
  }
  return result;
}

const char* text_of(OX_RESULT(OX_CALL* find)(std::int32_t, const char*, const char**), FixedSlot fixed,
                    const char* key) noexcept {
  const char* found = nullptr;
  (void)guarded([&] { return find(table().*fixed, key, &found); });
  return found;
}

}  // namespace
}  // namespace ox

using namespace ox;

OX_RESULT OX_CALL oxcNameFileOpen(const char* path, int32_t* slot) {
  OX_TRACE(trace::amib, "<S:oxcNameFileOpen()>\n");
  return traced_as(trace::amib, "<E:oxcNameFileOpen(%ld)>\n", [&] { return open(path, slot); });
}

OX_RESULT OX_CALL oxcCreateName(int32_t slot, const char* name, const char** path) {
  OX_TRACE(trace::amib, "<S:oxcCreateName()>\n");
  return traced_as(trace::amib, "<E:oxcCreateName(%ld)>\n", [&] { return create(slot, name, path); });
}

OX_RESULT OX_CALL oxcName2File(int32_t slot, const char* name, const char** path) {
  OX_TRACE(trace::amib, "<S:oxcName2File()>\n");
  return traced_as(trace::amib, "<E:oxcName2File(%ld)>\n", [&] { return file_of(slot, name, path); });
}

OX_RESULT OX_CALL oxcFile2Name(int32_t slot, const char* file, const char** name) {
  OX_TRACE(trace::amib, "<S:oxcFile2Name()>\n");
  return traced_as(trace::amib, "<E:oxcFile2Name(%ld)>\n", [&] { return name_of(slot, file, name); });
}

OX_RESULT OX_CALL oxcNameDelete(int32_t slot, const char* name) {
  OX_TRACE(trace::amib, "<S:oxcNameDelete()>\n");
  return traced_as(trace::amib, "<E:oxcNameDelete(%ld)>\n", [&]() -> OX_RESULT {
    if (name == nullptr) return OX_EARG;
    NameDirectory* const names = directory(slot);
    return names != nullptr ? names->remove(name) : OX_RESULT{OX_ENOFILENAME};
  });
}

OX_RESULT OX_CALL oxcNameFileRename(int32_t slot, const char* name, const char* newName) {
  OX_TRACE(trace::amib, "<S:oxcNameFileRename()>\n");
  // The exit line begins as an entry line does: tools know it so.
  return traced_as(trace::amib, "<S:oxcNameFileRename(%ld)>\n", [&]() -> OX_RESULT {
    if (name == nullptr || newName == nullptr || *newName == '\0') return OX_EARG;
    NameDirectory* const names = directory(slot);
    return names != nullptr ? names->rename(name, newName) : OX_RESULT{OX_ENOFILENAME};
  });
}

OX_RESULT OX_CALL oxcNameFileClose(int32_t slot) {
  OX_TRACE(trace::amib, "<S:oxcNameFileClose()>\n");
  return traced_as(trace::amib, "<E:oxcNameFileClose(%ld)>\n", [&] { return close_slot(slot); });
}

OX_RESULT OX_CALL oxcNameFileCloseAll(void) {
  OX_TRACE(trace::amib, "<S:oxcNameFileCloseAll()>\n");
  return traced_as(trace::amib, "<E:oxcNameFileCloseAll(%ld)>\n", []() -> OX_RESULT {
    table() = {};
    return OX_OK;
  });
}

OX_RESULT OX_CALL oxcNameFileGetOrgList(int32_t slot, oxcNameItem** list) {
  OX_TRACE(trace::messages, "<S:oxcNameFileGetOrgList(%d, %x)>\n", slot, trace::word(list));
  return traced_as(trace::messages, "<E:oxcNameFileGetOrgList[%d]>\n", [&] { return list_names(slot, list); });
}

#define OX_FIXED_DIRECTORY(Kind, slot, folder)                                  \
  OX_RESULT OX_CALL ox##Kind##FileInit(void) {                                  \
    OX_TRACE(trace::amib, "<X:ox" #Kind "FileInit()>\n");                       \
    return guarded([] { return open_fixed(slot, folder); });                    \
  }                                                                             \
  OX_RESULT OX_CALL oxCreate##Kind##File(const char* name, const char** path) { \
    OX_TRACE(trace::amib, "<X:oxCreate" #Kind "File()>\n");                     \
    return guarded([&] { return oxcCreateName(table().*(slot), name, path); }); \
  }                                                                             \
  OX_RESULT OX_CALL oxDelete##Kind##File(const char* name) {                    \
    OX_TRACE(trace::amib, "<X:oxDelete" #Kind "File()>\n");                     \
    return guarded([&] { return oxcNameDelete(table().*(slot), name); });       \
  }                                                                             \
  const char* OX_CALL ox##Kind##2File(const char* name) {                       \
    OX_TRACE(trace::amib, "<X:ox" #Kind "2File()>\n");                          \
    return text_of(oxcName2File, slot, name);                                   \
  }                                                                             \
  const char* OX_CALL oxFile2##Kind(const char* file) {                         \
    OX_TRACE(trace::amib, "<X:oxFile2" #Kind "()>\n");                          \
    return text_of(oxcFile2Name, slot, file);                                   \
  }                                                                             \
  OX_RESULT OX_CALL ox##Kind##FileUninit(void) {                                \
    OX_TRACE(trace::amib, "<X:ox" #Kind "FileUninit()>\n");                     \
    return guarded([] { return oxcNameFileClose(table().*(slot)); });           \
  }

OX_FIXED_DIRECTORY(Map, &NameSlots::map_files, "backgnd")
OX_FIXED_DIRECTORY(Type, &NameSlots::type_files, "comp")
