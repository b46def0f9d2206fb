#include "common/settings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include <oxbase/oxc.h>

#include "common/paths.h"
#include "platform/environment.h"
#include "platform/registry.h"
#include "platform/service.h"
#include "tests/support/fault_heap.h"
#include "tests/support/system_root.h"

using ox::settings::registry_key;

namespace {

template <class Value>
void set(const char* name, Value value) {
  ASSERT_EQ(0u, ox::platform::registry_write(registry_key, name, value));
}

// A path text of these rows in the platform's own spelling.
std::string native(std::string path) {
  std::replace(path.begin(), path.end(), '/', ox::platform::path_separator);
  return path;
}

TEST(SettingsTest, TextsAreKeptOnceTheyAreThere) {
  set("HomeDir", "C:\\base\\");
  set("WorkDir", "/base//");
  set("CurrentVersion", "1.0.0.12345");  // too long to be one
  EXPECT_STREQ("C:\\base", oxcGetHomedir());
  EXPECT_STREQ("/base/", oxcGetWorkdir());
  EXPECT_STREQ("", oxcGetOxbaseVersion());
  EXPECT_STREQ("", oxcGetLocale());
  set("HomeDir", "C:\\moved");
  set("CurrentVersion", "1.0.0.1234");
  set("Locale", "ja");
  EXPECT_STREQ("C:\\base", oxcGetHomedir());
  EXPECT_STREQ("1.0.0.1234", oxcGetOxbaseVersion());
  EXPECT_STREQ("ja", oxcGetLocale());
}

TEST(SettingsTest, SwitchesHaveTheirDefaults) {
  const struct {
    uint32_t(OX_CALL* read)(void);
    const char* name;
    const char* value;  // null: absent
    uint32_t expected;
  } rows[] = {
      {oxcGetKeepAliveFlag, "KeepAliveFlag", nullptr, 0},
      {oxcGetKeepAliveFlag, "KeepAliveFlag", "ON", 1},
      {oxcGetKeepAliveFlag, "KeepAliveFlag", "yes", 0},
      {oxcIsNetWareUsed, "UseNetWare", nullptr, 1},
      {oxcIsNetWareUsed, "UseNetWare", "false", 0},
      {oxcIsNetWareUsed, "UseNetWare", "TRUE", 1},
      {oxcIsNetWareUsed, "UseNetWare", "", 0},
  };
  for (const auto& row : rows) {
    if (row.value != nullptr) set(row.name, row.value);
    EXPECT_EQ(row.expected, row.read()) << row.name << " " << (row.value != nullptr ? row.value : "absent");
  }
}

TEST(SettingsTest, BrandIsReadEveryTime) {
  uint32_t brand = 1;
  EXPECT_EQ(OX_OK, oxcGetBrandingID(&brand));
  EXPECT_EQ(64312u, brand);
  set("Branding", 7u);
  EXPECT_EQ(OX_OK, oxcGetBrandingID(&brand));
  EXPECT_EQ(7u, brand);
  set("Branding", "seven");
  EXPECT_NE(OX_OK, oxcGetBrandingID(&brand));
  EXPECT_EQ(7u, brand);
  EXPECT_EQ(OX_EARG, oxcGetBrandingID(nullptr));
}

TEST(SettingsTest, Ipv6NeedsTheSwitchAndTheProtocol) {
  EXPECT_EQ(OX_EUNSUPPORTED, oxcIsV6Ready());
  set("EnableV6", 0u);
  EXPECT_EQ(OX_EUNSUPPORTED, oxcIsV6Ready());
  set("EnableV6", 1u);
  EXPECT_EQ(ox::platform::has_ipv6() ? OX_OK : OX_ENOV6, oxcIsV6Ready());
}

TEST(SettingsTest, LanguageOfTheEnvironment) {
  ox::test::set_environment("LC_ALL", "C");
  EXPECT_EQ(2u, oxcGetEnvLang());
  EXPECT_EQ(3u, oxcGetEnvProduct());
}

TEST(SettingsTest, ServicesRunWhileTheirDaemonsHoldThem) {
  const struct {
    const char* name;
    uint32_t(OX_CALL* is_running)(void);
  } services[] = {{"Oxbase", nullptr},          {"Oxlogd", oxcIsOxlogdRunning},   {"Oxexpd", oxcIsOxexpdRunning},
                  {"Oxcmd", oxcIsOxcmdRunning}, {"Oxrmapd", oxcIsOxrmapdRunning}, {"Oxexrld", oxcIsOxruledRunning}};
  for (uint32_t held = 0; held < 6; ++held) {
    ox::platform::ServiceMark mark;
    ASSERT_EQ(0u, mark.hold(services[held].name));
    for (uint32_t i = 0; i < 6; ++i) {
      uint32_t running = 2;
      EXPECT_EQ(OX_OK, oxcIsServiceRunning(i, &running));
      EXPECT_EQ(i == held ? 1u : 0u, running) << services[i].name << " with " << services[held].name << " held";
      const auto is_running = services[i].is_running;
      EXPECT_TRUE(is_running == nullptr || is_running() == running) << services[i].name;
    }
  }
  uint32_t running = 2;
  EXPECT_EQ(OX_EUNSUPPORTED, oxcIsServiceRunning(6, &running));
  EXPECT_EQ(2u, running);
  EXPECT_EQ(OX_EARG, oxcIsServiceRunning(0, nullptr));
}

TEST(SettingsTest, InstalledProductsHaveKeys) {
  EXPECT_EQ(1u, oxcIsOxbaseInstalled());
  EXPECT_EQ(0u, oxcIsOxwatchInstalled());
  ASSERT_EQ(0u, ox::platform::registry_write("SOFTWARE\\CORVID\\OXWATCH", "CurrentVersion", "1"));
  EXPECT_EQ(1u, oxcIsOxwatchInstalled());
}

TEST(SettingsTest, UserMustBeInTheGroupOnceThereIsOne) {
  EXPECT_EQ(OX_OK, oxcCheckUser(7));
  set("LocalGroup", "no-such-group");
  EXPECT_EQ(OX_EPLATFORM, oxcCheckUser(7));
  const std::string text = oxcStrError(OX_EPLATFORM);  // there is no message file, yet the text is not lost
  EXPECT_NE(std::string::npos, text.find("OXERROR.MSG")) << text;
}

TEST(SettingsTest, UserOutsideTheGroupIsDenied) {
  set("LocalGroup", "tape");  // a group of the base system, in which nobody is
  EXPECT_EQ(OX_EDENIED, oxcCheckUser(0));
}

TEST(VersionTest, ComparesNumberByNumber) {
  const struct {
    const char* a;
    const char* b;
    int32_t order;
  } rows[] = {
      {"2.10", "2.9", 1},     {"2.09", "2.9", 0},
      {"2", "2.0.0", 0},      {"2.0.1", "2", 1},
      {nullptr, "0", 0},      {"", "1", -1},
      {"1.2a", "1.2b", -1},   {"1.10a", "1.9b", 1},
      {"4294967297", "1", 1}, {"99999999999999999999", "100000000000000000000", -1},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.order, oxcVersionCmp(row.a, row.b)) << (row.a != nullptr ? row.a : "null") << " " << row.b;
    EXPECT_EQ(-row.order, oxcVersionCmp(row.b, row.a)) << row.b;
  }
}

