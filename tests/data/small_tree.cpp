#include "tests/data/small_tree.h"

#include <gtest/gtest.h>

#include <oxbase/oxb.h>

#include "tests/support/system_root.h"

namespace ox::test {

void build_small_tree() {
  const std::string directory = work_dir() + "/public/amib/";
  write_file(directory + "small.def",
             "iso amibtop.1 AMIBNONE not-accessible NULL-ACS\n"
             "org iso.3 AMIBNONE not-accessible NULL-ACS\n"
             "dod org.6 AMIBNONE not-accessible NULL-ACS\n"
             "internet dod.1 AMIBNONE not-accessible NULL-ACS\n"
             "mgmt internet.2 AMIBNONE not-accessible NULL-ACS\n"
             "mib-2 mgmt.1 AMIBNONE not-accessible NULL-ACS\n"
             "system mib-2.1 Aggregate not-accessible SNMP-ACS\n"
             "sysDescr system.1 DisplayString read-only SNMP-ACS\n"
             "sysUpTime system.3 TimeTicks read-only SNMP-ACS\n"
             "sysState system.9 INTEGER read-only SNMP-ACS\n"
             "private internet.4 AMIBNONE not-accessible NULL-ACS\n"
             "enterprises private.1 AMIBNONE not-accessible NULL-ACS\n"
             "maker enterprises.64312 AMIBNONE not-accessible NULL-ACS\n"
             "obj amibtop.11 AMIBNONE not-accessible NULL-ACS\n"
             "cmn obj.1 Aggregate not-accessible CONF-ACS\n"
             "cmnName cmn.1 DisplayString read-write CONF-ACS\n");
  write_file(directory + "small.enm", "1.3.6.1.2.1.1.9:\n{\n up(1)\n down(2)\n}\n");
  oxbInitAmibTree(OXB_TREE);
  ASSERT_EQ(0u, oxbAddAmibTree((directory + "small.def").c_str()));
}

}  // namespace ox::test
