#include "manager/base/settings.h"

#include <gtest/gtest.h>

#include "manager/components/vocabulary.h"
#include "tests/support/installation.h"
#include "tests/support/system_root.h"

namespace ox::manager {
namespace {

using test::work_dir;
using test::write_file;

class SettingsTest : public testing::Test {
 protected:
  void SetUp() override { test::lay_down_installation(); }  // for the texts of the faults

  std::string faulty_lines_;
  FaultSink sink_ = [this](const std::string&, std::uint32_t line, const std::string&) {
    faulty_lines_ += std::to_string(line) + ' ';
  };
};

TEST_F(SettingsTest, EveryFaultHasItsLineAndCostsOnlyItsSetting) {
  Settings settings;
  EXPECT_TRUE(read_settings(work_dir() + "/conf/none.cf", settings, sink_));
  const std::string file = work_dir() + "/conf/oxmgrd.cf";
  write_file(file,
             "# comment\nMaxFrame:\t70000\nMaxQueue:\tmany\nCommunityName:\tmgr1\nSockPort:\t8806\nSnmpRetrys:\t1\n"
             "SnmpRetries:\t1 2\nno colon\nSnmpTimeout:\t250\nSnmpBindings:\t0\nMaxQueue:\t10001\n");
  EXPECT_FALSE(read_settings(file, settings, sink_));
  EXPECT_EQ("3 6 7 8 10 11 ", faulty_lines_);
  EXPECT_EQ(70000u, settings.max_frame);
  EXPECT_EQ(250u, settings.snmp_timeout);
  EXPECT_EQ(Settings().max_queue, settings.max_queue);
  EXPECT_EQ(Settings().snmp_bindings, settings.snmp_bindings);
}

TEST_F(SettingsTest, TypesAndRelationTypesOfTheInstallation) {
  write_file(work_dir() + "/public/comptype/a.def", "comptype:\tvlan\nalias:\tv-lan\n");
  write_file(work_dir() + "/public/reltype/a.def", "reltype:\tvlan-node\nsrctype:\tvlan\ndsttype:\tprinter\n");
  Vocabulary words;
  EXPECT_TRUE(words.read(work_dir(), sink_)) << faulty_lines_;
  EXPECT_TRUE(words.has_type("vlan"));
  EXPECT_EQ("node", words.canonical_type("modem"));
  EXPECT_EQ("vlan", words.canonical_type("v-lan"));
  EXPECT_EQ(0u, words.check({"vlan-node", {"vlan", "1"}, {"node", "a"}}));
  EXPECT_EQ(OX_ECOMPTYPE, words.check({"vlan-node", {"node", "a"}, {"vlan", "1"}}));

  write_file(work_dir() + "/public/reltype/b.def", "reltype:\tr\nrelclass:\trefers\n");
  EXPECT_FALSE(words.read(work_dir(), sink_));
  EXPECT_EQ("1 ", faulty_lines_);
}

}  // namespace
}  // namespace ox::manager
