// Keyword definition files: the entry reader, the writer, the user file, and the daemon's settings.
#include <filesystem>
#include <thread>

#include <oxbase/oxf.h>

#include "deffile/daemon_settings.h"
#include "deffile/entry_writer.h"
#include "deffile/user_file.h"
#include "platform/environment.h"
#include "tests/support/blocks.h"
#include "tests/support/fault_heap.h"
#include "tests/support/system_root.h"
#include "tests/support/test.h"
#include "tests/support/texts.h"

namespace fs = std::filesystem;
using namespace std::string_view_literals;

namespace {

using ox::test::read_text, ox::test::repeated, ox::test::SameBlocks, ox::test::split, ox::test::work_dir,
    ox::test::write_file;

// The entry as "keyword|value|value", or the code.
std::string next_entry(const char* filter = nullptr) {
  oxcConfigEntry entry;
  const OX_RESULT result = oxcGetConfigEntry(nullptr, filter, nullptr, &entry);
  std::string text = result == 0 ? entry.keyword : std::to_string(result);
  for (uint32_t i = 0; i < entry.count; ++i) {
    text += std::string("|") + entry.values[i];
    (void)oxcMemFree(entry.values[i]);
  }
  return text;
}

void set_file(const std::string& contents) {
  const std::string path = work_dir() + "/entries.def";
  write_file(path, contents);
  ASSERT_EQ(0u, oxcSetConfigEntry(path.c_str()));
}

TEST(EntryReader, LinesAndTheirNumbers) {
  const std::string longest(4095, 'k');
  const std::string filling(8188, 'x');  // with the keyword, the buffer but for the line end
  // What, contents, entries: each with the number of its line.
  const std::tuple<const char*, std::string, std::string> rows[] = {
      {"an empty file", "", " 122@0"},
      {"only comments", "# a:b\n\n#\n", " 122@3"},
      {"values", "comptype: node\t\"a b\"  c\\ d\nsupertype:\n attr :x#y\n",
       " comptype|node|a b|c d@1 supertype@2  attr |x#y@3 122@3"},
      {"no line end at the end", "a:1\nb:2", " a|1@1 b|2@2 122@2"},
      {"line ends of two characters", "#c\r\n\r\na:1 2\r\nb:\r\n", " a|1|2@3 b@4 122@4"},
      {"only the first colon counts", "a:b:c :d\n", " a|b:c|:d@1 122@1"},
      {"an empty keyword", ":v\n", " |v@1 122@1"},
      {"faulty lines do not end the file", "nocolon\n \na:'x\nb:1\n", " 4@1 4@2 68@3 b|1@4 122@4"},
      {"longest keyword", longest + ":v\n" + longest + "k:v\nb:1\n", " " + longest + "|v@1 76@2 b|1@3 122@3"},
      {"1024 values", "a:" + repeated(" v", 1024) + "\nb:" + repeated(" v", 1025) + "\n",
       " a" + repeated("|v", 1024) + "@1 86@2 122@2"},
      {"a line over the buffer goes on as the next one", "a:" + filling + "xb:1\n",
       " a|" + filling + "x@1 b|1@2 122@2"},
      {"the buffer ends at the line end", "a:" + filling + "\nb:1\n", " a|" + filling + "@1 b|1@2 122@2"},
      {"the buffer ends inside the line end", "a:" + filling + "\r\nb:1\n", " a|" + filling + "@1 b|1@2 122@2"},
      {"the buffer ends in a CR of the text", "a:" + filling + "\rb:1\n", " a|" + filling + "\r@1 b|1@2 122@2"},
      {"a zero byte ends the line's text", std::string("a:1\0 2\nb:1\n", 11), " a|1@1 b|1@2 122@2"}};
  const SameBlocks same_blocks;
  for (const auto& [what, contents, entries] : rows) {
    set_file(contents);
    std::string seen;
    while (!seen.ends_with(" 122@" + std::to_string(oxcGetConflineno()))) {
      seen += " " + next_entry();
      seen += "@" + std::to_string(oxcGetConflineno());
    }
    EXPECT_EQ(entries, seen) << what;
  }
  EXPECT_EQ(0u, oxcEndConfigEntry());
}

TEST(EntryReader, FilterRewindAndOtherUsers) {
  EXPECT_EQ("1", next_entry());
  set_file("a:1\n#\nB:2\nb:3\na:4\n");
  EXPECT_EQ("b|3", next_entry("b"));
  write_file(work_dir() + "/conf/oxmgrd.cf", "SockPort: 9000\n");
  EXPECT_EQ(9000u, oxcGetPortNumber()) << "beside the thread's file";
  std::thread([] {
    EXPECT_EQ("1", next_entry());
    EXPECT_EQ(0u, oxcGetConflineno());
  }).join();
  EXPECT_EQ(4u, oxcGetConflineno());
  EXPECT_EQ("122", next_entry("b"));
  EXPECT_EQ(5u, oxcGetConflineno());
  EXPECT_EQ(0u, oxcSetConfigEntry(nullptr));
  EXPECT_EQ(0u, oxcGetConflineno());
  EXPECT_EQ("a|1", next_entry());
  EXPECT_EQ(142u, oxcSetConfigEntry(work_dir().c_str())) << "a directory";
  EXPECT_EQ("1", next_entry()) << "the old file is given up";
  EXPECT_EQ(142u, oxcSetConfigEntry((work_dir() + "/missing").c_str()));
}

TEST(EntryReader, EveryAllocationMayFail) {
  const std::string path = work_dir() + "/entries.def";
  write_file(path, "a:1 2 3\n");
  ox::test::every_allocation_may_fail([&]() -> OX_RESULT {
    if (const OX_RESULT result = oxcSetConfigEntry(path.c_str())) return result;
    const std::string entry = next_entry();
    return entry == "a|1|2|3" ? 0 : static_cast<OX_RESULT>(std::stoul(entry));
  });
}

oxcConfigEntry* made(const char* keyword, std::vector<const char*> v) {
  const auto count = static_cast<uint32_t>(v.size());
  v.resize(3);
  oxcConfigEntry* entry = nullptr;
  EXPECT_EQ(1u, oxfSetConfent(&entry, keyword, count, v[0], v[1], v[2]));
  return entry;
}

TEST(EntryMaking, ValuesAreCopiedAndFailuresGiveNone) {
  const SameBlocks same_blocks;
  oxcConfigEntry* entry = made("k:", {"a", nullptr, "c"});
  EXPECT_TRUE(entry->count == 3 && entry->values[1] == nullptr && entry->values[2] == "c"sv);
  EXPECT_EQ(0u, oxfClrConfent(entry));
  oxcConfigEntry* const untouched = entry = reinterpret_cast<oxcConfigEntry*>(1);
  for (int n = 1; n <= 3; ++n) {
    errno = 0;
    ox::test::fail_allocation(n);
    EXPECT_EQ(0u, oxfSetConfent(&entry, "k:", 2, "a", "b"));
    EXPECT_TRUE(ox::test::stop_failing());
    EXPECT_EQ(3, errno);
  }
  EXPECT_EQ(0u, oxfSetConfent(nullptr, "k", 0));
  EXPECT_EQ(0u, oxfSetConfent(&entry, nullptr, 0));
  EXPECT_EQ(0u, oxfSetConfent(&entry, std::string(4096, 'k').c_str(), 0));
  EXPECT_EQ(0u, oxfSetConfent(&entry, "k", 1025));
  EXPECT_EQ(untouched, entry);
}

class UserFile : public testing::Test {
 protected:
  void SetUp() override { fs::create_directories(directory); }
  void TearDown() override {
    EXPECT_FALSE(fs::exists(temporary));
    EXPECT_EQ(0u, oxfClrConfent(entry));
  }
  static OX_RESULT rewrite(std::vector<const oxcConfigEntry*> entries) {
    return ox::rewrite_user_file("public\\comptype", entries);
  }

