// Changed definition files beside clients that hold the tree of the old ones.
#include <chrono>
#include <thread>

#include <oxbase/oxa.h>
#include <oxbase/oxb.h>

#include "access/session.h"
#include "platform/shared_block.h"
#include "tests/road/daemon.h"
#include "tests/support/installation.h"
#include "tests/support/system_root.h"
#include "tests/support/test.h"

namespace ox::test {
namespace {

// Where a name can be taken from its holders, the new tree is there at once; else when nobody holds the old one.
TEST(Definitions, ChangedDefinitionsBesideALivingClient) {
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
