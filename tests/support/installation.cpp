#include "tests/support/installation.h"

#include <gtest/gtest.h>

#include <filesystem>

#include <oxbase/oxb.h>

#include "tests/support/system_root.h"

namespace fs = std::filesystem;

namespace ox::test {
namespace {

constexpr std::uint32_t tree_key = 1120;

void build_tree() {
  const std::string file = work_dir() + "/public/amib/session.def";
  write_file(file,
             "obj amibtop.11 AMIBNONE not-accessible NULL-ACS\n"
             "cmn obj.1 AMIBNONE not-accessible NULL-ACS\n"
             "cmnName cmn.1 DisplayString read-write CONF-ACS\n");
  oxbInitAmibTree(tree_key);
  ASSERT_EQ(0u, oxbAddAmibTree(file.c_str()));
}

}  // namespace

void lay_down_installation() {
  const fs::path share = OX_SHARE_DIR;
  const auto options = fs::copy_options::recursive | fs::copy_options::skip_existing;
  fs::copy(share / "LIB", fs::path(home_dir()) / "LIB", options);
  if (!fs::exists(work_dir() + "/conf/oxmgrd.cf")) write_settings("");
  const std::string traps = work_dir() + "/conf/traps.cf";
  if (!fs::exists(traps)) write_file(traps, "Proxy:\t127.0.0.0/8\n");  // all agents of the tests are on this machine
  for (const char* folder : {"public", "conf"}) fs::copy(share / folder, fs::path(work_dir()) / folder, options);
  fs::create_directories(fs::path(work_dir()) / "data");
  fs::permissions(fs::path(work_dir()) / "data", fs::perms::owner_all);
}

void write_settings(const std::string& text) {
  write_file(work_dir() + "/conf/oxmgrd.cf", text + "DiskWarning:\t101\nDiskPause:\t101\n");
}

Installation::Installation(Missing missing) : tree_(missing != Missing::tree) {
  for (const char* language : {"0409", "0411"}) {
    const std::string file = home_dir() + "/LIB/LOCALE/" + language + "/OXERROR.MSG";
    // Windows keeps a file as it is while somebody has it mapped.
    if (!fs::exists(file)) write_file(file, "17:Connection lost\r\n");
  }
  if (missing != Missing::base_services) {
    EXPECT_EQ(platform::error_none, base_services_.create("Global\\OxWaitEvent", platform::Access::machine));
  }
  if (tree_) build_tree();
}

Installation::~Installation() {
  if (tree_) (void)oxbDeleteAmibTree(tree_key);
}

}  // namespace ox::test
