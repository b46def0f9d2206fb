#include "tools/diagnosis.h"

#include <cstdlib>

namespace tool {
namespace {

constexpr uint32_t manager_service = 0;
constexpr uint32_t application_level = 7;
constexpr uint32_t directory_mode = 2;
// Where a manager that the machine's administrator has started works.
constexpr char machine_root[] = "/var/lib/oxbase";

std::string root() { return oxcGetSystemRoot(); }

// "the installation in /home/me/oxbase".
std::string installation() { return root().empty() ? "this machine's installation" : "the installation in " + root(); }

std::string make_installation() {
  return root().empty() ? "make one (docs/windows.md)" : "make-installation '" + root() + "'";
}

bool exists(const std::string& path) { return oxcCheckFile(path.c_str(), 1) == OX_OK; }

Diagnosis no_installation() {
  if (root().empty()) {
    return {"nothing is installed on this machine: the registry has no SOFTWARE\\CORVID\\OXBASE",
            make_installation() + ", or name the folder of another one in OXBASE_SYSTEM"};
  }
  const bool named = std::getenv("OXBASE_SYSTEM") != nullptr;
  const std::string what = "no installation in " + root() +
                           (named ? ", which OXBASE_SYSTEM names" : ", which is used while OXBASE_SYSTEM is not set");
  if (root() != machine_root && exists(std::string(machine_root) + "/registry.reg")) {
    return {what, std::string("export OXBASE_SYSTEM=") + machine_root + " for the one that is there; " +
                      make_installation() + " for one of your own"};
  }
  return {what, make_installation() + ", or name the folder of another one in OXBASE_SYSTEM"};
}

Diagnosis no_rights() {
  return {"this user has no rights in " + installation() + ": its group alone may reach the manager",
          "have an administrator add this user to that group (ls -ld '" + root() +
              "' shows it), then log in again; or use another installation: OXBASE_SYSTEM"};
}

Diagnosis examine_folder(const char* setting, const std::string& folder) {
  if (folder.empty()) return {std::string(setting) + " is not set in " + installation(), make_installation()};
  if (oxcCheckFile(folder.c_str(), directory_mode) == OX_OK) return {};
  return {std::string(setting) + " of " + installation() + " is " + folder + ", which is no folder",
          "correct " + std::string(setting) + " in its registry (docs/files.md); it still names the old place of an " +
              "installation that was moved"};
}

Diagnosis examine_group() {
  const OX_RESULT code = oxcCheckUser(application_level);
  if (code == OX_OK) return {};
  const std::string group = std::string("the group ") + oxcGetLocalGroup();
  if (code == OX_EDENIED) {
    return {"this user is not in " + group + ", whose members alone may use " + installation(),
            "have an administrator add this user to it, then log in again"};
  }
  return {group + ", which LocalGroup of " + installation() + " names, cannot be looked up: " + error_text(code),
          "make that group, or correct LocalGroup in the registry (docs/files.md)"};
}

// Whether the manager's mark is held; an error tells who may not even look.
OX_RESULT manager_runs(bool& runs) {
  uint32_t running = 0;
  const OX_RESULT code = oxcIsServiceRunning(manager_service, &running);
  runs = code == OX_OK && running != 0;
  return code;
}

Diagnosis no_manager() {
  return {"no manager is running for " + installation(),
          "oxmgrd    (it says why when it cannot start); when it runs elsewhere, name its folder in OXBASE_SYSTEM"};
}

Diagnosis examine_attachments() {
  if (oxcInitErrmsg() != OX_OK) {
    return {"the error texts of " + installation() + " cannot be read: " + error_text(OX_EINIT),
            make_installation() + " lays down what is missing; oxmgrd --check tells every fault"};
  }
  if (oxaWaitForOxbase(0) != OX_OK) {
    bool runs = false;
    (void)manager_runs(runs);
    if (!runs) return no_manager();
    return {"the manager of " + installation() + " is still starting", "wait, and look into its log (docs/linux.md)",
            true};
  }
  const OX_RESULT code = oxbInit(OXB_TREE);
  if (code == OX_OK) return {{}, {}, true};  // it has come meanwhile
  return {"a manager runs for " + installation() + ", but its AMIB is missing: " + error_text(code),
          "end oxmgrd and start it again; oxmgrd --check tells what is wrong with the definitions"};
}

}  // namespace

Diagnosis examine_rights() {
  bool runs = false;
  return manager_runs(runs) == OX_EDENIED ? no_rights() : Diagnosis();
}

Diagnosis examine_installation() {
  if (Diagnosis found = examine_rights(); !found.what.empty()) return found;
  if (oxcIsOxbaseInstalled() == 0) return no_installation();
  for (const auto& [setting, folder] : {std::pair{"HomeDir", oxcGetHomedir()}, std::pair{"WorkDir", oxcGetWorkdir()}}) {
    if (Diagnosis found = examine_folder(setting, folder); !found.what.empty()) return found;
  }
  return {};
}

Diagnosis examine_session(OX_RESULT code) {
  const OX_RESULT system = oxcGetWinError();  // of the call that failed last
  if (Diagnosis found = examine_installation(); !found.what.empty()) return found;
  if (Diagnosis found = examine_group(); !found.what.empty()) return found;
  if (code == OX_EINIT && system == OX_EDENIED) return no_rights();
  if (code == OX_EINIT) return examine_attachments();
  if (code != OX_ENOPIPE) return {};
  if (system == OX_EDENIED) return no_rights();
  return {"the manager of " + installation() + " has started, and takes no connections: it is just starting or ending",
          "try again, and look into its log (docs/linux.md); if it stays so, end it and start it again: oxmgrd"};
}

void open_session(oxaDisconnect on_disconnect) {
  if (const Diagnosis found = examine_rights(); !found.what.empty()) throw Explained("manager", OX_EINIT, found);
  for (int patience = 20;; --patience) {  // seconds, about
    const OX_RESULT code = oxaInit(on_disconnect);
    if (code == OX_OK) return;
    const Diagnosis found = examine_session(code);
    if (found.passes && patience > 0) continue;
    if (found.what.empty()) throw Failure("manager", code);
    throw Explained("manager", code, found);
  }
}

}  // namespace tool
