// The registry as a file that people edit.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "platform/registry.h"
#include "tests/support/system_root.h"

namespace ox::platform {
namespace {

using test::read_file;
using test::system_root;
using test::write_file;

constexpr char key[] = "SOFTWARE\\CORVID\\OXBASE";

std::string text_of(const char* name) {
  std::string text = "absent";
  (void)registry_read(key, name, text, 1024);
  return text;
}

std::uint32_t number_of(const char* name) {
  std::uint32_t number = 0xDEAD;
  (void)registry_read(key, name, number);
  return number;
}

std::string registry_file() { return system_root() + "/registry.reg"; }

// A file as an administrator may leave it: what is damaged is skipped, what is not understood is kept.
TEST(RegistryFile, DamagedAndForeignLinesAreSkippedAndKept) {
  const std::string lines =
      "Windows Registry Editor Version 5.00\r\n\r\n"
      "\"Stray\"=\"before any key\"\r\n"
      "; a comment\r\n"
      "[hkey_local_machine\\software\\corvid\\oxbase]\r\n"
      "@=\"default\"\r\n"
      "\"Open\"=\"no end\r\n"
      "\"Escape\"=\"\\q\"\r\n"
      "\"Binary\"=hex:01,02,\\\r\n  03,04\r\n"
      "\"Number\"=dword:3c\r\n"
      "\"Wide\"=dword:123456789\r\n"
      "\"After\"=\"first\" rubbish\r\n"
      "\"Twice\"=\"one\"\r\n\"twice\"=\"two\"\r\n"
      "\"Gone\"=\"here\"\r\n\"Gone\"=-\r\n"
      "[HKEY_LOCAL_MACHINE\\Broken\r\n"
      "\"Lost\"=\"of a broken key\"\r\n"
      "[HKEY_LOCAL_MACHINE\\SOFTWARE\\CORVID\\OXBASE\\Below]\r\n"
      "\"Last\"=\"no line end\"";
  write_file(system_root() + "/system.log", "");
  write_file(registry_file(), lines);
  EXPECT_EQ("default", text_of(""));
  EXPECT_EQ(60U, number_of("number"));
  EXPECT_EQ("two", text_of("Twice"));
  for (const char* name : {"Stray", "Open", "Escape", "Binary", "Wide", "After", "Gone", "Lost", "Last"}) {
    EXPECT_EQ("absent", text_of(name)) << name;
    EXPECT_EQ(0xDEADU, number_of(name)) << name;
  }
  EXPECT_TRUE(registry_has_key("Software\\Corvid"));
  EXPECT_FALSE(registry_has_key("Software\\Corv"));
  EXPECT_FALSE(registry_has_key("Broken"));

  ASSERT_EQ(error_none, registry_write(key, "TWICE", "three"));
  ASSERT_EQ(error_none, registry_write(key, "New", "value"));
  const std::string now = read_file(registry_file());
  for (const char* kept : {"\"Open\"=\"no end\r\n", "hex:01,02,\\\r\n  03,04\r\n", "; a comment\r\n",
                           "\"Twice\"=\"three\"", "\"Lost\"=", "\"Last\"=\"no line end\"\n"}) {
    EXPECT_NE(std::string::npos, now.find(kept)) << kept;
  }
  EXPECT_LT(now.find("\"New\""), now.find("\\Below]"));
  EXPECT_EQ("three", text_of("Twice"));
  EXPECT_EQ("value", text_of("New"));

  const std::string log = read_file(system_root() + "/system.log");
  EXPECT_EQ(7, std::count(log.begin(), log.end(), '\n'));  // each once, however often the file was read
  EXPECT_NE(std::string::npos, log.find("registry.reg:3: damaged line skipped: \"Stray\""));
  std::filesystem::remove(system_root() + "/system.log");
  EXPECT_NE(std::string::npos, log.find("registry.reg:18: damaged line skipped: [HKEY_LOCAL_MACHINE\\Broken\n"));
}

TEST(RegistryFile, IsWrittenAsAnExport) {
  ASSERT_EQ(error_none, registry_write("SOFTWARE\\New", "Number", 0xFFU));
  ASSERT_EQ(error_none, registry_write("SOFTWARE\\New", "Text", "C:\\\"x\""));
  const std::string file = read_file(registry_file());
  EXPECT_NE(std::string::npos, file.find("\n\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\New]\n"
                                         "\"Number\"=dword:000000ff\n\"Text\"=\"C:\\\\\\\"x\\\"\"\n"));
}

TEST(RegistryFile, AnExportInUtf16IsRead) {
  std::string wide = "\xFF\xFE";
  for (const char c : std::string("[HKEY_LOCAL_MACHINE\\SOFTWARE\\CORVID\\OXBASE]\r\n\"Locale\"=\"x")) {
    wide += c;
    wide += '\0';
  }
  wide += std::string("\x42\x30\x3D\xD8\x00\xDE\"\0\r\0\n\0", 12);  // U+3042, U+1F600
  write_file(registry_file(), wide);
  EXPECT_EQ("x\xE3\x81\x82\xF0\x9F\x98\x80", text_of("Locale"));
  wide.pop_back();  // an odd byte at the end
  write_file(registry_file(), wide);
  EXPECT_EQ("x\xE3\x81\x82\xF0\x9F\x98\x80", text_of("Locale"));
}

TEST(RegistryFile, AChangedFileIsSeenAtOnce) {
  const std::string head = "[HKEY_LOCAL_MACHINE\\" + std::string(key) + "]\n\"Locale\"=\"";
  for (int round = 0; round < 50; ++round) {  // the same size, as a rule within one step of the file clock
    const std::string text = std::to_string(1000 + round);
    write_file(registry_file(), head + text + "\"\n");
    ASSERT_EQ(text, text_of("Locale"));
  }
}

}  // namespace
}  // namespace ox::platform
