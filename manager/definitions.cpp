#include "manager/definitions.h"

#include <algorithm>
#include <array>

#include <oxbase/oxb.h>
#include <oxbase/oxc.h>
#include <oxbase/oxs.h>

#include "manager/base/file_list.h"
#include "manager/base/node_list.h"
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

// Whether an SNMP message can hold a value of the type: the codec is asked for one.
bool snmp_carries(std::uint32_t type) {
  oxdType info{};
  if (oxdTypeInfo(type, &info) != OX_OK) return false;
  const std::uint32_t size = std::max(info.size, 1u);
  const NodePtr node = make_node();
  void* const value = oxcMemZalloc(size, "definitions");
  if (value == nullptr || oxdSetRawValue(node.get(), type, size, value) != OX_OK) throw std::bad_alloc();
  oxsSnmpMessage message{};
  message.bindings = node.get();
  void* encoded = nullptr;
  std::uint32_t length = 0;
  const OX_RESULT result = oxsSnmpEncode(&message, &encoded, &length);
  (void)oxcMemFree(encoded);
  return result != OX_EENCODE;
}

// Names the attributes of agents that have a type of which agents know nothing. False when there is one.
bool check_types(const std::string& directory, const FaultSink& faults) {
  std::array<bool, OXD_TYPES> carried{};
  for (std::uint32_t type = 0; type < OXD_TYPES; ++type) carried[type] = snmp_carries(type);
  bool sound = true;
  std::uint32_t top = 0;
  if (oxbEntry("", &top) != OX_OK) return true;
  for (std::uint32_t leaf = oxbTraverse(top, 0); leaf != 0; leaf = oxbTraverse(top, leaf)) {
    const std::uint32_t type = oxbAmibType(leaf);
    if (oxbAmibInterface(leaf) != OXB_SNMP || carried[type]) continue;
    const bool settable = (oxbAccessControl(leaf) & OXB_WRITE) != 0;
    if (type == OX_OPAQUE && !settable) continue;  // read well enough
    const char* name = "";
    oxdType info{};
    if (oxbApToStr(leaf, &name) != OX_OK || oxdTypeInfo(type, &info) != OX_OK) continue;
    const char* const effect =
        type == OX_OPAQUE ? "it can be read, but not set" : "it is shown as what the agent sends, and cannot be set";
    faults(directory, 0,
           std::string(name) + ": SNMP carries no " + info.keyword + ": " + effect +
               "; give it a type that its agent has");
    sound = false;
  }
  return sound;
}

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
  told.sound = check_types(directory, faults) && told.sound;
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
