// What the process learns from its environment, and what it leaves behind.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "platform/codepage.h"
#include "platform/environment.h"
#include "platform/file.h"
#include "platform/system_log.h"
#include "platform/thread_slot.h"
#include "tests/support/system_root.h"

namespace ox::platform {
namespace {

TEST(Environment, TheFirstLocaleVariableTellsTheLanguage) {
  const char* const names[] = {"LC_ALL", "LC_MESSAGES", "LANG"};
  const struct {
    const char* values[3];
    bool japanese;
  } rows[] = {
      {{nullptr, nullptr, nullptr}, false}, {{nullptr, nullptr, "ja_JP.UTF-8"}, true},
      {{nullptr, nullptr, "ja"}, true},     {{nullptr, nullptr, "jam_JM"}, false},
      {{nullptr, nullptr, "j"}, false},     {{"C", nullptr, "ja_JP"}, false},
      {{"", "", "ja_JP.eucJP"}, true},      {{nullptr, "en_GB", "ja_JP"}, false},
      {{"ja@x", "C", "C"}, true},
  };
  for (const auto& row : rows) {
    std::string shown;
    for (std::size_t i = 0; i < std::size(names); ++i) {
      const char* value = row.values[i];
      (void)(value != nullptr ? setenv(names[i], value, 1) : unsetenv(names[i]));
      shown += std::string(" ") + (value != nullptr ? value : "unset");
    }
    EXPECT_EQ(row.japanese, language_is_japanese()) << shown;
  }
}

TEST(Environment, MembershipIsThatOfTheProcess) {
  bool member = true;
  EXPECT_EQ(1332U, user_in_group("no-such-group", member));
  EXPECT_EQ(1332U, last_error());
  EXPECT_TRUE(member);
  EXPECT_EQ(error_none, user_in_group("daemon", member));
  EXPECT_FALSE(member);
  EXPECT_EQ(error_none, user_in_group(geteuid() == 0 ? "root" : "users", member));
  EXPECT_TRUE(member || geteuid() != 0);
}

TEST(Codepage, TextBecomesThatOfTheLocale) {
  setenv("LC_ALL", "C", 1);
  const std::pair<std::string_view, std::string_view> rows[] = {
      {"plain \\~\n", "plain \\~\n"},
      {"\x83\x65\x83\x58\x83\x67", "テスト"},
      {"\x95\x5C.", "表."},  // a trail byte that is a backslash elsewhere
      {"\xB1", "ｱ"},
      {"\x87\x40", "①"},
      {"\x83", "?"},
      {"\x81\x20x", "? x"},
      {"\x81\x7F", "?\x7F"},
      {"\xFD\xA0|", "??|"},
      {"", ""},
  };
  for (const auto& [from, to] : rows) EXPECT_EQ(to, from_cp932(from)) << testing::PrintToString(from);
}

std::vector<std::thread::id> released;
void note_release(void* value) {
  EXPECT_EQ(value, thread_slot());
  released.push_back(std::this_thread::get_id());
}

TEST(ThreadSlot, IsReleasedByItsThreadAlone) {
  int mine = 0;
  int theirs = 0;
  EXPECT_EQ(nullptr, thread_slot());
  ASSERT_TRUE(set_thread_slot(&mine, note_release));
  std::thread::id other;
  std::thread([&] {
    other = std::this_thread::get_id();
    EXPECT_EQ(nullptr, thread_slot());
    ASSERT_TRUE(set_thread_slot(&theirs, note_release));
  }).join();
  std::thread([&] { ASSERT_TRUE(set_thread_slot(nullptr, note_release)); }).join();
  EXPECT_EQ(std::vector<std::thread::id>{other}, released);
  EXPECT_EQ(&mine, thread_slot());
  EXPECT_EXIT(std::exit(3), testing::ExitedWithCode(3), "^$");  // the end of the process releases nothing
  ASSERT_TRUE(set_thread_slot(nullptr, note_release));
}

TEST(SystemLog, ARootWithAFileForItGetsACopy) {
  const std::string path = test::system_root() + "/system.log";
  ASSERT_EQ(error_none, system_log("OxTest", 1, "before"));
  EXPECT_FALSE(std::filesystem::exists(path));
  test::write_file(path, "");
  ASSERT_EQ(error_none, system_log("OxTest", 1, "two\r\nlines"));
  ASSERT_EQ(error_none, system_log("OxTest", 4, "100%s"));
  const std::string log = test::read_file(path);
  const std::string from = " OxTest[" + std::to_string(getpid()) + "] ";
  EXPECT_NE(std::string::npos, log.find(from + "error: two lines\n"));
  EXPECT_NE(std::string::npos, log.find(from + "information: 100%s\n"));
}

TEST(FileLinux, WhatIsNoPlainFileIsMarked) {
  const std::string directory = test::work_dir() + "/marked";
  test::write_file(directory + "/.hidden", "x");
  ASSERT_EQ(0, mkfifo((directory + "/fifo").c_str(), 0600));
  std::filesystem::create_symlink("nowhere", directory + "/dangling");
  std::vector<DirectoryEntry> entries;
  ASSERT_EQ(error_none, list_directory(directory.c_str(), entries));
  EXPECT_EQ(2U, entries.size());
  for (const DirectoryEntry& entry : entries) {
    EXPECT_EQ(entry.name == "fifo", entry.attributes.system) << entry.name;
    EXPECT_EQ(entry.name == ".hidden", entry.attributes.hidden) << entry.name;
  }
}

}  // namespace
}  // namespace ox::platform
