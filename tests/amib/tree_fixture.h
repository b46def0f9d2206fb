// A small tree, and definition files to build others from.
#pragma once

#include <vector>

#include <oxbase/oxb.h>
#include <oxbase/oxc.h>
#include <oxbase/oxf.h>

#include "tests/support/faults.h"
#include "tests/support/system_root.h"

namespace ox::test {

// obj is 11; two arcs lead to the standard subtrees.
inline constexpr std::string_view small_tree =
    "# objects\n"
    "obj amibtop.11 AMIBNONE not-accessible NULL-ACS\n"
    "cmn obj.1 AMIBNONE not-accessible NULL-ACS\n"
    "cmnName cmn.1 DisplayString read-write CONF-ACS\n"
    "\n"
    "cmnState cmn.2 INTEGER read-only SNMP-ACS\n"
    "cmnList cmn.3 Aggregate read-only CONF-ACS\n"
    "cmnItem cmnList.1 INTEGER read-only CONF-ACS\n"
    "iso amibtop.1 AMIBNONE not-accessible NULL-ACS\n"
    "org iso.3 AMIBNONE not-accessible NULL-ACS\n"
    "dod org.6 AMIBNONE not-accessible NULL-ACS\n"
    "internet dod.1 AMIBNONE not-accessible NULL-ACS\n"
    "mgmt internet.2 AMIBNONE not-accessible NULL-ACS\n"
    "mib-2 mgmt.1 AMIBNONE not-accessible NULL-ACS\n"
    "system mib-2.1 AMIBNONE not-accessible NULL-ACS\n"
    "sysDescr system.1 DisplayString read-only SNMP-ACS\n"
    "private internet.4 AMIBNONE not-accessible NULL-ACS\n"
    "enterprises private.1 AMIBNONE not-accessible NULL-ACS\n";

// What follows name and number in a line.
inline const std::string inner = " AMIBNONE not-accessible NULL-ACS\n";
inline const std::string leaf = " INTEGER read-only CONF-ACS\n";

// A list of files for the calls that take one.
class FileEntries {
 public:
  explicit FileEntries(const std::vector<std::string>& paths) : paths_(paths), entries_(paths.size()) {
    for (std::size_t i = 0; i < paths_.size(); ++i) {
      entries_[i].path = paths_[i].c_str();
      (void)oxcQueueAdd(&list_, &entries_[i]);
    }
  }
  FileEntries(const FileEntries&) = delete;
  FileEntries& operator=(const FileEntries&) = delete;

  [[nodiscard]] oxbFileEntry* list() { return list_; }
  [[nodiscard]] const oxbFileEntry& operator[](std::size_t i) const { return entries_[i]; }

 private:
  std::vector<std::string> paths_;
  std::vector<oxbFileEntry> entries_;
  oxbFileEntry* list_ = nullptr;
};

class TreeTest : public testing::Test {
 protected:
  void SetUp() override { oxbInitAmibTree(OXB_TREE); }
  void TearDown() override { (void)oxbDeleteAmibTree(OXB_TREE); }

  // Writes a definition file and returns its path.
  static std::string define(const std::string& name, std::string_view text) {
    const std::string path = system_root() + "/amib/" + name;
    write_file(path, text);
    return path;
  }
  static OX_RESULT add(const std::string& name, std::string_view text) {
    return oxbAddAmibTree(define(name, text).c_str());
  }
  static void load_small_tree() { ASSERT_EQ(0u, add("small.def", small_tree)); }

  static uint32_t node(const char* path) {
    uint32_t found = 0;
    EXPECT_EQ(0u, oxbEntry(path, &found)) << path;
    return found;
  }
  static OX_RESULT entry_result(const char* path) {
    uint32_t found = 0;
    return oxbEntry(path, &found);
  }
};

class SmallTreeTest : public TreeTest {
 protected:
  void SetUp() override {
    TreeTest::SetUp();
    load_small_tree();
  }
};

}  // namespace ox::test
