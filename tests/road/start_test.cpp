// What a manager finds at its start. When it cannot start it says why to who starts it, and what to type next, wherever
// its log goes.
#include <chrono>
#include <filesystem>
#include <thread>

#include <oxbase/oxa.h>
#include <oxbase/oxb.h>

#include "access/session.h"
#include "platform/shared_block.h"
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

// Of changed definition files beside clients that hold the tree of the old ones. Where a name can be taken from its
// holders, the new tree is there at once; else when nobody holds the old one.
TEST(Start, ChangedDefinitionsBesideALivingClient) {
  Daemon daemon;
  ASSERT_EQ(0u, oxaInit(nullptr));
  ASSERT_EQ(0, daemon.end());
  write_file(work_dir() + "/public/amib/later.def", "later obj.900 INTEGER read-only CONF-ACS\n");
  daemon.start();
  uint32_t node = 0;
  EXPECT_EQ(125u, oxbEntry("obj.later", &node));
  EXPECT_EQ(0u, oxbEntry("obj.cmn.cmnName", &node));
  const auto later = [] { return run("oxamib name obj.later").substr(0, 9); };
  const auto faults = [] { return run("oxget system:system sysmib.oxFaults.faultCount.0 -f %V"); };
  const bool at_once = platform::SharedBlock::take_name("no such name") == platform::error_file_not_found;
  EXPECT_EQ(at_once ? "0 11.900 " : "1 oxamib:", later());
  EXPECT_EQ(at_once ? "0 0" : "0 1", faults());
  const std::string log = daemon.log();
  for (const char* const line :
       {"hold the AMIB of older definition files", " uses the AMIB of older definition files"}) {
    EXPECT_EQ(at_once, log.find(line) == log.npos) << line << " in " << log;
  }
  session().close();
  (void)oxbDeleteAmibTree(OXB_TREE);
  for (int i = 0; i < 200 && later() != "0 11.900 "; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_EQ("0 11.900 ", later()) << daemon.log();
}

}  // namespace
}  // namespace ox::test
