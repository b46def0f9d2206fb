#include "tools/definitions.h"

#include <cstdio>

#include "tools/diagnosis.h"
#include "tools/text.h"

namespace tool {
namespace {

void OX_CALL tell(void* fault, const char* file, uint32_t line, OX_RESULT code, const char* subject) {
  (*static_cast<const Fault*>(fault))(file, line, code, subject);
}

}  // namespace

void load_tree(const std::vector<std::string>& files, Fault fault) {
  std::vector<oxbFileEntry> entries(files.size());
  oxbFileEntry* list = nullptr;
  for (std::size_t i = 0; i < files.size(); ++i) {
    entries[i].path = files[i].c_str();
    (void)oxcQueueAdd(&list, &entries[i]);
  }
  bool told = false;
  Fault noting = [&](const std::string& file, uint32_t line, OX_RESULT code, const std::string& subject) {
    told = true;
    fault(file, line, code, subject);
  };
  oxbInitAmibTree(OXB_SCRATCH_TREE);
  const OX_RESULT result = oxbLoadAmibFiles(list, tell, &noting);
  if (!told) require(result, "definition files");
}

void check_texts(const char* file, Fault fault) {
  require(oxbCheckAmibTexts(file, tell, &fault), file != nullptr ? file : "enumerations and descriptions");
}

std::string fault_line(const std::string& file, uint32_t line, OX_RESULT code, const std::string& subject) {
  return shown_path(file) + ":" + std::to_string(line) + ": error " + std::to_string(code) + ": " +
         (subject.empty() ? "" : on_one_line(subject) + ": ") + error_text(code);
}

std::vector<std::string> definition_files() {
  if (const Diagnosis found = examine_installation(); !found.what.empty()) {
    throw Explained("installation", OX_ENOTINSTALLED, found);
  }
  const std::string directory = std::string(oxcGetWorkdir()) + "/public/amib";
  oxfFileList* list = nullptr;
  require(oxbGetAmibFiles(".def", &list), directory);
  const Owner<oxfFileList, oxfFileListFree> owner(list);
  std::vector<std::string> files;
  for (const oxfFileList* file = list; file != nullptr; file = oxfGetFileNext(file)) {
    files.emplace_back(oxfGetFileName(file));
  }
  if (files.empty()) throw std::runtime_error(directory + ": no definition files");
  return files;
}

void attach_tree() {
  if (oxbInit(OXB_TREE) == OX_OK) return;
  std::string left_out;
  load_tree(definition_files(),
            [&](const std::string& file, uint32_t line, OX_RESULT code, const std::string& subject) {
              if (file == left_out) return;
              left_out = file;
              say(stderr, "%s; the file is left out\n", fault_line(file, line, code, subject).c_str());
            });
  uint32_t root = 0;
  require(oxbEntry("", &root), "definition files");
}

}  // namespace tool
