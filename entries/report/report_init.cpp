// Registering what the definition files say, and the job that makes the pages.
#include <set>

#include <oxbase/oxcmd.h>
#include <oxbase/oxf.h>

#include "common/error_position.h"
#include "common/paths.h"
#include "data/value_texts.h"
#include "entries/component.h"
#include "entries/report/report.h"

namespace ox::entries {
namespace {

using Names = std::set<std::string, std::less<>>;

// The manager's names of its types: of the components; where an answer has none, what it says itself.
OX_RESULT read_registered(Names& names) {
  dnode_ptr answer;
  const OX_RESULT result = get(nullptr, {report_type_type, "*"}, "11.30.2.0", 28, 0, answer);
  if (result != OX_OK) return result == OX_ENOTFOUND ? OX_RESULT{OX_OK} : result;
  for (const dnode* node = answer.get(); node != nullptr; node = oxdNext(node)) {
    const char* name = nullptr;
    OX_RESULT found = oxdGetCompName(node, &name);
    if (found != OX_OK) found = data::display_text(*node, name);
    if (found == OX_ENOMEM) return found;
    if (found == OX_OK) names.insert(name);
  }
  return OX_OK;
}

// Half of a type would look registered.
OX_RESULT register_type(const RepType& type) {
  const char* const name = type.name.text;
  const OX_RESULT made = oxrepRepTypeCreate(nullptr, name);
  if (made != OX_OK) return made == OX_EEXISTS ? OX_RESULT{OX_OK} : made;  // by another process, just now
  AddedComponent component(delete_command, nullptr, {report_type_type, name});
  const OX_RESULT result = oxrepSetRepType(nullptr, &type);
  if (result == OX_OK) component.release();
  return result;
}

// The first error of a file, and where it stands.
struct FileFault {
  OX_RESULT code = OX_OK;
  std::string file{};
  std::uint32_t line = 0;

  void note(OX_RESULT result) {
    if (code != OX_OK) return;
    const char* name = nullptr;
    (void)oxfGetErrorFile(&name, &line);
    if (name != nullptr) file = name;
    code = result;
  }
};

// Goes on behind a file that cannot be read.
OX_RESULT register_files(const oxfFileList* files, Names& known, FileFault& fault) {
  for (const oxfFileList* file = files; file != nullptr; file = oxfGetFileNext(file)) {
    RepType* read = nullptr;
    const OX_RESULT result = oxrepReadRepType(oxfGetFileName(file), &read);
    const report_type_ptr type(read);
    if (result == OX_ENOMEM) return result;
    if (result != OX_OK) fault.note(result);
    if (result != OX_OK || !known.insert(type->name.text).second) continue;
    if (const OX_RESULT registered = register_type(*type)) return registered;
  }
  return OX_OK;
}

struct FilesDelete {
  void operator()(oxfFileList* files) const noexcept { (void)oxfFileListFree(files); }
};

OX_RESULT register_types(FileFault& fault) {
  Names known;
  if (const OX_RESULT result = read_registered(known)) return result;
  oxfFileList* list = nullptr;
  const OX_RESULT listed = oxfGetFileList(work_path({"public", "reptype"}).c_str(), ".def", 0, &list);
  const std::unique_ptr<oxfFileList, FilesDelete> files(list);
  if (listed != OX_OK) return listed == OX_ENOMEM ? listed : OX_RESULT{OX_ENAMELONG};
  return register_files(files.get(), known, fault);
}

struct CommandDelete {
  void operator()(cmdEntry* record) const noexcept { (void)oxcmdEntryFree(record); }
};
using command_ptr = std::unique_ptr<cmdEntry, CommandDelete>;

OX_RESULT fill_job(cmdEntry* job, const char* name) {
  constexpr std::uint32_t seconds = 600;
  constexpr std::uint32_t catches_up = 3;  // one run that was missed
  OX_RESULT result = oxcmdCmdEntSetCmdEntryName(job, name);
  if (result == OX_OK) result = oxcmdCmdEntSetOwner(job, "Oxreport");
  if (result == OX_OK) result = oxcmdCmdEntSetCmdName(job, "LogToCsv.exe");
  if (result == OX_OK) result = oxcmdCmdEntSetInterval(job, seconds);
  if (result == OX_OK) result = oxcmdCmdEntSetMode(job, catches_up);
  if (result == OX_OK) result = oxcmdCmdEntSetAdminStatus(job, 1);
  return result;
}

OX_RESULT make_job() {
  constexpr char name[] = "_oxreport";
  dnode_ptr answer;
  OX_RESULT result = get(nullptr, {"cmdEnt", name}, "11.1.1.0", 63, 5, answer);
  if (result == OX_OK || result == OX_ENOMEM) return result;
  const command_ptr job(oxcmdEntryAlloc());
  result = job ? fill_job(job.get(), name) : OX_RESULT{OX_ENOMEM};
  cmdEntry* made = nullptr;
  if (result == OX_OK) result = oxcmdCreateNewCmdEntry(nullptr, job.get(), &made);
  (void)oxcmdEntryFree(made);
  return result == OX_EEXISTS ? OX_RESULT{OX_OK} : result;
}

OX_RESULT init() {
  FileFault fault;
  OX_RESULT result = register_types(fault);
  if (result == OX_OK) result = make_job();
  if (result != OX_OK || fault.code == OX_OK) return result;
  (void)oxfSetErrorFile(fault.file.c_str(), fault.line);
  return fault.code;
}

}  // namespace
}  // namespace ox::entries

OX_RESULT OX_CALL oxrepInit(void) {
  OX_REP_START("oxrepInit", "");
  return OX_REP_CALL("oxrepInit", [] { return ox::entries::init(); });
}
