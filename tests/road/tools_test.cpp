// The tools as people and stored commands call them.
#include <oxbase/oxc.h>

#include "common/trace_control.h"
#include "platform/environment.h"
#include "tests/road/daemon.h"
#include "tests/support/installation.h"
#include "tests/support/registry.h"
#include "tests/support/snmpd.h"
#include "tests/support/system_root.h"

namespace ox::test {
namespace {

TEST(Tools, ReadWriteAndRefuse) {
  Daemon daemon;
  const Snmpd agent(system_root() + "/agent");
  for (const std::string version : {"v1", "v2c"}) {
    const std::string node = "node:" + version;
    expect({
        {"oxset --add " + node + " obj.node.nodeAddress.0 127.0.0.1 obj.node.nodePort.0 " +
             std::to_string(agent.port()) + " obj.node.nodeWriteCommunity.0 private obj.node.nodeSnmpVersion.0 " +
             version,
         "0 "},
        {"oxget " + node + " .system.sysDescr.0", "0 " + node + "  .system.sysDescr.0  agent of the tests\n"},
        {"oxset " + node + " .1.6.0 'rack\t" + version + "' .1.4.0 me", "0 "},
        {"oxget " + node + " .1.{4,6}.0 --format %AN=%V\\n",
         "0 1.3.6.1.2.1.1.4.0=me\n1.3.6.1.2.1.1.6.0=rack\t" + version + "\n"},
        {"oxget " + node + " .system -f %AN,", "~0 1.3.6.1.2.1.1.1.0,1.3.6.1.2.1.1.2.0,1.3.6.1.2.1.1.3.0,"},
        {"oxget " + node + " .1.1.5,.1.4.0", "~1 error 157: "},
        {"oxget " + node + " .1.1.5,.1.4.0", "~1 \n" + node + "  .system.sysContact.0  me\n"},
        {"oxget " + node + " .1.1.5 --json", "~1 \"error\": 157"},
        {"oxget " + node + " .system.sysNoSuch.0", "~1 oxget: " + node + " .system.sysNoSuch.0: error 125: The"},
        {"oxset " + node + " .1.1.0 x", "~1 error 5: "},
        {"oxset --add " + node, "~1 error 207: "},
    });
  }
  expect({
      {"oxget node:v2c obj.node.nodeSnmpVersion.0 --json",
       "0 [\n  {\n    \"component\": \"node:v2c\",\n    \"name\": \"obj.node.nodeSnmpVersion.0\",\n"
       "    \"path\": \"11.5.5.0\",\n    \"text\": \"v2c(1)\",\n    \"type\": 1,\n    \"value\": 1\n  }\n]\n"},
      {"oxget node:v2c obj.node.nodeSnmpVersion.0 --raw", "~0   1\n"},
      {"oxset -v node:v2c obj.node.nodeSnmpVersion.0 1", "~0   v2c(1)\n"},
      {"oxset --add ruleEnt:night", "0 "},
      {"oxset -nopass ruleEnt:night 11.13.10.0 1", "0 "},
      {"oxget ruleEnt:* 11.13", "0 ruleEnt:night  obj.ruleEnt.ruleRequest.0  1\n"},
      {"oxset --delete ruleEnt:night", "0 "},
      {"oxset --add router:r1", "~1 write \"comptype: router\" into "},
      {"oxget ruleEnt:night 11.13", "~1 error 84: "},
      {"oxget node:v1", "~2 names is required"},
      {"oxget node:v1 x --json -f y", "~2 excludes"},
      {"oxset node:v1 .1.4.0", "2 oxset: every attribute needs a value\n"},
  });
  EXPECT_EQ(0, daemon.end());
}

TEST(Tools, TheTreeWithAndWithoutAManager) {
  lay_down_installation();
  const std::string folder = system_root() + "/site/";
  write_file(folder + "child.def", "leafA siteA.1 INTEGER read-only CONF-ACS\n");
  write_file(folder + "site.def", "siteA obj.900 AMIBNONE not-accessible NULL-ACS\n");
  write_file(folder + "bad.def",
             "siteB obj.901 AMIBNONE not-accessible NULL-ACS\nsiteC siteB.1 Integer read-only CONF-ACS\n");
  write_file(folder + "orphan.def", "siteD nothing.1 INTEGER read-only CONF-ACS\n");
  write_file(folder + "icmp.def", "icmp mib-2.5 Integer not-accessible NULL-ACS\n");  // instead of the installed one
  write_file(folder + "site.enm", "obj.node.nodeSnmpVersion:\n{up\nup\n}\n");
  const std::string definitions = work_dir() + "/public/amib/oxbase.def ";
  const std::vector<Call> calls = {
      {"oxamib tree .2.1", "0 ifNumber(1)  INTEGER read-only SNMP-ACS\n"},
      {"oxamib tree obj.cmn", "~0 cmn(1)\n  cmnName(1)  DisplayString read-write CONF-ACS\n"},
      {"oxamib name .1.5.0", "~0 1.3.6.1.2.1.1.5.0  iso.org.dod.internet.mgmt.mib-2.system.sysName.0"},
      {"oxamib name obj.cmn.cmnName.0 -j", "~0 \"path\": \"11.1.1.0\""},
      {"oxamib name .noSuch", "~1 oxamib: .noSuch: error 125: "},
      {"oxamib expand a.{b,c{1,2}}.0", "0 a.b.0\na.c1.0\na.c2.0\n"},
      {"oxamib expand a.{b", "~1 error 128: "},
      {"oxamib enum obj.node.nodeSnmpVersion", "0 v1(0)\nv2c(1)\n"},
      {"oxamib", "~2 subcommand"},
  };
  expect(calls);
  expect({
      {"oxamib check", "0 "},
      {"oxamib check " + definitions + folder + "child.def " + folder + "site.def", "0 "},
      {"oxamib check " + definitions + folder + "bad.def", "~1 " + folder + "bad.def:2: error "},
      {"oxamib check " + folder + "orphan.def", "~1 " + folder + "orphan.def:1: error 131: nothing: "},
      {"oxamib check " + folder + "site.def", "0 "},
      {"oxamib check " + folder + "icmp.def", "~1 " + folder + "icmp.def:1: error 61: Integer: "},
      {"oxamib check " + folder + "site.enm", "~1 " + folder + "site.enm:3: error 70: up: "},
  });
  const Daemon daemon;
  expect(calls);
}

// Of what keeps a user out the tools tell what, where and what to type next.
TEST(Tools, WhatKeepsAUserOutIsTold) {
  const std::string root = native(system_root());
  const std::string where = " for the installation in " + root + "\n  next: oxmgrd ";
  const auto get = [](const std::string& told) { expect({{"oxget system:system 11.1.1.0", "~1 " + told}}); };
  const auto refused = [&](const std::string& told) { get("oxget: manager: error 15: " + told); };
  remove_settings();
  refused("no installation in " + root + ", which OXBASE_SYSTEM names\n  next: ");
  get("make-installation '" + root + "'");  // behind the machine's own, where there is one
  expect({{"oxamib tree", "~1 oxamib: installation: error 391: no installation in " + root}});
  install_settings();
  set_value("WorkDir", "");
  refused("WorkDir is not set in the installation in " + root + "\n  next: make-installation");
  set_value("WorkDir", (root + "-moved").c_str());
  refused("WorkDir of the installation in " + root + " is " + root + "-moved, which is no folder\n  next: correct ");
  install_settings();
  refused("the error texts of the installation in " + root + " cannot be read: ");
  lay_down_installation();
  refused("no manager is running" + where);
  for (const char* const group : {foreign_group(), "no such group"}) {
    set_value("LocalGroup", group);
    get(std::string("the group ") + group);
  }
  install_settings();
  {
    const Installation started(Installation::Missing::tree);
    refused("a manager runs for the installation in " + root + ", but its AMIB is missing: ");
  }
  set_value("InitRetryCnt", 0u);
  const Installation ending;
  get("oxget: manager: error 393: the manager of the installation in " + root + " has started, and takes no conn");
}

TEST(Tools, TraceOfARunningProcessIsSwitched) {
  lay_down_installation();
  trace::detach();  // what was made before the system root was known
  trace::attach();
  const std::string self = std::to_string(platform::process_id());
  const std::string file = work_dir() + "/tmp/switched_00.dbg";
  ASSERT_EQ(0u, oxcDebugOutput(0, (work_dir() + "/tmp/switched.dbg").c_str()));
  const std::string row = "~0 " + self + "  ";
  expect({{"oxtrace " + self + " --mask general,messages --file off",
           row + "0x00000240      off   off  general,messages\n"},
          {"oxtrace", row + "0x00000240      off   off  general,messages\n"}});
  (void)oxcDebugOut("file off\n");
  expect(
      {{"oxtrace " + self + " --file on --json", "~0 \"file\": true,\n    \"mask\": 576,\n    \"process\": " + self}});
  (void)oxcDebugOut("file on\n");
  expect({{"oxtrace " + self + " -m none", row + "0x00000000      off    on  none\n"}});
  (void)oxcDebugOut("mask off\n");
  EXPECT_EQ("file on\n", read_text(file));
  expect({
      {"oxtrace 4194305 4194306", "~1 error 193: "},
      {"oxtrace " + self + " --mask generally", "~2 neither a number nor a bit's name"},
      {"oxtrace " + self + " --mask general,", "~2 \"\" is neither"},
      {"oxtrace --mask none", "~2 needs the ids"},
      {"oxtrace " + self + " --file maybe", "~2 "},
      {"oxtrace " + self + " --console on --file off", row + "0x00000000       on   off  none\n"},
  });
}

}  // namespace
}  // namespace ox::test
