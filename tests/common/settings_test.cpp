#include "common/settings.h"

#include <oxbase/oxc.h>

#include "common/paths.h"
#include "platform/environment.h"
#include "platform/service.h"
#include "tests/support/fault_heap.h"
#include "tests/support/given.h"
#include "tests/support/registry.h"
#include "tests/support/system_root.h"

using ox::test::given, ox::test::native, ox::test::set_value;

namespace {

TEST(SettingsTest, TextsAreKeptOnceTheyAreThere) {
  set_value("HomeDir", "C:\\base\\");
  set_value("WorkDir", "/base//");
  set_value("CurrentVersion", "1.0.0.12345");  // too long to be one
  EXPECT_STREQ("C:\\base", oxcGetHomedir());
  EXPECT_STREQ("/base/", oxcGetWorkdir());
  EXPECT_STREQ("", oxcGetOxbaseVersion());
  EXPECT_STREQ("", oxcGetLocale());
  set_value("HomeDir", "C:\\moved");
  set_value("CurrentVersion", "1.0.0.1234");
  set_value("Locale", "ja");
  EXPECT_STREQ("C:\\base", oxcGetHomedir());
  EXPECT_STREQ("1.0.0.1234", oxcGetOxbaseVersion());
  EXPECT_STREQ("ja", oxcGetLocale());
}

TEST(SettingsTest, SwitchesHaveTheirDefaults) {
  using Rows = std::initializer_list<std::pair<const char*, uint32_t>>;
  const auto check = [](const char* name, uint32_t(OX_CALL * read)(void), Rows rows) {
    for (const auto& [value, expected] : rows) {
      if (value != nullptr) set_value(name, value);
      EXPECT_EQ(expected, read()) << name << " " << (value != nullptr ? value : "absent");
    }
  };
  check("KeepAliveFlag", oxcGetKeepAliveFlag, {{nullptr, 0}, {"ON", 1}, {"yes", 0}});
  check("UseNetWare", oxcIsNetWareUsed, {{nullptr, 1}, {"false", 0}, {"TRUE", 1}, {"", 0}});
  EXPECT_EQ(OX_EUNSUPPORTED, oxcIsV6Ready());
  set_value("EnableV6", 0u);
  EXPECT_EQ(OX_EUNSUPPORTED, oxcIsV6Ready());
  set_value("EnableV6", 1u);
  EXPECT_EQ(ox::platform::has_ipv6() ? OX_OK : OX_ENOV6, oxcIsV6Ready());
  ox::test::set_environment("LC_ALL", "C");
  EXPECT_EQ(2u, oxcGetEnvLang());
  EXPECT_EQ(3u, oxcGetEnvProduct());
}

TEST(SettingsTest, BrandAndProductsAreReadEveryTime) {
  EXPECT_EQ(1u, oxcIsOxbaseInstalled());
  EXPECT_EQ(0u, oxcIsOxwatchInstalled());
  ASSERT_EQ(0u, ox::platform::registry_write("SOFTWARE\\CORVID\\OXWATCH", "CurrentVersion", "1"));
  EXPECT_EQ(1u, oxcIsOxwatchInstalled());

  EXPECT_EQ("64312", given<uint32_t>(oxcGetBrandingID));
  set_value("Branding", 7u);
  EXPECT_EQ("7", given<uint32_t>(oxcGetBrandingID));
  set_value("Branding", "seven");
  EXPECT_EQ('!', given<uint32_t>(oxcGetBrandingID)[0]);
}

TEST(SettingsTest, ServicesRunWhileTheirDaemonsHoldThem) {
  const std::pair<const char*, uint32_t(OX_CALL*)(void)> services[] = {
      {"Oxbase", nullptr},          {"Oxlogd", oxcIsOxlogdRunning},   {"Oxexpd", oxcIsOxexpdRunning},
      {"Oxcmd", oxcIsOxcmdRunning}, {"Oxrmapd", oxcIsOxrmapdRunning}, {"Oxexrld", oxcIsOxruledRunning}};
  for (uint32_t held = 0; held < 6; ++held) {
    ox::platform::ServiceMark mark;
    ASSERT_EQ(0u, mark.hold(services[held].first));
    for (uint32_t i = 0; i < 6; ++i) {
      const std::string running = i == held ? "1" : "0";
      EXPECT_EQ(running, given<uint32_t>(oxcIsServiceRunning, i)) << services[i].first << ", " << held << " held";
      const auto is_running = services[i].second;
      EXPECT_TRUE(is_running == nullptr || std::to_string(is_running()) == running) << services[i].first;
    }
  }
  EXPECT_EQ("!" + std::to_string(OX_EUNSUPPORTED), given<uint32_t>(oxcIsServiceRunning, 6u));
}

TEST(VersionTest, ComparesNumberByNumber) {
  const std::tuple<std::string, std::string, int32_t> rows[] = {
      {"2.10", "2.9", 1},   {"2.09", "2.9", 0},     {"2", "2.0.0", 0},
      {"2.0.1", "2", 1},    {"", "1", -1},          {"1.2a", "1.2b", -1},
      {"1.10a", "1.9b", 1}, {"4294967297", "1", 1}, {"99999999999999999999", "100000000000000000000", -1}};
  for (const auto& [a, b, order] : rows) {
    EXPECT_EQ(order, oxcVersionCmp(a.c_str(), b.c_str())) << a << " " << b;
    EXPECT_EQ(-order, oxcVersionCmp(b.c_str(), a.c_str())) << b << " " << a;
  }
}

TEST(PathTest, AllSeparatorsBecomeThePlatforms) {
  EXPECT_EQ(native("a/b/c/d/e"), ox::join_path({"a\\b", "c/d", "e"}));
  EXPECT_EQ(native("/tmp"), ox::join_path({"", "tmp"}));
  EXPECT_EQ(native(ox::test::work_dir() + "/tmp/x"), ox::work_path({"tmp", "x"}));
  EXPECT_EQ(native(ox::test::home_dir()), ox::home_path({}));
}

TEST(PathTest, StoredAndFullForms) {
  set_value("HomeDir", "/opt/ox");
  set_value("WorkDir", "/opt/ox/work");
  const std::pair<const char*, const char*> both_ways[] = {
      {"$homedir/bin/a", "/opt/ox/bin/a"}, {"$workdir/tmp", "/opt/ox/work/tmp"},
      {"$workdir", "/opt/ox/work"},        {"$homedir", "/opt/ox"},
      {"/opt/oxen/a", "/opt/oxen/a"},      {"$homedirs/a", "$homedirs/a"},
      {"a/$homedir", "a/$homedir"},        {"", ""}};
  for (const auto& [stored, full] : both_ways) {
    const bool translated = stored != std::string_view(full);
    EXPECT_EQ(translated ? native(full) : full, conf_file(stored));
    EXPECT_STREQ(stored, deconf_file(full));
  }
  const std::string longest = "$homedir/" + std::string(1014, 'x');
  for (const auto translate : {conf_file, deconf_file}) {
    EXPECT_EQ(nullptr, translate((longest + "x").c_str()));
    EXPECT_EQ(nullptr, translate(nullptr));
    ox::test::every_allocation_may_fail([&] { return translate(longest.c_str()) != nullptr ? OX_OK : OX_ENOMEM; });
  }
}

}  // namespace
