// The tools on a Japanese system: this program and what it starts run on one.
#include "tests/road/daemon.h"
#include "tests/support/installation.h"
#include "tests/support/system_root.h"

namespace ox::test {
namespace {

// Error texts are stored in code page 932, which no terminal is set to here.
TEST(JapaneseTools, ErrorTextsAreJapanese) {
  lay_down_installation();
  const std::string file = system_root() + "/orphan.def";
  write_file(file, "siteD nothing.1 INTEGER read-only CONF-ACS\n");
  EXPECT_EQ("1 oxamib: .noSuch: error 125: " + as_shown_in_japan("AMIB名に誤りがあるか、定義されていません。") + "\n",
            run("oxamib name .noSuch"));
  EXPECT_EQ("1 " + file + ":1: error 131: nothing: " + as_shown_in_japan("AMIB定義の親が見つかりません。") + "\n",
            run("oxamib check " + file));
}

}  // namespace
}  // namespace ox::test
