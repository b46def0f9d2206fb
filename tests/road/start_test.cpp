// A manager that cannot start says why to who starts it, and what to type next, wherever its log goes.
#include <filesystem>

#include "tests/road/daemon.h"
#include "tests/support/installation.h"
#include "tests/support/registry.h"
#include "tests/support/scripted_peer.h"
#include "tests/support/system_root.h"

namespace ox::test {
namespace {

void refuses(const std::string& why, const std::string& next) {
  const std::string told = run("oxmgrd");
  EXPECT_EQ("1 oxmgrd: error: ", told.substr(0, 17)) << told;
  EXPECT_NE(std::string::npos, told.find(why)) << told;
  EXPECT_NE(std::string::npos, told.find("; next: " + next)) << told;
}

TEST(Start, ARefusalNamesItsReasonAndTheNextStep) {
  const std::string root = native(system_root());
  const std::string make = "make-installation '" + root + "'";
  remove_settings();
  refuses("there is no installation in " + root + ": WorkDir is not set", make);
  set_value("HomeDir", home_dir().c_str());
  set_value("WorkDir", (root + "-moved").c_str());
  refuses("WorkDir is " + root + "-moved, which is no folder", "correct WorkDir");
  install_settings();
  refuses("there are no sound definition files in ", make);
  lay_down_installation();
  std::filesystem::remove(work_dir() + "/data");
  write_file(work_dir() + "/data", "no folder");
  refuses("what the manager keeps in", "oxmgrd --check");
}

TEST(Start, WhatOthersHoldIsNamed) {
  lay_down_installation();
  {
    const ScriptedPeer peer;
    refuses("another program serves the manager's pipe", "end it");
  }
  const std::string shown = system_root() + "/shown";
  Program daemon = start_program({"oxmgrd"}, shown, true);
  EXPECT_NE(std::string::npos, wait_for_text(shown, "\n").find("oxmgrd: running; its log: "));
  refuses("another manager", "nothing, when it is the right one");
  daemon.ask_to_end();
  EXPECT_EQ(0, daemon.wait(std::chrono::seconds(20)));
}

}  // namespace
}  // namespace ox::test
