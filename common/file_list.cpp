// The files of a definition directory, in the order in which they are read: base file, others by name, user file.
#include <algorithm>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include <oxbase/oxf.h>

#include "common/ascii.h"
#include "common/error_codes.h"
#include "common/installed_page.h"
#include "common/memory.h"
#include "common/paths.h"
#include "common/pointer_result.h"
#include "common/trace.h"
#include "platform/environment.h"
#include "platform/file.h"

struct oxfFileList {
  oxfFileList* next;
  oxfFileList* prev;
  uint32_t kind;
  char path[1];  // as long as it needs to be
};

namespace {

using ox::platform::DirectoryEntry;

struct Found {
  std::string name;
  std::uint32_t kind;
};

std::string_view after_last_dot(std::string_view name) noexcept {
  const std::size_t dot = name.rfind('.');
  return dot == std::string_view::npos ? std::string_view() : name.substr(dot + 1);
}

// "*" and the extension, and the extension once more after the last ".": "*def" alone would find "adef" too.
bool has_extension(std::string_view name, std::string_view extension) noexcept {
  if (name.size() < extension.size()) return false;
  if (!ox::equal_no_case(name.substr(name.size() - extension.size()), extension)) return false;
  return ox::equal_no_case(after_last_dot(name), after_last_dot(extension));
}

bool is_stem_and_extension(std::string_view name, std::string_view stem, std::string_view extension) noexcept {
  return name.size() == stem.size() + extension.size() && ox::equal_no_case(name.substr(0, stem.size()), stem) &&
         ox::equal_no_case(name.substr(stem.size()), extension);
}

std::uint32_t kind_of(std::string_view name, std::string_view extension) noexcept {
  if (is_stem_and_extension(name, "oxbase", extension)) return OXF_BASE;
  return is_stem_and_extension(name, "user", extension) ? OXF_USER : OXF_OTHER;
}

// The kinds' numbers happen to be their order. Names that differ in case only stay in a fixed order.
bool reads_before(const Found& a, const Found& b) noexcept {
  if (a.kind != b.kind) return a.kind < b.kind;
  const int order = ox::path_page().compare_no_case(a.name, b.name);
  return order != 0 ? order < 0 : a.name < b.name;
}

std::vector<Found> select(std::vector<DirectoryEntry>& entries, std::string_view extension, std::uint32_t mask) {
  std::vector<Found> files;
  for (DirectoryEntry& entry : entries) {
    const auto& is = entry.attributes;
    if (is.directory || is.hidden || is.system || is.temporary || !has_extension(entry.name, extension)) continue;
    const std::uint32_t kind = kind_of(entry.name, extension);
    const std::uint32_t kind_bit = 1U << (kind - 1);
    if (mask == 0 || (mask & kind_bit) != 0) files.push_back({std::move(entry.name), kind});
  }
  std::sort(files.begin(), files.end(), reads_before);
  return files;
}

void free_list(oxfFileList* list) noexcept {
  while (list != nullptr) {
    oxfFileList* next = list->next;
    (void)oxcMemFree(list);
    list = next;
  }
}

struct ListDelete {
  void operator()(oxfFileList* list) const noexcept { free_list(list); }
};
using OwnedList = std::unique_ptr<oxfFileList, ListDelete>;

// The names are kept as the system gave them, whatever characters they hold.
OwnedList make_list(const std::string& directory, const std::vector<Found>& files) {
  OwnedList list;
  for (const Found& file : files) {
    const std::string path = directory + ox::platform::path_separator + file.name;
    void* block = oxcMemZalloc(static_cast<std::uint32_t>(sizeof(oxfFileList) + path.size()), "oxfilelist_002");
    if (block == nullptr) ox::out_of_memory();
    auto* entry = static_cast<oxfFileList*>(block);
    entry->kind = file.kind;
    std::memcpy(entry->path, path.c_str(), path.size() + 1);
    oxfFileList* head = list.release();
    (void)oxcQueueAdd(&head, entry);
    list.reset(head);
  }
  return list;
}

void trace_list(const oxfFileList* list) noexcept {
  if (!ox::trace::on(ox::trace::general)) return;
  (void)ox::trace::write("file list {\n");
  for (; list != nullptr; list = list->next) (void)ox::trace::write("\t%s(%u)\n", list->path, list->kind);
  (void)ox::trace::write("}\n");
}

OX_RESULT get_file_list(const char* directory, const char* extension, std::uint32_t mask, oxfFileList** list) {
  constexpr std::size_t extension_limit = 26;
  if (directory == nullptr || extension == nullptr) return OX_EARG;
  if (std::strlen(extension) >= extension_limit) return OX_EMISSING;
  if (std::strlen(directory) + std::strlen(extension) + 2 >= ox::max_path) return OX_ENAMELONG;

  std::vector<DirectoryEntry> entries;
  const std::string path = ox::join_path({directory});
  const ox::platform::Error error = ox::platform::list_directory(path.c_str(), entries);
  const bool none = error == ox::platform::error_file_not_found || error == ox::platform::error_path_not_found;
  if (error != ox::platform::error_none && !none) return ox::code_of_platform_error(error);

  OwnedList made = make_list(path, select(entries, extension, mask));
  trace_list(made.get());
  if (list != nullptr) *list = made.release();
  return OX_OK;
}

OX_RESULT traced_free(const char* name, oxfFileList* list) noexcept {
  return ox::traced(name, [&]() -> OX_RESULT {
    free_list(list);
    return OX_OK;
  });
}

}  // namespace

OX_RESULT OX_CALL oxfGetFileList(const char* directory, const char* extension, uint32_t mask, oxfFileList** list) {
  OX_TRACE(ox::trace::general, "<S:oxfGetFileList(%s,%s,%x)>\n", ox::trace::text(directory), ox::trace::text(extension),
           mask);
  return ox::traced_as(ox::trace::general, "<E:oxfGetFileList[%d]>\n",
                       [&] { return get_file_list(directory, extension, mask, list); });
}

OX_RESULT OX_CALL oxfFileListFree(oxfFileList* list) {
  OX_ENTRY("oxfFileListFree", ":%x", ox::trace::word(list));
  return traced_free("oxfFileListFree", list);
}

OX_RESULT OX_CALL oxfDestroyFileList(oxfFileList* list) {
  OX_ENTRY("oxfDestroyFileList", ":%x", ox::trace::word(list));
  return traced_free("oxfDestroyFileList", list);
}

// Steps along a list: untraced, like every plain accessor of a loop.
oxfFileList* OX_CALL oxfGetFileNext(const oxfFileList* file) {
  return ox::traced_read("oxfGetFileNext", file, [](const oxfFileList& it) { return it.next; });
}
oxfFileList* OX_CALL oxfGetFilePrev(const oxfFileList* file) {
  return ox::traced_read("oxfGetFilePrev", file, [](const oxfFileList& it) { return it.prev; });
}
const char* OX_CALL oxfGetFileName(const oxfFileList* file) {
  return ox::traced_read("oxfGetFileName", file, [](const oxfFileList& it) { return it.path; });
}
uint32_t OX_CALL oxfGetFileAttrib(const oxfFileList* file) {
  return ox::traced_read("oxfGetFileAttrib", file, [](const oxfFileList& it) { return it.kind; });
}
