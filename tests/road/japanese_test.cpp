// The tools on a Japanese system: this program and what it starts run on one, whose terminal is no installation's.
#include "tests/road/daemon.h"
#include "tests/support/code_page.h"
#include "tests/support/installation.h"
#include "tests/support/system_root.h"

namespace ox::test {
namespace {

class JapaneseTools : public InBothPages<> {};
OX_IN_BOTH_PAGES(JapaneseTools);

// Error texts are stored in code page 932.
TEST_P(JapaneseTools, ErrorTextsAreJapanese) {
  lay_down_installation();
  const std::string file = system_root() + "/orphan.def";
  write_file(file, "siteD nothing.1 INTEGER read-only CONF-ACS\n");
  EXPECT_EQ("1 oxamib: .noSuch: error 125: " + as_shown_in_japan("AMIB名に誤りがあるか、定義されていません。") + "\n",
            run("oxamib name .noSuch"));
  EXPECT_EQ("1 " + file + ":1: error 131: nothing: " + as_shown_in_japan("AMIB定義の親が見つかりません。") + "\n",
            run("oxamib check " + file));
}

// What is typed is read back as it was typed, whatever the store has it in; machines get UTF-8.
TEST_P(JapaneseTools, TextsComeBackAsTheyWereTyped) {
  Daemon daemon;
  for (const ForeignText& one : foreign_texts) {
    if (!one.in_932) continue;  // it cannot be typed there
    const std::string typed = as_shown_in_japan(one.text);
    const std::string json =
        std::string("\"text\": \"") + one.text + "\",\n    \"type\": 9,\n    \"value\": \"" + one.text + "\"\n";
    expect({{"oxset --add logEnt:e obj.logEnt.logTitle.0 '" + typed + "'", "0 "},
            {"oxget logEnt:e obj.logEnt.logTitle.0", "~0   " + typed + "\n"},
            {"oxget logEnt:e obj.logEnt.logTitle.0 --format '" + typed + "\\n%V'", "~0 " + typed + "\n" + typed},
            {"oxget logEnt:e obj.logEnt.logTitle.0 --json", "~0 " + json},
            {"oxset --delete logEnt:e", "0 "}});
  }
  EXPECT_EQ(0, daemon.end());
}

TEST_P(JapaneseTools, WhatTheManagerFindsIsShown) {
  Daemon daemon;
  EXPECT_EQ(0, daemon.end());
  write_file(work_dir() + "/conf/oxmgrd.cf", in_page("障害: 1\n"));
  const std::string shown = as_shown_in_japan("oxmgrd.cf:1: unknown setting 障害");
  const std::string checked = run("oxmgrd --check");
  EXPECT_NE(checked.npos, checked.find(shown)) << checked;
  daemon.start();
  EXPECT_EQ(0, daemon.end());
  EXPECT_NE(daemon.log().npos, daemon.log().find(shown)) << daemon.log();
}

}  // namespace
}  // namespace ox::test
