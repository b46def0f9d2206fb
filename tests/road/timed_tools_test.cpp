// The tools for what the manager does at set times, as people and scripts call them.
#include <memory>

#include "tests/road/daemon.h"
#include "tests/support/installation.h"
#include "tests/support/registry.h"
#include "tests/support/snmpd.h"
#include "tests/support/system_root.h"

namespace ox::test {
namespace {

// No manager is asked about a text.
TEST(TimedTools, SchedulesAreExplained) {
  lay_down_installation();
  set_value("TimeZone", "JST-9");
  const std::string days = "--schedule '08:00:00-18:00:00 1-5' ";
  expect({
      {"oxjob next " + days + "3 --from 2026/11/20.09:00",
       "0 TIME\n2026-11-20 18:00:00  closes\n2026-11-23 08:00:00  opens\n2026-11-23 18:00:00  closes\n"},
      {"oxjob next --schedule 06:00:00 --zone CET-1CEST,M3.5.0,M10.5.0/3 2 --from '2026-10-24 07:00' --json",
       "0 [\n  {\"time\":\"2026-10-25T06:00:00+01:00\",\"kind\":\"runs\"},\n"
       "  {\"time\":\"2026-10-26T06:00:00+01:00\",\"kind\":\"runs\"}\n]\n"},
      {"oxjob next --schedule '06:00:00 * * * 2020/1/1-2020/2/1'", "~0 nothing happens any more"},
      {"oxjob why " + days + "'2026-11-20 12:00'",
       "0 2026-11-20 12:00:00\nyes: a range is open, from 2026-11-20 08:00:00 to 2026-11-20 18:00:00\n"
       "before: 2026-11-20 08:00:00 opens\nafter: 2026-11-20 18:00:00 closes\n"},
      {"oxjob why " + days + "1795251600",
       "0 2026-11-21 18:00:00\nno: times: 18:00:00 is none of field 1\n"
       "no: weekdays: it is a Saturday (6), which field 2 leaves out\nbefore: 2026-11-20 18:00:00 closes\n"
       "after: 2026-11-23 08:00:00 opens\n"},
      {"oxjob why --schedule '6:0:0 * 1 1 2026/1/1-future ~0/12/24' '2026-12-24 06:00'",
       "~0 \nno: days of the month: field 3 leaves out the 24\nno: months: field 4 leaves out month 12\nafter: 2027"},
      {"oxjob why --schedule '06:00:00 * * * * ~0/12/24' '2026-12-24 06:00'", "~0 no: calendar: an item of field 6"},
      {"oxjob why --schedule 06:00:00 2026-12-24T06:00:00", "~0 yes: an instant of the schedule\n"},
      {"oxjob why --schedule 06:00:00 yesterday", "~2 \"yesterday\" is no time: write 2026-11-22 13:05"},
      {"oxjob why --schedule 06:00:00 2026-13-24", "~2 \"2026-13-24\" is no time"},
      {"oxjob why --schedule 06:00:00", "2 oxjob: which time?\n"},
      {"oxjob check --schedule '08:00:00-18:00:00 1-5'", "0 "},
      {"oxjob check --schedule '6:0:0- * 31 2'",
       "~1 field 3 (days of the month), \"31\": days that none of the months"},
      {"oxjob check --schedule '6:0:0 7'", "~1 --schedule  schedule \"6:0:0 7\" field 2 (weekdays): error 70: "},
      {"oxjob next", "2 oxjob: name an entry, or give --schedule\n"},
      {"oxjob check --schedule x --zone Mars", "~1 oxjob: time zone Mars: error 70: "},
  });
}

TEST(TimedTools, JobsAreMadeArmedAndDeleted) {
  Daemon daemon;
  expect({
      {"oxjob create oxset --name night --schedule '22:00:00 1-5' --disarmed -- node:a x 'it''s' 'a \"b\" \\c' ''",
       "0 night\n"},
      {"oxjob create oxevent send --interval 1h --from 2026-11-22 --mode catch-up -n hello -j",
       "0 {\n  \"cmdEnt\": \"hello\"\n}\n"},
      {"oxjob create x --schedule '5- 1' -n y", "~1 schedule \"5- 1\" field 1 (times): error 70: "},
      {"oxjob create x", "2 oxjob: when? Give --schedule, --interval or --from\n"},
      {"oxjob create x -i 1M", "~2 \"1M\" is no interval"},
      {"oxjob create x -i 1h -n night", "~1 cmdEnt:night: error 207: "},
      {"oxjob list --csv", "~0 cmdEnt,command,argument,operStatus,adminStatus,schedule,startTime,interval,mode,"},
      {"oxjob show hello", "~0 \nEVERY (SECONDS)  3600\nRUNS             one at a time, a missed one later\n"},
      {"oxjob next hello 2 --from '2026-11-22 00:30' --zone UTC0",
       "0 TIME\n2026-11-22 01:00:00  runs\n2026-11-22 02:00:00  runs\n"},
      {"oxjob why night '2026-11-23 22:00'", "~0 no: the entry is not armed (oxjob start)\nyes: an instant of the"},
      {"oxjob start night", "0 "},
      {"oxjob why night '2026-11-23 22:00'", "~0 \nyes: an instant of the schedule\n"},
      {"oxget cmdEnt:night 11.23.5.0 -f %W", "0 1"},
      {"oxjob stop night", "0 "},
      {"oxget cmdEnt:night 11.23.5.0 -f %W", "0 0"},
      {"oxset cmdEnt:night 11.23.10.0 '6:0:0- 1-5'", "0 "},
      {"oxjob check", "~1 cmdEnt:night  field 1 (times), \"6:0:0-\": a range without end is the one instant"},
      {"oxjob delete night", "0 "},
      {"oxjob check", "0 "},
      {"oxjob show night",
       "1 oxjob: cmdEnt:night: error 84: the manager has no entry of that name\n"
       "  next: oxjob list\n"},
      {"oxjob start nobody", "~1 next: oxjob list"},
  });
}

TEST(TimedTools, LogEntriesAreMadeAndDeleted) {
  Daemon daemon;
  expect({
      {"oxlog create 'node:r*' .1.1.0 .1.3.0 -i 30s --rotate 1W --expire 1Y --title 'a, \"b\"' "
       "--schedule '08:00:00-18:00:00 1-5' --outside",
       "0 logEnt1\n"},
      {"oxlog create node:a .1.1.0 -i 10x", "~2 \"10x\" is no period"},
      {"oxlog create node:a .1.1.0 --schedule 25", "~1 --schedule: error 70: "},
      {"oxlog create node:a .1.1.0 --outside", "~2 --outside requires --schedule"},
      {"oxlog list --csv",
       "~0 \nlogEnt1,\"a, \"\"b\"\"\",3,node:r*,\".1.1.0,.1.3.0\",30s,1W,1Y,08:00:00-18:00:00 1-5,1,"},
      {"oxlog show logEnt:logEnt1", "~0 \nSTATE          stopped\n"},
      {"oxlog show logEnt1", "~0 \nDATA ENTRIES   0, 0 bytes\n"},
      {"oxjob why logEnt:logEnt1 '2026-11-23 09:00'", "~0 no: the entry is not armed"},
      {"oxlog copy logEnt1", "~0 logEnt2\n"},
      {"oxlog delete logEnt2", "~1 nobody can be asked here; nothing is deleted without --yes\n"},
      {"oxlog delete logEnt2 --yes", "0 oxlog: deleting logEnt:logEnt2 and its 0 data entries (0 bytes)\n"},
      {"oxlog delete logEnt2 --yes",
       "1 oxlog: logEnt:logEnt2: error 84: the manager has no entry of that name\n"
       "  next: oxlog list\n"},
      {"oxlog data logEnt1",
       "0 oxlog: logEnt:logEnt1 has nothing collected there; oxlog show logEnt1 tells what it has\n"},
      {"oxlog plot logEnt1", "~1 nothing collected"},
      {"oxlog data logEnt1 --from 13:00 --to 12:00", "2 oxlog: --from lies behind --to\n"},
      {"oxlog data logEnt1 --last x", "~2 \"x\" is neither a number of rounds nor a period, as 6h"},
      {"oxlog", "~2 subcommand"},
  });
}

TEST(TimedTools, ValuesAreCollectedShownAndMissed) {
  Daemon daemon;
  auto agent = std::make_unique<Snmpd>(system_root() + "/agent");
  const std::string file = native(system_root() + "/values");
  const std::string node = "obj.node.nodeAddress.0 127.0.0.1 obj.node.nodeSnmpVersion.0 v2c obj.node.nodePort.0 ";
  expect({
      {"oxset --add node:a " + node + std::to_string(agent->port()), "0 "},
      {"oxset --add node:mute " + node + "1", "0 "},
      {"oxlog create node:a .interfaces.ifTable.ifEntry.ifInOctets,.system.sysDescr.0 -i 1s --title 'a & b' --start",
       "~0 FITS            yes\n"},
      {"oxlog create node:mute .system.sysUpTime.0 -i 1s", "0 logEnt2\n"},
      {"oxlog fit logEnt2", "~1 node:mute silent"},
      {"oxlog start logEnt2", "~1 \noxlog: logEnt:logEnt2 cannot fit: node:mute silent\n  next: a longer interval"},
      {"oxlog start logEnt2 --force", "~0 FITS            no\n"},
  });
  await("oxlog data logEnt1 --rate --attribute ifIn* --index 1 --csv", "ifInOctets,1,");
  expect({
      {"oxlog list", "~0   running  node:a "},
      {"oxlog show logEnt1", "~0 collecting "},
      {"oxlog data logEnt1 --last 1 --attribute sysDescr", "~0   0      agent of the tests\n"},
      {"oxlog data logEnt1 --step 1h --function max --attribute sysDescr --csv", "~0 time,component,attribute"},
      {"oxlog data logEnt1 --step 1h --function max --attribute *.10 --component none", "~0 nothing collected there"},
      {"oxlog export logEnt1 --json -o " + file, "~0  values\n"},
      {"oxlog plot logEnt1 --ascii --columns 60", "~0 a & b (logEnt:logEnt1)\n\na ifInOctets.1   min "},
      {"oxlog plot logEnt1 --svg -", "~0 <title>a &amp; b (logEnt:logEnt1)</title>"},
  });
  expect_parts(read_text(file),
               {"\"component\":\"node:a\",\"attribute\":\".system.sysDescr\",\"index\":\"0\",\"value\":"
                "\"agent of the tests\",\"text\":\"agent of the tests\",\"gap\":null}"});
  agent.reset();
  await("oxlog gaps logEnt1", "no answer");
  await("oxlog data logEnt1 --last 2 --csv", "agent silent");
  expect({
      {"oxlog gaps logEnt1 --component b", "0 "},
      {"oxlog gaps logEnt1 --each --csv", "~0 ,no answer,"},
      {"oxlog stop logEnt1", "0 "},
      {"oxlog delete logEnt1 -y", "~0 oxlog: deleting logEnt:logEnt1 and its 1 data entries ("},
  });
}

TEST(TimedTools, RunsOfAJobAreTold) {
  Daemon daemon;
  expect({{"oxjob create oxset -n stamp -i 1s -- -v node:none obj.cmn.cmnName.0 'a b'", "0 stamp\n"}});
  await("oxjob runs stamp --csv", ",1,oxset");
  await("oxjob list", "last run failed");
  expect({{"oxjob runs stamp --last 1 --to 1", "0 "}, {"oxjob show stamp", "~0 \nLAST EXIT "}});
}

}  // namespace
}  // namespace ox::test
