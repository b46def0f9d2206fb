// Changed definition files beside clients that hold the tree of the old ones.
#include <oxbase/oxa.h>
#include <oxbase/oxb.h>

#include "access/session.h"
#include "tests/road/daemon.h"
#include "tests/support/installation.h"
#include "tests/support/system_root.h"
#include "tests/support/test.h"

namespace ox::test {
namespace {

// The new tree is there at once; who holds the old one keeps it.
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
  EXPECT_EQ("0 11.900 ", later());
  EXPECT_EQ("0 0", run("oxget system:system sysmib.oxFaults.faultCount.0 -f %V"));
  session().close();
}

}  // namespace
}  // namespace ox::test
