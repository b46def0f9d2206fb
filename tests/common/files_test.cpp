// Checks and opens of files, lists of definition directories, the error position.
#include <filesystem>
#include <thread>

#include <oxbase/oxf.h>

#include "common/error_position.h"
#include "common/open_retry.h"
#include "platform/environment.h"
#include "platform/file.h"
#include "tests/support/fault_heap.h"
#include "tests/support/faults.h"
#include "tests/support/test.h"
#include "tests/support/traced.h"

namespace fs = std::filesystem;

namespace {

using ox::test::error_position;
using ox::test::native;
using ox::test::work_dir;
using ox::test::write_file;

TEST(CheckFile, EachTestHasItsCode) {
  const std::string directory = work_dir() + "/some.dir";
  for (const char* name : {"plain", "a.exe", "B.CMD", "a.b.exe", "locked.bat"}) write_file(directory + "/" + name, "x");
  fs::permissions(directory + "/locked.bat", fs::perms::owner_read);
  const std::pair<const char*, const char*> rows[] = {{"", " 138 0 140 1 1 138 0"},
                                                      {"plain", " 0 139 140 1 1 0 139"},
                                                      {"a.exe", " 0 139 0 1 1 0 139"},
                                                      {"B.CMD", " 0 139 0 1 1 0 139"},
                                                      {"a.b.exe", " 0 139 140 1 1 0 139"},
                                                      {"locked.bat", " 0 139 0 1 1 5013 139"},
                                                      {"missing", " 5002 5002 5002 5002 5002 5002 5002"},
                                                      {"plain/below", " 5002 5002 5002 5002 5002 5002 5002"}};
  for (const auto& [name, expected] : rows) {
    std::string codes;
    for (uint32_t mode : {1, 2, 4, 0, 3, 17, 18}) {
      codes += " " + std::to_string(oxcCheckFile((directory + "/" + name).c_str(), mode));
    }
    EXPECT_EQ(expected, codes) << name;
  }
}

TEST(OpenFile, FiveAttemptsWithAPauseAndATraceLineBetween) {
  for (int works_at : {1, 3, 5, 6}) {
    int attempts = 0;
    std::vector<uint32_t> pauses;
    const std::string lines = ox::test::traced(ox::trace::general, [&] {
      EXPECT_EQ(works_at <= 5, ox::open_with_retry(
                                   "open", [&] { return ++attempts == works_at; }, [](bool ok) { return ok; },
                                   [&](uint32_t ms) { pauses.push_back(ms); }));
    });
    EXPECT_EQ(std::min(works_at, 5), attempts);
    EXPECT_EQ(std::vector<uint32_t>(static_cast<size_t>(attempts) - 1, 1000), pauses);
    EXPECT_EQ(attempts - 1, std::count(lines.begin(), lines.end(), '\n'));
  }
}

TEST(OpenFile, AHeldFileIsHadWhenItsHolderLetsGo) {
  constexpr uint32_t generic_read = 0x80000000U;
  const std::string path = work_dir() + "/held";
  FILE* file = oxcCFileOpen(path.c_str(), "w");
  ASSERT_NE(nullptr, file);
  EXPECT_EQ(nullptr, ox::platform::open_exclusive(path.c_str(), "r"));
  intptr_t second = -1;
  std::thread waiter([&] { second = oxcWFileOpen(path.c_str(), generic_read, 0, nullptr, 3, 0, nullptr); });
  fclose(file);
  waiter.join();
  ASSERT_NE(-1, second);
  ox::platform::close_file(second);
  EXPECT_EQ(nullptr, oxcCFileOpen(nullptr, "r"));
  EXPECT_EQ(-1, oxcWFileOpen(nullptr, generic_read, 0, nullptr, 3, 0, nullptr));
}

// "name:kind", with a blank before each.
std::string names(const oxfFileList* list) {
  std::string names;
  for (; list != nullptr; list = oxfGetFileNext(list)) {
    names += " " + fs::path(oxfGetFileName(list)).filename().string() + ":" + std::to_string(oxfGetFileAttrib(list));
  }
  return names;
}

TEST(FileList, BaseFirstOthersByNameUserLast) {
  const std::string directory = work_dir() + "/list";
  for (const char* name : {"USER.DEF", "b.def", "Oxbase.def", "a.def", "B1.Def", "aa.DEF", ".hidden.def", "x.defs",
                           "def", "adef", "user.enm", "oxbase", "myuser.def", "c.def.bak", "d.def/in-a-directory"}) {
    write_file(directory + "/" + name, "");
  }
  const std::tuple<const char*, uint32_t, const char*> rows[] = {
      {".def", 0, " Oxbase.def:1 a.def:2 aa.DEF:2 b.def:2 B1.Def:2 myuser.def:2 USER.DEF:3"},
      {".def", 1, " Oxbase.def:1"},
      {".def", 2, " a.def:2 aa.DEF:2 b.def:2 B1.Def:2 myuser.def:2"},
      {".def", 5, " Oxbase.def:1 USER.DEF:3"},
      {".def", 8, ""},
      {".ENM", 0, " user.enm:3"},
      {".none", 0, ""},
      {"user.def", 0, " myuser.def:2 USER.DEF:2"}};
  for (const auto& [extension, mask, expected] : rows) {
    oxfFileList* list = reinterpret_cast<oxfFileList*>(1);
    ASSERT_EQ(0u, oxfGetFileList(directory.c_str(), extension, mask, &list));
    EXPECT_EQ(expected, names(list)) << extension << " " << mask;
    EXPECT_EQ(0u, oxfFileListFree(list));
  }
  oxfFileList* list = nullptr;
  ASSERT_EQ(0u, oxfGetFileList(directory.c_str(), ".def", 0, &list));
  EXPECT_EQ(native(directory + "/Oxbase.def"), oxfGetFileName(list));
  EXPECT_EQ(native(directory + "/USER.DEF"), oxfGetFileName(oxfGetFilePrev(list))) << "the head's prev is the tail";
  EXPECT_EQ(0u, oxfDestroyFileList(list));
  EXPECT_EQ(0u, oxcGetMemValue(1));
  const auto list_users = [&] { EXPECT_EQ(0u, oxfGetFileList(directory.c_str(), ".def", 4, nullptr)); };
  EXPECT_NE(std::string::npos, ox::test::traced(ox::trace::general, list_users).find("USER.DEF(3)\n"));
  write_file(directory + "/a-name-too-long-for-the-short-text-optimisation.def", "");
  ox::test::every_allocation_may_fail([&] {
    oxfFileList* some = nullptr;
    const OX_RESULT result = oxfGetFileList(directory.c_str(), ".def", 6, &some);
    (void)oxfFileListFree(some);
    return result;
  });
}

TEST(FileList, BadArgumentsAndLimits) {
  oxfFileList* const untouched = reinterpret_cast<oxfFileList*>(1);
  oxfFileList* list = untouched;
  const std::string longest(253, 'd');
  EXPECT_EQ(195u, oxfGetFileList("d", std::string(26, 'e').c_str(), 0, &list));
  EXPECT_EQ(152u, oxfGetFileList((longest + "d").c_str(), ".def", 0, &list));
  EXPECT_EQ(untouched, list);
  EXPECT_EQ(0u, oxfGetFileList(longest.c_str(), ".def", 0, &list)) << "no such directory: no file";
  EXPECT_EQ(nullptr, list);
}

TEST(ErrorPosition, ANullFileSetsOnlyTheLineAndThreadsAreApart) {
  EXPECT_EQ("", error_position());
  (void)ox::oxfSetErrorFile(std::string(2000, 'f').c_str(), 3);
  (void)ox::oxfSetErrorFile(nullptr, 4);
  std::thread([] { EXPECT_EQ("", error_position()); }).join();
  EXPECT_EQ(std::string(1023, 'f') + ":4", error_position());
  (void)ox::oxfSetErrorFile("", 0);
  EXPECT_EQ("", error_position());
}

}  // namespace
