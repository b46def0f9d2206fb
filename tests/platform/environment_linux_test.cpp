// What the process learns from its environment, and what it leaves behind.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
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

void set_or_clear(const char* name, const char* value) {
  if (value != nullptr) {
    setenv(name, value, 1);
  } else {
    unsetenv(name);
  }
}

TEST(Environment, TheFirstLocaleVariableTellsTheLanguage) {
  struct Case {
    const char* all;
    const char* messages;
    const char* lang;
    bool japanese;
  };
  const Case cases[] = {
      {nullptr, nullptr, nullptr, false},  {nullptr, nullptr, "ja_JP.UTF-8", true}, {nullptr, nullptr, "ja", true},
      {nullptr, nullptr, "jam_JM", false}, {nullptr, nullptr, "j", false},          {"C", nullptr, "ja_JP", false},
      {"", "", "ja_JP.eucJP", true},       {nullptr, "en_GB", "ja_JP", false},      {"ja@x", "C", "C", true},
  };
  for (const Case& c : cases) {
    set_or_clear("LC_ALL", c.all);
    set_or_clear("LC_MESSAGES", c.messages);
    set_or_clear("LANG", c.lang);
    EXPECT_EQ(c.japanese, language_is_japanese()) << (c.lang != nullptr ? c.lang : "(unset)");
  }
}

TEST(Environment, MembershipIsThatOfTheProcess) {
  bool member = false;
  EXPECT_EQ(1332U, user_in_group("no-such-group", member));
  EXPECT_EQ(1332U, last_error());
  EXPECT_FALSE(member);
  EXPECT_EQ(error_none, user_in_group(geteuid() == 0 ? "root" : "users", member));
  EXPECT_TRUE(member || geteuid() != 0);
  EXPECT_EQ(error_none, user_in_group("daemon", member));
  EXPECT_FALSE(member);
}

TEST(Environment, TheTimeZoneTakesEffectAtOnce) {
  const std::time_t zero = 0;
  std::tm parts{};
  ASSERT_EQ(error_none, set_time_zone("JST-9"));
  EXPECT_EQ(9, localtime_r(&zero, &parts)->tm_hour);
  ASSERT_EQ(error_none, set_time_zone("UTC0"));
  EXPECT_EQ(0, localtime_r(&zero, &parts)->tm_hour);
  EXPECT_LE(computer_name().size(), 64U);
}

TEST(Codepage, TextBecomesThatOfTheLocale) {
  setenv("LC_ALL", "C", 1);
  struct Case {
    std::string_view from;
    std::string_view to;
  };
  const Case cases[] = {
      {"plain \\~\n", "plain \\~\n"},
      {"\x83\x65\x83\x58\x83\x67", "\xE3\x83\x86\xE3\x82\xB9\xE3\x83\x88"},
      {"\x95\x5C.", "\xE8\xA1\xA8."},  // a trail byte that is a backslash elsewhere
      {"\xB1", "\xEF\xBD\xB1"},
      {"\x87\x40", "\xE2\x91\xA0"},
      {"\x83", "?"},
      {"\x81\x20x", "? x"},
      {"\xFD\xA0|", "??|"},
      {"", ""},
  };
  for (const Case& c : cases) EXPECT_EQ(c.to, from_cp932(c.from)) << c.from;
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
    EXPECT_EQ(&theirs, thread_slot());
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
  std::filesystem::create_directory(directory);
  ASSERT_EQ(0, mkfifo((directory + "/fifo").c_str(), 0600));
  std::filesystem::create_symlink("nowhere", directory + "/dangling");
  std::ofstream(directory + "/.hidden") << "x";
  FileAttributes attributes;
  ASSERT_EQ(error_none, file_attributes((directory + "/fifo").c_str(), attributes));
  EXPECT_TRUE(attributes.system);
  ASSERT_EQ(error_none, file_attributes((directory + "/.hidden").c_str(), attributes));
  EXPECT_TRUE(attributes.hidden);
  std::vector<DirectoryEntry> entries;
  ASSERT_EQ(error_none, list_directory(directory.c_str(), entries));
  EXPECT_EQ(2U, entries.size());
}

}  // namespace
}  // namespace ox::platform
