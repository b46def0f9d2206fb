// The files of the tree as users have them: any number, in any order, with faults in some.
#include <oxbase/oxb.h>

#include "amib/description.h"
#include "amib/enumeration.h"
#include "amib/loader.h"
#include "amib/public_files.h"
#include "amib/tree.h"
#include "common/trace.h"

namespace ox::amib {
namespace {

// A file that loads after all had been changed since.
OX_RESULT load_files(oxbFileEntry* list, const FaultSink& faults) {
  if (list == nullptr) return OX_ENOTINTABLE;
  if (const OX_RESULT result = add_in_passes(list); result != OX_OK) return result;
  OX_RESULT first = OX_OK;
  for (oxbFileEntry* file = list; file != nullptr; file = file->next) {
    if (file->done != 0) continue;
    const OX_RESULT result = add_file_telling(file->path, faults);
    if (result == OX_OK) file->done = 1;
    if (first == OX_OK) first = result;
  }
  return first;
}

OX_RESULT check_text_file(const std::string& path, const FaultSink& faults) {
  return path.ends_with(".enm") ? check_enum_file(path.c_str(), faults) : check_description_file(path.c_str(), faults);
}

// One that cannot be read is a fault of its own.
OX_RESULT check_installed_texts(const FaultSink& faults) {
  for (const char* const extension : {".enm", ".dsc"}) {
    std::vector<std::string> files;
    if (const OX_RESULT result = list_public_files(extension, files); result != OX_OK) return result;
    for (const std::string& file : files) {
      const OX_RESULT result = check_text_file(file, faults);
      if (result == OX_ENOMEM) return result;
      if (result != OX_OK) faults.tell(file.c_str(), 0, result);
    }
  }
  return OX_OK;
}

}  // namespace
}  // namespace ox::amib

using namespace ox;

extern "C" {

OX_RESULT OX_CALL oxbLoadAmibFiles(oxbFileEntry* list, oxbFault fault, void* argument) {
  OX_ENTRY("oxbLoadAmibFiles", ":%x", trace::word(list));
  return traced("oxbLoadAmibFiles", [&] { return amib::load_files(list, {fault, argument}); });
}

OX_RESULT OX_CALL oxbCheckAmibTexts(const char* path, oxbFault fault, void* argument) {
  OX_ENTRY("oxbCheckAmibTexts", ":%s", trace::text(path));
  return traced("oxbCheckAmibTexts", [&]() -> OX_RESULT {
    if (fault == nullptr) return OX_EARG;
    if (!amib::is_attached()) return OX_ENOSESSION;
    const amib::FaultSink faults{fault, argument};
    return path != nullptr ? amib::check_text_file(path, faults) : amib::check_installed_texts(faults);
  });
}

}  // extern "C"
