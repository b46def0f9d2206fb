// The exported functions on lists of trap definitions.
#include <initializer_list>
#include <memory>
#include <new>

#include <oxbase/oxf.h>

#include "common/ascii.h"
#include "common/error_codes.h"
#include "common/paths.h"
#include "common/pointer_result.h"
#include "common/settings.h"
#include "common/trace.h"
#include "deffile/trap_file.h"
#include "platform/registry.h"

namespace ox {
namespace {

constexpr char reload_name[] = "TrapConfReloadFlag";
constexpr char standard_enterprise[] = "1.3.6.1.6.3.1.1.5";
constexpr std::uint32_t last_generic = 5;  // egpNeighborLoss

struct FilesDelete {
  void operator()(oxfFileList* list) const noexcept { (void)oxfFileListFree(list); }
};

// Reads the files of one kind. One that cannot be opened is passed over: its exit trace line tells.
OX_RESULT read_files(const std::string& directory, std::uint32_t kind, oxcTrConf& list) {
  oxfFileList* found = nullptr;
  const OX_RESULT result = oxfGetFileList(directory.c_str(), ".def", 1u << (kind - 1), &found);
  const std::unique_ptr<oxfFileList, FilesDelete> owner(found);
  if (result != OX_OK) return result;
  for (const oxfFileList* file = found; file != nullptr; file = oxfGetFileNext(file)) {
    if (read_trap_file(oxfGetFileName(file), list, {}) == OX_ENOMEM) return OX_ENOMEM;
  }
  return OX_OK;
}

OX_RESULT create_list(oxcTrConf** list, std::initializer_list<const char*> directories, bool reset) {
  if (list == nullptr) return OX_EARG;
  auto made = std::make_unique<oxcTrConf>();
  for (const std::uint32_t kind : {OXF_USER, OXF_OTHER, OXF_BASE}) {
    for (const char* directory : directories) {
      const OX_RESULT result = read_files(work_path({"public", directory}), kind, *made);
      if (result != OX_OK) return result;
    }
  }
  // Who may read the definitions need not be allowed to write settings: the list is good all the same.
  if (reset) (void)platform::registry_write(settings::registry_key, reload_name, "False");
  *list = made.release();
  return OX_OK;
}

OX_RESULT search(const oxcTrConf* list, const char* enterprise, std::uint32_t generic, std::uint32_t specific,
                 bool fall_back, const oxcTrTag** tag) noexcept {
  if (list == nullptr || tag == nullptr) return OX_EARG;
  if (enterprise == nullptr || *enterprise == '\0') return OX_ENOTFOUND;
  const oxcTrTag* found = list->find(enterprise, generic, specific);
  if (found == nullptr && fall_back && generic <= last_generic) {
    found = list->find(standard_enterprise, generic, specific);
  }
  if (found == nullptr) return OX_ENOTFOUND;
  *tag = found;
  return OX_OK;
}

OX_RESULT get_reload_flag(std::uint32_t* flag) {
  if (flag == nullptr) return OX_EARG;
  std::string text;
  const platform::Error error = platform::registry_read(settings::registry_key, reload_name, text, 16);
  if (error != platform::error_none && error != platform::error_file_not_found) return code_of_platform_error(error);
  *flag = equal_no_case(text, "True") ? 1 : 0;
  return OX_OK;
}

}  // namespace
}  // namespace ox

using namespace ox;

OX_RESULT OX_CALL oxcTrCreateList(oxcTrConf** list) {
  OX_ENTRY("oxcTrCreateList", ":%x", trace::word(list));
  return traced("oxcTrCreateList", [&] { return create_list(list, {"trap"}, false); });
}

OX_RESULT OX_CALL oxcTrCreateList2(oxcTrConf** list) {
  OX_ENTRY("oxcTrCreateList2", ":%x", trace::word(list));
  return traced("oxcTrCreateList2", [&] { return create_list(list, {"trap"}, true); });
}

OX_RESULT OX_CALL oxcTrCreateList3(oxcTrConf** list) {
  OX_ENTRY("oxcTrCreateList3", ":%x", trace::word(list));
  return traced("oxcTrCreateList3", [&] { return create_list(list, {"trap", "alblock"}, true); });
}

oxcTrConf* OX_CALL oxcTrAllocConf(void) {
  OX_ENTRY("oxcTrAllocConf", "");
  return traced_pointer("oxcTrAllocConf", [] { return new (std::nothrow) oxcTrConf; });
}