  const SameBlocks same_blocks;
  const std::string directory = work_dir() + "/public/comptype";
  const std::string path = directory + "/user.def", temporary = directory + "/user.tmp";
  oxcConfigEntry* entry = made("a:", {"1"});
};

TEST_F(UserFile, IsReplacedAndNeverLeftEmpty) {
  EXPECT_EQ(1u, ox::write_entry(*entry)) << "no file";
  EXPECT_EQ(1u, ox::close_after_writing());
  write_file(temporary, "left by a crash, longer than what comes");
  EXPECT_EQ(0u, rewrite({entry}));
  EXPECT_EQ("a:\t1\n", read_text(path));
  oxcConfigEntry* const others[] = {made("comptype:", {}), made("\nb:", {"x y", "z"})};
  EXPECT_EQ(0u, rewrite({others[0], entry, others[1]}));
  EXPECT_EQ("comptype:\ta:\t1\n\nb:\tx y\tz\n", read_text(path));
  for (oxcConfigEntry* other : others) EXPECT_EQ(0u, oxfClrConfent(other));
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(0u, rewrite({}));
    EXPECT_FALSE(fs::exists(path));
  }
}

TEST_F(UserFile, AFailureKeepsTheOldOne) {
  write_file(path, "old:\t1\n");
  if (ox::test::make_full_file(temporary)) {  // a full disk: all goes into the buffer and fails when it is written out
    EXPECT_EQ(144u, rewrite({entry}));
  } else {
    fs::create_directory(temporary);
    EXPECT_NE(0u, rewrite({entry}));
    fs::remove(temporary);
  }
  EXPECT_EQ("old:\t1\n", read_text(path));
  fs::remove(path);
  fs::create_directory(path);
  EXPECT_EQ(138u, rewrite({entry}));
  EXPECT_EQ(152u, ox::rewrite_user_file(std::string(260, 'd'), {}));
}