TEST(PathTest, AllSeparatorsBecomeThePlatforms) {
  EXPECT_EQ(native("a/b/c/d/e"), ox::join_path({"a\\b", "c/d", "e"}));
  EXPECT_EQ(native("/tmp"), ox::join_path({"", "tmp"}));
  EXPECT_EQ(native(ox::test::work_dir() + "/tmp/x"), ox::work_path({"tmp", "x"}));
  EXPECT_EQ(native(ox::test::home_dir()), ox::home_path({}));
}

TEST(PathTest, StoredAndFullForms) {
  set("HomeDir", "/opt/ox");
  set("WorkDir", "/opt/ox/work");
  const struct {
    const char* stored;
    const char* full;
  } both_ways[] = {
      {"$homedir/bin/a", "/opt/ox/bin/a"}, {"$workdir/tmp", "/opt/ox/work/tmp"},
      {"$workdir", "/opt/ox/work"},        {"$homedir", "/opt/ox"},
      {"/opt/oxen/a", "/opt/oxen/a"},      {"$homedirs/a", "$homedirs/a"},
      {"a/$homedir", "a/$homedir"},        {"", ""},
  };
  for (const auto& row : both_ways) {
    EXPECT_EQ(native(row.full), conf_file(row.stored));
    EXPECT_STREQ(row.stored, deconf_file(row.full));
  }
  const std::string longest = "$homedir/" + std::string(1014, 'x');
  EXPECT_EQ(native("/opt/ox/" + std::string(1014, 'x')), conf_file(longest.c_str()));
  for (const auto translate : {conf_file, deconf_file}) {
    EXPECT_EQ(nullptr, translate((longest + "x").c_str()));
    EXPECT_EQ(nullptr, translate(nullptr));
  }
}

TEST(PathTest, EveryAllocationMayFail) {
  const std::string path = "$workdir/" + std::string(300, 'x');
  ox::test::every_allocation_may_fail([&] { return conf_file(path.c_str()) != nullptr ? OX_OK : OX_ENOMEM; });
  ox::test::every_allocation_may_fail([&] { return deconf_file(path.c_str()) != nullptr ? OX_OK : OX_ENOMEM; });
}

}  // namespace
