// Name file directories: the index's bytes, many processes at once, and what a death or a failure leaves.
#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <thread>

#include <oxbase/oxc.h>

#include "tests/support/blocks.h"
#include "tests/support/fault_heap.h"
#include "tests/support/given.h"
#include "tests/support/other_process.h"
#include "tests/support/system_root.h"
#include "tests/support/texts.h"

namespace fs = std::filesystem;

namespace {

using ox::test::given, ox::test::OtherProcess, ox::test::read_file, ox::test::split, ox::test::write_file;

std::string folder() {
  const std::string path = ox::test::work_dir() + "/names";
  fs::create_directories(path);
  return path;
}
std::string index_path() { return folder() + "/filename.dir"; }
std::string index_bytes() { return read_file(index_path()); }

std::int32_t opened(OX_RESULT expected = OX_OK) {
  std::int32_t slot = -1;
  EXPECT_EQ(expected, oxcNameFileOpen(folder().c_str(), &slot));
  return slot;
}

// What follows the directory's path.
std::string below(std::string path) {
  if (path.starts_with(folder() + "/")) path.erase(0, folder().size() + 1);
  return path;
}
std::string created(std::int32_t slot, const char* name) {
  return below(given<const char*>(oxcCreateName, slot, name));
}
std::string file_of(std::int32_t slot, const char* name) { return below(given<const char*>(oxcName2File, slot, name)); }
std::string name_of(std::int32_t slot, const char* file) { return given<const char*>(oxcFile2Name, slot, file); }

std::string names(std::int32_t slot) {
  oxcNameItem* list = nullptr;
  EXPECT_EQ(0u, oxcNameFileGetOrgList(slot, &list));
  std::string all;
  for (const oxcNameItem* item = list; item != nullptr; item = item->next) all += std::string(item->name) + " ";
  (void)oxcQueueFree(list, oxcMemFree);
  return all;
}

TEST(NameFiles, EveryChangeStandsInTheIndex) {
  const ox::test::SameBlocks same_blocks;
  const std::int32_t slot = opened();
  EXPECT_EQ("", index_bytes());
  EXPECT_EQ("N0000001", created(slot, "a/b*"));
  EXPECT_EQ("N0000002", created(slot, "two"));
  EXPECT_EQ("N0000003", created(slot, "two"));
  EXPECT_EQ("a/b* 0x0000001 \ntwo 0x0000002 \ntwo 0x0000003 \n", index_bytes());
  EXPECT_EQ("N0000002", file_of(slot, "two"));
  EXPECT_EQ(0u, oxcNameFileRename(slot, "two", "new"));
  EXPECT_EQ("a/b* 0x0000001 \nnew 0x0000002 \ntwo 0x0000003 \n", index_bytes());
  EXPECT_EQ("N0000003", file_of(slot, "two"));
  EXPECT_EQ(0u, oxcNameDelete(slot, "two"));
  EXPECT_EQ("!254", file_of(slot, "two"));
  EXPECT_EQ("N0000004", created(slot, "last"));
  EXPECT_EQ("a/b* new last ", names(slot));
  const std::pair<const char*, const char*> files[] = {
      {"N0000004", "last"}, {"N4", "last"}, {"N00000000002", "new"}, {"n0000004", "!254"},
      {"N", "!254"},        {"N3", "!254"}, {"N0x4", "!254"},        {"N4U", "!254"},
      {"N-4", "!254"},      {"x", "!254"},  {"N100000004", "!254"}};
  for (const auto& [file, name] : files) EXPECT_EQ(name, name_of(slot, file)) << file;
  EXPECT_EQ("!254", file_of(slot, "Last"));
  EXPECT_EQ(254u, oxcNameDelete(slot, "none"));
  EXPECT_EQ(254u, oxcNameFileRename(slot, "none", "x"));
  for (const char* name : {"a/b*", "new", "last"}) EXPECT_EQ(0u, oxcNameDelete(slot, name));
  EXPECT_EQ("", index_bytes());
  EXPECT_EQ(0u, oxcNameFileClose(slot));
  EXPECT_EQ(254u, oxcNameFileClose(slot));
  EXPECT_EQ("!254", created(slot, "x"));
  EXPECT_EQ(0u, oxcNameFileCloseAll());
}

TEST(NameFiles, AnIndexIsReadAsFarAsItGoes) {
  // Contents, result, names, the next file.
  const std::tuple<const char*, OX_RESULT, const char*, const char*> rows[] = {
      {"a 0x0000001 \nb 0x0000005 \nc 3 \n", 0, "a b c ", "N0000006"},
      {"\r\n a\n0x2\r\nb   07", 0, "a b ", "N0000008"},
      {"a 0x1 \nb\n", 78, "a ", "!78"},
      {"a 0x1 b 08 c 3 ", 70, "a ", "!70"},
      {"a 0x1 b 0x100000000 ", 88, "a ", "!88"},
      {"a 0xFFFFFFF \nb 0x1 \nc 2 ", 0, "a b c ", "N0000003"},
      {"a 0xFFFFFFFF ", 0, "a ", "N0000001"}};
  for (const auto& [contents, result, found, next] : rows) {
    write_file(index_path(), contents);
    const std::int32_t slot = opened(result);
    EXPECT_EQ(found, names(slot)) << contents;
    fs::last_write_time(index_path(), fs::file_time_type::clock::now() - std::chrono::hours(1));
    if (result != OX_OK) write_file(index_path(), std::string(contents) + " ");  // so that it is read anew
    EXPECT_EQ(next, created(slot, "next")) << contents;
    EXPECT_EQ(0u, oxcNameFileClose(slot));
  }
  EXPECT_EQ(0u, oxcNameFileCloseAll());
}

TEST(NameFiles, EverySlotIsItsThreadsOwn) {
  for (int i = 0; i < 45; ++i) EXPECT_EQ(i, opened());
  EXPECT_EQ(0u, oxcNameFileClose(7));
  EXPECT_EQ(7, opened());
  std::thread([] { EXPECT_EQ("!254", created(7, "a")); }).join();
  EXPECT_EQ(0u, oxcNameFileCloseAll());
  fs::create_directories(ox::test::work_dir() + "/data/backgnd");
  EXPECT_EQ(nullptr, oxMap2File("a"));
  EXPECT_EQ(0u, oxMapFileInit());
  EXPECT_EQ(0u, oxMapFileInit());
  const char* path = nullptr;
  EXPECT_EQ(0u, oxCreateMapFile("a", &path));
  EXPECT_EQ(ox::test::native(ox::test::work_dir() + "/data/backgnd") + "/N0000001", path);
  EXPECT_STREQ("a", oxFile2Map("N0000001"));
  EXPECT_STREQ(path, oxMap2File("a"));
  EXPECT_EQ(0u, oxDeleteMapFile("a"));
  EXPECT_EQ(0u, oxMapFileUninit());
  EXPECT_EQ(254u, oxMapFileUninit());
  EXPECT_NE(0u, oxTypeFileInit()) << "no such directory";
  EXPECT_EQ(0, opened()) << "no slot is left taken";
}

TEST(NameFiles, FailuresChangeNothing) {
  fs::remove_all(folder());
  const std::int32_t slot = opened();
  EXPECT_EQ("N0000001", created(slot, "one"));
  fs::create_directories(folder() + "/filename.tmp");
  EXPECT_NE(0u, oxcNameDelete(slot, "one"));
  EXPECT_EQ("one 0x0000001 \n", index_bytes());
  EXPECT_EQ("N0000001", file_of(slot, "one"));
  fs::remove(folder() + "/filename.tmp");
  (void)oxcNameFileCloseAll();
  (void)opened();
  const std::string path = folder();
  ox::test::every_allocation_may_fail([&] {
    std::int32_t made = -1;
    const OX_RESULT result = oxcNameFileOpen(path.c_str(), &made);
    if (made != -1) (void)oxcNameFileClose(made);
    return result;
  });
}

// Makes and changes names without end, in the folder of the file in which it tells of each that was acknowledged.
int makes_names(OtherProcess& owner) {
  const fs::path told_path = owner.text();
  const std::string id = told_path.filename().string();
  std::ofstream told(told_path, std::ios::binary);
  std::int32_t slot = -1;
  if (oxcNameFileOpen(told_path.parent_path().string().c_str(), &slot) != OX_OK) return 1;
  for (int i = 0;; ++i) {
    const std::string name = id + "_" + std::to_string(i);
    const char* path = nullptr;
    if (oxcCreateName(slot, name.c_str(), &path) != OX_OK) return 2;
    if (i % 5 == 4 && oxcNameFileRename(slot, name.c_str(), (name + "r").c_str()) != OX_OK) return 3;
    told << name << (i % 5 == 4 ? "r " : " ") << fs::path(path).filename().string() << "\n" << std::flush;
  }
}
const bool declared = OtherProcess::declare("makes_names", makes_names);

// The whole lines of a file that its writer may have died over.
std::vector<std::string> whole_lines(const std::string& path) {
  std::vector<std::string> lines = split(read_file(path), '\n');
  lines.pop_back();
  return lines;
}

TEST(NameFiles, DeathsLoseNoNameThatWasAcknowledged) {
  ASSERT_TRUE(declared);
  std::vector<std::string> told;
  for (int round = 0; round < 4; ++round) {
    std::vector<std::pair<std::string, ox::test::Program>> children;
    for (const char* id : {"/a", "/b"}) {
      const std::string path = folder() + id + std::to_string(round);
      children.emplace_back(path, OtherProcess::start("makes_names", path));
    }
    for (const auto& [path, child] : children) {
      for (int i = 0; i < 3000 && (!fs::exists(path) || fs::file_size(path) < 300); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
      }
    }
    for (auto& [path, child] : children) {
      EXPECT_TRUE(child.running()) << child.wait({}) << OtherProcess::log();
      child.kill();
      for (const std::string& line : whole_lines(path)) told.push_back(line);
    }
  }
  const std::int32_t slot = opened();
  std::set<std::string> files;
  for (const std::string& line : told) {
    const std::string name = line.substr(0, line.find(' '));
    EXPECT_EQ(line.substr(name.size() + 1), file_of(slot, name.c_str())) << line;
    EXPECT_TRUE(files.insert(line.substr(name.size() + 1)).second) << "given twice: " << line;
  }
  EXPECT_GT(told.size(), 100u);
}

}  // namespace