OX_RESULT OX_CALL oxcTrFreeConf(oxcTrConf* list) {
  OX_ENTRY("oxcTrFreeConf", ":%x", trace::word(list));
  return traced("oxcTrFreeConf", [&]() -> OX_RESULT {
    delete list;
    return OX_OK;
  });
}

OX_RESULT OX_CALL oxcTrMakeConfList(oxcTrConf* list, const char* path) {
  OX_ENTRY("oxcTrMakeConfList", ":%x:%s", trace::word(list), trace::text(path));
  return traced("oxcTrMakeConfList", [&]() -> OX_RESULT {
    return list != nullptr && path != nullptr ? read_trap_file(path, *list, {}) : OX_RESULT{OX_EARG};
  });
}

OX_RESULT OX_CALL oxcTrAddConfList(oxcTrConf* list, oxcTrTag* tag) {
  OX_ENTRY("oxcTrAddConfList", ":%x:%x", trace::word(list), trace::word(tag));
  tag_ptr owned(list != nullptr ? tag : nullptr);
  const OX_RESULT result = traced("oxcTrAddConfList", [&]() -> OX_RESULT {
    if (!owned) return OX_EARG;
    list->add(owned);
    return OX_OK;
  });
  (void)owned.release();  // on failure the caller's again
  return result;
}

const oxcTrTag* OX_CALL oxcTrFirstTag(const oxcTrConf* list) {
  return traced_read("oxcTrFirstTag", list, [](const oxcTrConf& it) { return it.first(); });
}

OX_RESULT OX_CALL oxcTrSearchTagConfList(const oxcTrConf* list, const char* enterprise, uint32_t genericCode,
                                         uint32_t specificCode, const oxcTrTag** tag) {
  OX_ENTRY("oxcTrSearchTagConfList", ":%x:%s:%u:%u", trace::word(list), trace::text(enterprise), genericCode,
           specificCode);
  return traced("oxcTrSearchTagConfList",
                [&] { return search(list, enterprise, genericCode, specificCode, false, tag); });
}

OX_RESULT OX_CALL oxcTrSearchTrap(const oxcTrConf* list, const char* enterprise, uint32_t genericCode,
                                  uint32_t specificCode, const oxcTrTag** tag) {
  OX_ENTRY("oxcTrSearchTrap", ":%x:%s:%u:%u", trace::word(list), trace::text(enterprise), genericCode, specificCode);
  return traced("oxcTrSearchTrap", [&] { return search(list, enterprise, genericCode, specificCode, true, tag); });
}

OX_RESULT OX_CALL oxcTrSearchSeverity(const oxcTrConf* list, const char* enterprise, uint32_t genericCode,
                                      uint32_t specificCode, uint32_t* severity) {
  OX_ENTRY("oxcTrSearchSeverity", ":%x:%s:%u:%u", trace::word(list), trace::text(enterprise), genericCode,
           specificCode);
  return traced("oxcTrSearchSeverity", [&] {
    if (severity == nullptr) return OX_RESULT{OX_EARG};
    const oxcTrTag* tag = nullptr;
    const OX_RESULT result = search(list, enterprise, genericCode, specificCode, false, &tag);
    if (result == OX_OK) *severity = tag->severity;
    return result;
  });
}

OX_RESULT OX_CALL oxcTrSetReloadFlag(void) {
  OX_ENTRY("oxcTrSetReloadFlag", "");
  return traced("oxcTrSetReloadFlag", [] {
    return code_of_platform_error(platform::registry_write(settings::registry_key, reload_name, "True"));
  });
}

OX_RESULT OX_CALL oxcTrGetReloadFlag(uint32_t* flag) {
  OX_ENTRY("oxcTrGetReloadFlag", ":%x", trace::word(flag));
  return traced("oxcTrGetReloadFlag", [&] { return get_reload_flag(flag); });
}

OX_RESULT OX_CALL oxcTrCheckFile(const char* path, oxcTrFault fault, void* argument) {
  OX_ENTRY("oxcTrCheckFile", ":%s", trace::text(path));
  return traced("oxcTrCheckFile", [&]() -> OX_RESULT {
    if (path == nullptr || fault == nullptr) return OX_EARG;
    oxcTrConf list;
    return read_trap_file(path, list, {fault, argument});
  });
}
