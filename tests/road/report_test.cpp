// Reports of a real agent: made, fed, their pages by hand and by the manager's job.
#include <oxbase/oxc.h>

#include "tests/road/daemon.h"
#include "tests/support/installation.h"
#include "tests/support/snmpd.h"

namespace ox::test {
namespace {

std::string reports() { return work_dir() + "/data/report/"; }

TEST(ReportRoad, PagesOfARealAgent) {
  Daemon daemon;
  const Snmpd agent(system_root() + "/agent");
  // As wide, where these bytes would be other characters.
  const std::string title = oxcGetCodePage() == 65001 ? "通信量" : "Uplink";
  expect({
      {"oxset --add node:r1 obj.node.nodeAddress.0 127.0.0.1 obj.node.nodePort.0 " + std::to_string(agent.port()),
       "0 "},
      {"oxreport types --csv", "~0 \navailability,1.0,Availability of agents"},
      {"oxreport list", "0 "},
      {"oxreport create none",
       "1 oxreport: repType:none: error 84: the manager has no report type of that name\n"
       "  next: oxreport types\n"},
      {"oxreport create host_trf -p x=1", "2 oxreport: --parameter x=1: write NAME=NUMBER; the type has none\n"},
      {"oxreport create host_trf --period 1x", "~2 \"1x\" is no period"},
      {"oxreport create host_trf -c node:r1 -i 1s --title '" + title + " <1>' --folder in/traffic --start",
       "0 repEnt1\n"},
      {"oxreport create availability --log logEnt1 --folder ../../out", "0 repEnt2\n"},
      {"oxreport list",
       "~0 NAME     TITLE                   STATE    TYPE          LOG ENTRY  PERIOD  LAST PAGE\n"
       "repEnt1  " +
           title + " <1>              started  host_trf      logEnt1    1D\n"},
      {"oxreport run", "2 oxreport: name a report, or give --all\n"},
      {"oxreport run repEnt2", "~1 repEnt:repEnt2: folder ../../out leads out of the folder of reports; next: "},
  });
  // Until a page is made there is one that says so.
  EXPECT_NE(std::string::npos, read_file(reports() + "in/traffic/traffic.htm").find("This report has been started"));
  await("oxlog data logEnt1 --rate --csv", "ifInOctets,1,");
  // The manager's job makes the page, by the other name of the program.
  expect({{"oxset cmdEnt:_oxreport 11.23.4.0 1", "0 "}});
  await("oxjob runs _oxreport", "leads out of the folder of reports");
  wait_for_text(reports() + "in/traffic/traffic.htm", "id=\"data\"");
  expect({{"oxjob stop _oxreport", "0 "},
          {"oxreport stop repEnt1",
           "0 oxreport: logEnt:logEnt1, which stops, feeds repEnt:repEnt2, too; "
           "oxreport start repEnt2 goes on\n"}});
  const std::string made = run("oxreport run repEnt1");
  const std::string page = read_file(reports() + "in/traffic/traffic.htm");
  expect_parts(page, {"<title>" + title + " &lt;1&gt;</title>", "default-src 'none'", "\"names\":[\"in\",\"out\"]",
                      "\"average\":[", "<path class=\"curve\"", "<b>lo</b>"});
  EXPECT_EQ(made, run("oxreport run repEnt1"));
  EXPECT_EQ(page, read_file(reports() + "in/traffic/traffic.htm"));
  const std::string csv = read_file(made.substr(2, made.find('\n') - 2));
  EXPECT_EQ(0u, csv.find("time,component,index,label,m1,m2,in,out,gap\r\n20")) << csv;
  expect_parts(csv, {",node:r1,1,lo,"});
  expect(
      {{"oxreport open repEnt1", "~0 traffic.htm\n"},
       {"oxreport run --all", "~1 repEnt:repEnt2: folder "},
       {"oxreport delete repEnt2", "0 oxreport: its files stay, and so does logEnt:logEnt1 (oxlog delete logEnt1)\n"},
       {"oxreport start repEnt2", "~1 next: oxreport list\n"}});
}

TEST(ReportRoad, TypesAreCheckedAndReplaced) {
  Daemon daemon;
  const std::string file = work_dir() + "/public/reptype/mine.def";
  const std::string rest =
      "mibname: .system.sysUpTime.0\nparameter: scale 2\ncalcdata: x = m1 * scale\ngraphdata: 'The time' s x\n";
  write_file(file, "reptype: mine\nversion: 1\ndescription: old\nhelpfile: gone\n" + rest);
  expect({
      {"oxreport check " + file, "0 "},
      {"oxreport types", "~0 mine          1        old\n"},
      {"oxreport create mine --log _logEnt1 -p scale=3k", "0 repEnt1\n"},
      {"oxreport run repEnt1", "~1 repEnt:repEnt1: parameter scale is \"3k\", which is no number\n  next: oxset "},
  });
  write_file(file, "reptype: mine\nversion: 2\ndescription: new\n" + rest);
  expect({
      {"oxreport types", "~0 mine          1        old\n"},
      {"oxreport types --update", "0 mine: version 2 in the place of 1\n"},
      {"oxreport types --update", "0 "},
      {"oxreport types", "~0 mine          2        new\n"},
      {"oxget repType:mine 11.30.12.0", "~1 "},
  });
  write_file(file, "reptype: mine\nbad\nmibname: .system.none\ncolour: red\ncalcdata: x = m1 +\nhelptopic: 12abc\n");
  const std::string name = file;
  expect(
      {{"oxreport check " + file, "1 " + name + ":2: error 4: A line of the definition file has a syntax error.\n" +
                                      name + ":3: .system.none is no attribute that this installation knows\n" + name +
                                      ":4: \"colour\" is no keyword; it is passed over\n" + name +
                                      ":5: a number, a name or ( is missing before the end\n" + name +
                                      ":6: \"12abc\" is no number\n" + name +
                                      ": nothing is drawn: there is no graphdata\n"},
       {"oxreport list", "~0 2: error 4: A line of the definition file has a syntax error.; the file is left out: "}});
}

}  // namespace
}  // namespace ox::test
