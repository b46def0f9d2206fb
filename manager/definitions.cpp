#include "manager/definitions.h"

#include <oxbase/oxb.h>
#include <oxbase/oxc.h>

#include "manager/base/file_list.h"
#include "manager/base/paths.h"

namespace ox::manager {
namespace {

// A list of files for the library.
class Entries {
 public:
  explicit Entries(const std::vector<std::string>& files) : entries_(files.size()) {
    for (std::size_t i = 0; i < files.size(); ++i) {
      entries_[i].path = files[i].c_str();
      (void)oxcQueueAdd(&list_, &entries_[i]);
    }
  }
  Entries(const Entries&) = delete;
  Entries& operator=(const Entries&) = delete;

  [[nodiscard]] oxbFileEntry* list() { return list_; }
  // Those that are loaded, or are not.
  [[nodiscard]] std::vector<std::string> files(bool loaded) const {
    std::vector<std::string> found;
    for (const oxbFileEntry& entry : entries_) {
      if ((entry.done != 0) == loaded) found.emplace_back(entry.path);
    }
    return found;
  }

 private:
  std::vector<oxbFileEntry> entries_;
  oxbFileEntry* list_ = nullptr;
};

OX_RESULT build(const std::vector<std::string>& files) {
  Entries entries(files);
  return oxbLoadAmibFiles(entries.list(), nullptr, nullptr);
}

}  // namespace

std::vector<std::string> sound_amib_files(const FaultSink& faults, bool& sound) {
  const std::string directory = join(oxcGetWorkdir(), "public", "amib");
  const std::vector<std::string> files = amib_files(directory, faults, sound);
  LibraryFaults told{faults};
  if (files.empty()) {
    faults(directory, 0, "no definition files");
    sound = false;
    return files;
  }
  Entries entries(files);
  oxbInitAmibTree(OXB_SCRATCH_TREE);
  OX_RESULT result = oxbLoadAmibFiles(entries.list(), LibraryFaults::note, &told);
  const std::vector<std::string> loaded = entries.files(true);
  for (const std::string& file : entries.files(false)) faults(file, 0, "left out; the other files are used without it");
  if (!loaded.empty()) result = oxbCheckAmibTexts(nullptr, LibraryFaults::note, &told);
  if (result != OX_OK && told.sound) LibraryFaults::note(&told, directory.c_str(), 0, result, "");
  (void)oxbDeleteAmibTree(OXB_SCRATCH_TREE);
  oxbInitAmibTree(OXB_TREE);
  sound = sound && told.sound;
  return loaded;
}

void with_scratch_tree(const std::vector<std::string>& files, const std::function<void()>& call) {
  oxbInitAmibTree(OXB_SCRATCH_TREE);
  if (build(files) == OX_OK) call();
  (void)oxbDeleteAmibTree(OXB_SCRATCH_TREE);
  oxbInitAmibTree(OXB_TREE);
}

OX_RESULT hold_tree(const std::vector<std::string>& files, bool& outdated) {
  outdated = false;
  if (files.empty()) return OX_ENOTFOUND;
  Entries entries(files);
  oxbInitAmibTree(OXB_TREE);
  if (oxbUseAlreadyExistAmibTree(entries.list()) == OX_OK) return OX_OK;
  oxbInitAmibTree(OXB_TREE);
  OX_RESULT result = build(files);
  if (result == OX_ETREEEXISTS && oxbSupersedeAmibTree(OXB_TREE) == OX_OK) result = build(files);
  if (result != OX_ETREEEXISTS) return result;
  result = oxbTakeOverAmibTree(OXB_TREE);
  outdated = result == OX_OK;
  return result == OX_ENOSHM ? build(files) : result;  // the last holder has just gone
}

}  // namespace ox::manager
