#include "platform/file.h"

#include <algorithm>
#include <filesystem>

#include "tests/support/system_root.h"
#include "tests/support/test.h"

namespace ox::platform {
namespace {

using test::read_file;
using test::write_file;

constexpr std::uint32_t read = 0x80000000U;
constexpr std::uint32_t write = 0x40000000U;

std::string path_of(const char* name) { return test::work_dir() + "/" + name; }

TEST(File, AnExclusiveOpenerKeepsOthersOutAndTheContentsIn) {
  const std::string path = path_of("exclusive");
  write_file(path, "contents");
  std::FILE* file = open_exclusive(path.c_str(), "r+");
  ASSERT_NE(nullptr, file);
  for (const char* mode : {"r", "w", "a", "w+"}) {
    EXPECT_EQ(nullptr, open_exclusive(path.c_str(), mode)) << mode;
    EXPECT_EQ(error_sharing_violation, last_error()) << mode;
  }
  for (const std::uint32_t disposition : {2U, 3U, 4U, 5U}) {
    EXPECT_EQ(-1, open_file(path.c_str(), read | write, 7, nullptr, disposition, 0, nullptr)) << disposition;
    EXPECT_EQ(error_sharing_violation, last_error()) << disposition;
  }
  std::fclose(file);
  EXPECT_EQ("contents", read_file(path));
  ASSERT_NE(nullptr, file = open_exclusive(path.c_str(), "w"));
  std::fputs("new", file);
  EXPECT_EQ(error_none, sync_file(file));
  std::fclose(file);
  EXPECT_EQ("new", read_file(path));
  EXPECT_EQ(nullptr, open_exclusive(path_of("none").c_str(), "r"));
  EXPECT_EQ(error_file_not_found, last_error());
}

TEST(File, OpeningFollowsTheDisposition) {
  // What, disposition, whether the file is there, result, contents afterwards.
  const std::tuple<const char*, std::uint32_t, bool, Error, const char*> rows[] = {
      {"create new", 1, false, error_none, ""},
      {"create new over one", 1, true, error_file_exists, "old"},
      {"create always", 2, false, error_none, ""},
      {"create always over one", 2, true, error_none, ""},
      {"open existing", 3, true, error_none, "old"},
      {"open none", 3, false, error_file_not_found, nullptr},
      {"open always", 4, false, error_none, ""},
      {"open always over one", 4, true, error_none, "old"},
      {"truncate", 5, true, error_none, ""},
      {"truncate none", 5, false, error_file_not_found, nullptr},
      {"no such way", 6, true, error_invalid_parameter, "old"}};
  const std::string path = path_of("disposition");
  for (const auto& [what, disposition, present, error, contents] : rows) {
    SCOPED_TRACE(what);
    std::filesystem::remove(path);
    if (present) write_file(path, "old");
    const std::intptr_t file = open_file(path.c_str(), read | write, 3, nullptr, disposition, 0, nullptr);
    EXPECT_EQ(error, file != -1 ? Error{error_none} : last_error());
    const std::intptr_t second = open_file(path.c_str(), read, 3, nullptr, 3, 0, nullptr);
    EXPECT_EQ(contents != nullptr, second != -1);  // sharing opens live together
    for (const std::intptr_t opened : {file, second}) close_file(opened);
    EXPECT_EQ(contents != nullptr ? contents : "none", second != -1 ? read_file(path) : "none");
  }
}

TEST(File, RenamingReplacesOnlyWhenAskedTo) {
  const std::string from = path_of("from");
  const std::string to = path_of("to");
  write_file(from, "new");
  write_file(to, "old");
  EXPECT_EQ(error_already_exists, rename_file(from.c_str(), to.c_str()));
  EXPECT_EQ("old", read_file(to));
  EXPECT_EQ(error_none, replace_file(from.c_str(), to.c_str()));
  EXPECT_EQ("new", read_file(to));
  EXPECT_EQ(error_file_not_found, replace_file(from.c_str(), to.c_str()));
  EXPECT_EQ(error_file_not_found, rename_file(from.c_str(), path_of("other").c_str()));
  EXPECT_EQ(error_none, rename_file(to.c_str(), from.c_str()));
  EXPECT_EQ(error_none, remove_file(from.c_str()));
  EXPECT_EQ(error_file_not_found, remove_file(from.c_str()));
  EXPECT_EQ(error_file_not_found, last_error());
}

TEST(File, DirectoriesAreListedWithTheAttributesOfTheirEntries) {
  const std::string directory = path_of("listed");
  ASSERT_EQ(error_none, make_directory(directory.c_str()));
  EXPECT_EQ(error_already_exists, make_directory(directory.c_str()));
  write_file(directory + "/plain.def", "12345");
  write_file(directory + "/locked.def", "");
  std::filesystem::permissions(directory + "/locked.def", std::filesystem::perms::owner_read);
  ASSERT_EQ(error_none, make_directory((directory + "/below").c_str()));

  std::vector<DirectoryEntry> entries(1);
  EXPECT_EQ(error_path_not_found, list_directory((directory + "x").c_str(), entries));
  EXPECT_EQ(error_path_not_found, list_directory((directory + "/plain.def").c_str(), entries));
  EXPECT_EQ(1U, entries.size());
  ASSERT_EQ(error_none, list_directory(directory.c_str(), entries));
  std::vector<std::string> seen;
  for (const auto& [name, is] : entries) {
    seen.push_back(name + (is.directory ? " directory" : " " + std::to_string(is.size)) +
                   (is.read_only ? " read-only" : "") + (is.hidden || is.system ? " special" : ""));
  }
  std::sort(seen.begin(), seen.end());
  EXPECT_EQ((std::vector<std::string>{"below directory", "locked.def 0 read-only", "plain.def 5"}), seen);

  FileAttributes attributes;
  EXPECT_EQ(error_none, file_attributes(directory.c_str(), attributes));
  EXPECT_TRUE(attributes.directory);
  EXPECT_EQ(error_file_not_found, file_attributes((directory + "/none").c_str(), attributes));
}

}  // namespace
}  // namespace ox::platform