void set_settings(const std::string& contents) { write_file(work_dir() + "/conf/oxmgrd.cf", contents); }

TEST(DaemonSettings, PortNumber) {
  EXPECT_EQ(8806u, oxcGetPortNumber());
  for (const auto& [port, texts] :
       {std::pair{9000u,
                  "SockPort: 9000\n|# comment\nbroken line\nother:'\nSockPort:\t\"9000\" more\nSockPort: 9002\n"},
        {65535u, "SockPort: 65535"},
        {8806u, "SockPort: 65536|SockPort: 0|SockPort: 0x2328|SockPort: -1|SockPort:\n|sockport: 9000"}}) {
    for (const std::string& text : split(texts)) {
      set_settings(text);
      EXPECT_EQ(port, oxcGetPortNumber()) << text;
    }
  }
}

// Where a system lets members make links it follows none; elsewhere nothing but the file's own name leads to it.
TEST(DaemonSettings, NoLinkIsFollowed) {
  const std::string settings = work_dir() + "/conf/oxmgrd.cf";
  write_file(work_dir() + "/elsewhere", "SockPort: 9001\n");
  set_settings("SockPort: 9000\n");
  EXPECT_EQ(9000u, oxcGetPortNumber());
  fs::remove(settings);
  std::error_code refused;
  fs::create_symlink(work_dir() + "/elsewhere", settings, refused);
  if (refused) GTEST_SKIP() << "no links here: " << refused.message();
  EXPECT_EQ(8806u, oxcGetPortNumber());
  fs::remove(settings);
  set_settings("SockPort: 9001\n");
  EXPECT_EQ(9001u, oxcGetPortNumber());
}

// The name is made once per process, so each form has a test case of its own.
TEST(ManagerName, Configured) {
  set_settings("CommunityName: \"east-1.example_net\"\n");
  EXPECT_STREQ("east-1.example_net", oxcGetMyComm());
  set_settings("CommunityName: later\n");
  EXPECT_STREQ("east-1.example_net", oxcGetMyComm());
}
TEST(ManagerName, ConfiguredButNotPossible) {
  set_settings("CommunityName: \"two words\"\n");
  EXPECT_STREQ("manager1", oxcGetMyComm());
}
TEST(ManagerName, MadeOfTheHostName) {
  set_settings("CommunityName:\n");
  const std::string host = ox::platform::computer_name();
  EXPECT_EQ(ox::comm_namecheck("mgr_" + host) && !host.empty() ? "mgr_" + host : "manager1", oxcGetMyComm());
}

TEST(ManagerName, Check) {
  for (const auto& [good, names] : {std::pair{true, "a|HOST1|1-a_b.c|" + std::string(63, 'x')},
                                    {false, "|a b|a:b|*|a,b|\x83\x5C|" + std::string(64, 'x')}}) {
    for (const std::string& name : split(names)) EXPECT_EQ(good, ox::comm_namecheck(name)) << name;
  }
  EXPECT_FALSE(ox::comm_namecheck({"a\0", 2}));
}

}  // namespace
