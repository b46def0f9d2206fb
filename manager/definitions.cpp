#include "manager/definitions.h"

#include <algorithm>

#include <oxbase/oxb.h>
#include <oxbase/oxc.h>
#include <oxbase/oxf.h>

#include "manager/base/file_list.h"
#include "manager/base/paths.h"

namespace ox::manager {
namespace {

// Whether the tree that exists was made of these files.
OX_RESULT use_existing(const std::vector<std::string>& files) {
  std::vector<oxbFileEntry> entries(files.size());
  oxbFileEntry* list = nullptr;
  for (std::size_t i = 0; i < files.size(); ++i) {
    entries[i].path = files[i].c_str();
    (void)oxcQueueAdd(&list, &entries[i]);
  }
  return oxbUseAlreadyExistAmibTree(list);
}

}  // namespace

std::vector<std::string> amib_files(const FaultSink& faults, bool& sound) {
  return definition_files(join(oxcGetWorkdir(), "public", "amib"), faults, sound);
}

OX_RESULT load_in_passes(std::vector<std::string>& files) {
  OX_RESULT first_error = OX_OK;
  std::size_t before = 0;
  do {
    before = files.size();
    first_error = OX_OK;
    std::vector<std::string> failed;
    for (std::string& file : files) {
      const OX_RESULT result = oxbAddAmibTree(file.c_str());
      if (result == OX_OK) continue;
      if (first_error == OX_OK) first_error = result;
      if (result == OX_ETREEEXISTS) return result;
      failed.push_back(std::move(file));
    }
    files = std::move(failed);
  } while (!files.empty() && files.size() < before);
  return first_error;
}

void report_load_error(const std::string& file, OX_RESULT result, const FaultSink& faults) {
  const char* at = nullptr;
  std::uint32_t line = 0;
  (void)oxfGetErrorFile(&at, &line);
  faults(at != nullptr ? at : file, line, oxcStrError(result));
}

OX_RESULT hold_tree(const std::vector<std::string>& files, const FaultSink& faults) {
  if (files.empty()) return OX_ENOTFOUND;
  oxbInitAmibTree(OXB_TREE);
  if (use_existing(files) == OX_OK) return OX_OK;
  oxbInitAmibTree(OXB_TREE);
  std::vector<std::string> rest = files;
  const OX_RESULT result = load_in_passes(rest);
  if (result == OX_ETREEEXISTS) return result;
  for (const std::string& file : rest) {
    const OX_RESULT fault = oxbAddAmibTree(file.c_str());  // once more, for its position
    report_load_error(file, fault, faults);
  }
  return result;
}

}  // namespace ox::manager
