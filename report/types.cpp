// The registered types and their files.
#include <filesystem>

#include <oxbase/oxbase.h>

#include "report/commands.h"
#include "tools/text.h"

namespace report {
namespace {

using TypePtr = tool::Owner<RepType, oxrepFreeRepType>;

std::vector<std::string> type_files() {
  const std::string folder = (std::filesystem::path(oxcGetWorkdir()) / "public" / "reptype").string();
  oxfFileList* list = nullptr;
  tool::require(oxfGetFileList(folder.c_str(), ".def", 0, &list), folder);
  const tool::Owner<oxfFileList, oxfFileListFree> owner(list);
  std::vector<std::string> files;
  for (const oxfFileList* file = list; file != nullptr; file = oxfGetFileNext(file)) {
    files.emplace_back(oxfGetFileName(file));
  }
  return files;
}

std::string text_of(const RepType* type, std::uint32_t number) {
  const char* const text = oxrepRepTypeValue(type, number, 0);
  return text != nullptr ? text : "";
}

// A registered type goes as a whole: what the new one lacks would stay.
void replace(const char* manager, const RepType* type) {
  constexpr std::uint32_t component_delete = 14;
  const std::string name = text_of(type, OXREP_TYPE_NAME);
  const tool::NodesPtr nodes(oxdAlloc(2));
  if (nodes == nullptr) throw std::bad_alloc();
  const std::pair<const char*, const char*> arguments[] = {{"10.7.1.0", "repType"}, {"10.7.8.0", name.c_str()}};
  dnode* node = nodes.get();
  for (const auto& [path, text] : arguments) {
    tool::require(oxdSetAmibName(node, path), name);
    tool::require(oxdSetText(node, text), name);
    node = oxdNext(node);
  }
  tool::require(oxaMgmtControl(manager, component_delete, nodes.get(), nullptr), "repType:" + name);
  tool::require(oxrepRepTypeCreate(manager, name.c_str()), "repType:" + name);
  tool::require(oxrepSetRepType(manager, type), "repType:" + name);
}

}  // namespace

int list_types(const Call& call) {
  tool::print_entries(call.form, nullptr, type_family, tool::entries(call.manager, type_family));
  return tool::exit_ok;
}

int update_types(const Call& call) {
  for (const std::string& file : type_files()) {
    RepType* read = nullptr;
    if (oxrepReadRepType(file.c_str(), &read) != OX_OK) continue;  // told when the types were registered
    const TypePtr type(read);
    const std::string name = text_of(read, OXREP_TYPE_NAME);
    RepType* registered = nullptr;
    tool::require(oxrepGetRepType(call.manager, name.c_str(), &registered), "repType:" + name);
    const TypePtr before(registered);
    const std::string old = text_of(registered, OXREP_TYPE_VERSION);
    const std::string fresh = text_of(read, OXREP_TYPE_VERSION);
    if (old == fresh) continue;
    replace(call.manager, read);
    (void)tool::say(stdout, "%s: version %s in the place of %s\n", name.c_str(), fresh.empty() ? "-" : fresh.c_str(),
                    old.empty() ? "-" : old.c_str());
  }
  return tool::exit_ok;
}

}  // namespace report
