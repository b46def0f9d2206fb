// The event tools and the example application against a real manager.
#include "platform/registry.h"
#include "tests/road/daemon.h"
#include "tests/support/snmpd.h"
#include "tests/support/system_root.h"

namespace ox::test {
namespace {

class ToolRoad : public testing::Test {
 protected:
  static std::string run(const std::string& line, int expected = 0) { return Started(line).end(expected); }

  Daemon daemon_;
};

TEST_F(ToolRoad, EventsAreSentAwaitedAndKept) {
  const std::string fields =
      "--type 0x103 --id 7 --ref-id 6 --time 1000 --recover-time 2000 --msg-number 5 --flag 2 --community c "
      "--msg-file f.msg --opt-msg o --memo m --map top --component node:r1 --sender tester";
  const std::string sent = run("oxevent send --json " + fields);
  expect_parts(sent, {"\"sndId\":1,", "\"eventType\":259", "\"eventId\":7", "\"refEventId\":6", "\"occurTime\":1000",
                      "\"recoverTime\":2000", "\"msgNumber\":5", "\"flag\":2", "\"commName\":\"c\"",
                      "\"msgFile\":\"f.msg\"", "\"optMsg\":\"o\"", "\"memo\":\"m\"", "\"mapName\":\"top\"",
                      "\"compType\":\"node\"", "\"compName\":\"r1\"", "\"sender\":\"tester\""});
  EXPECT_NE(std::string::npos, run("oxevent send --sender a\033[1m --memo other").find("  a [1m  other\n"));
  // Each criterion finds the first event alone, and its opposite does not.
  const struct {
    const char* right;
    const char* wrong;
  } criteria[] = {{"--from 500 --to 1500", "--from 1001 --to 1500"},
                  {"--send-id 1", "--send-id 9"},
                  {"--sender test*", "--sender best*"},
                  {"--min-level 3", "--min-level 4"},
                  {"--id 7", "--id 8"},
                  {"--ref-id 6", "--ref-id 7"},
                  {"--community c", "--community d"},
                  {"--comp-type nod?", "--comp-type no"},
                  {"--comp-name r*", "--comp-name q*"},
                  {"--msg-file *.msg", "--msg-file *.txt"},
                  {"--msg-number 5", "--msg-number 4"},
                  {"--memo m", "--memo M"},
                  {"--flag-bit2 1", "--class 1024"},
                  {"--first 1", "--agent 1"},
                  {"--last 2 --memo m", "--generic 0"},
                  {"--checked 0 --id 7", "--checked 1"},
                  {"--ref-id 6", "--specific 0"},
                  {"--ref-id 6", "--enterprise *"},
                  {"--ref-id 6", "--snmp-community *"},
                  {"--ref-id 6", "--ipx 00112233445566778899"}};
  for (const auto& c : criteria) {
    EXPECT_EQ(sent, run(std::string("oxevent log list --json ") + c.right)) << c.right;
    EXPECT_EQ("", run(std::string("oxevent log list --json ") + c.wrong)) << c.wrong;
  }
  (void)run("oxevent log check 1");
  EXPECT_NE(std::string::npos, run("oxevent log list --checked 1").find("checked  node:r1"));
  (void)run("oxevent log uncheck 1");
  EXPECT_EQ(sent, run("oxevent log list --json --first 1"));
  (void)run("oxevent log delete 1");
  (void)run("oxevent cancel 2");
  EXPECT_EQ("", run("oxevent log list"));
  EXPECT_NE("", run("oxevent cancel 2", 1));
  EXPECT_NE("", run("oxevent wait --count x", 2));
  EXPECT_NE("", run("oxevent wait --ipx 12", 1));
}

TEST_F(ToolRoad, WaitsGoOnWhereTheyEnded) {
  Started plain("oxevent wait --memo *2 --count 1");
  Started persistent("oxevent wait --persistent night --count 2");
  // What comes before they listen is not theirs: events are sent until both have had theirs.
  for (int i = 0; (plain.process.running() || persistent.process.running()) && i < 600; ++i) {
    (void)run("oxevent send --memo a2");
  }
  EXPECT_NE(std::string::npos, plain.end().find("a2"));
  (void)persistent.end();
  std::uint32_t number = 0;
  platform::RegistryNumber mark;
  ASSERT_EQ(0u, mark.open("Software\\CORVID\\OXBASE\\evWaitKey\\night", "lastReceiveNumber"));
  EXPECT_EQ(0u, mark.read(number));
  EXPECT_GT(number, 1u) << "also the first process of a wait remembers";
  EXPECT_NE(0xFFFFFFFF, number);
  (void)run("oxevent send --memo more");
  const std::string later = run("oxevent wait --persistent night --count 1 --json --timeout 60");
  EXPECT_NE(std::string::npos, later.find("\"sndId\"")) << later;
  EXPECT_NE(std::string::npos, run("oxevent wait --timeout 1 --count 1", 1).find("the time is over"));
}

TEST_F(ToolRoad, WatchShowsValuesAndTheirChanges) {
  (void)run("oxset --add ruleEnt:day");
  Started watch("oxget --watch --count 3 ruleEnt:* 11.1.1.0,11.13.1.0");
  EXPECT_NE(std::string::npos, watch.until("day").find("ruleEnt:day"));
  (void)run("oxset ruleEnt:day 11.13.1.0 prog");
  (void)run("oxset --add ruleEnt:night");
  const std::string shown = watch.end();
  EXPECT_NE(std::string::npos, shown.find("prog")) << shown;
  EXPECT_NE(std::string::npos, shown.find("ruleEnt:night")) << shown;
  EXPECT_NE(std::string::npos, run("oxget --watch ruleEnt:none 11.1", 1).find("error 84"));
  EXPECT_NE(std::string::npos, run("oxget -m nosuch --watch ruleEnt:day 11.1", 1).find("error 393"));

  // One agent under two names: what is written by the one is seen by the next look at the other.
  const Snmpd agent(system_root() + "/agent");
  for (const std::string node : {"node:a", "node:b"}) {
    (void)run("oxset --add " + node + " obj.node.nodeAddress.0 127.0.0.1 obj.node.nodePort.0 " +
              std::to_string(agent.port()) + " obj.node.nodeWriteCommunity.0 private");
  }
  Started polled("oxget --watch --count 2 --timeout 1 node:a .system.sysDescr.0,.system.sysContact.0");
  (void)polled.until("agent of the tests");
  (void)run("oxset node:b .system.sysContact.0 nightwatch");
  const std::string seen = polled.end();
  EXPECT_NE(std::string::npos, seen.find("nightwatch")) << seen;
  EXPECT_EQ(seen.find("agent of the tests"), seen.rfind("agent of the tests")) << "what has not changed is not told";
}

TEST_F(ToolRoad, ExampleReactsAndEnds) {
  Started example("watch_events 2");
  (void)example.until("waiting");
  (void)run("oxevent send --type 0x101 --memo low");
  (void)run("oxevent send --type 0x102 --memo first");
  (void)run("oxevent send --type 0x103 --memo second");
  EXPECT_EQ("waiting\nevent 2: first\nevent 3: second\n", example.end());
  EXPECT_EQ(std::string::npos, run("oxevent log list --checked 1").find("low"));
  EXPECT_NE(std::string::npos, run("oxevent log list --checked 1").find("second"));
}

}  // namespace
}  // namespace ox::test
