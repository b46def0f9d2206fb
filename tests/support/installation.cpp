#include "tests/support/installation.h"

#include <gtest/gtest.h>

#include <oxbase/oxb.h>

#include "tests/support/system_root.h"

namespace ox::test {
namespace {

constexpr std::uint32_t tree_key = 1120;

void write_messages() {
  for (const char* language : {"0409", "0411"}) {
    write_file(home_dir() + "/LIB/LOCALE/" + language + "/OXERROR.MSG", "17:Connection lost\r\n");
  }
}

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

Installation::Installation(Missing missing) {
  if (missing != Missing::messages) write_messages();
  if (missing != Missing::base_services) {
    EXPECT_EQ(platform::error_none, base_services_.create("Global\\OxWaitEvent", platform::Access::machine));
  }
  if (missing != Missing::tree) {
    build_tree();
    tree_ = true;
  }
}

Installation::~Installation() {
  if (tree_) (void)oxbDeleteAmibTree(tree_key);
}

}  // namespace ox::test
