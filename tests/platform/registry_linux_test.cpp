// The registry as a file that people edit.
#include <algorithm>

#include "tests/support/registry.h"
#include "tests/support/system_root.h"

namespace ox::platform {
namespace {

using test::read_file, test::registry_value, test::system_root, test::write_file;

std::string registry_file() { return system_root() + "/registry.reg"; }

// A file as an administrator may leave it: what is damaged is skipped, what is not understood is kept.
TEST(RegistryFile, DamagedAndForeignLinesAreSkippedAndKept) {
  write_file(system_root() + "/system.log", "");
  write_file(registry_file(),
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
             "[HKEY_LOCAL_MACHINE\\Gone\\Below]\r\n[HKEY_LOCAL_MACHINE\\Gone2]\r\n[-HKEY_LOCAL_MACHINE\\GONE]\r\n"
             "[HKEY_LOCAL_MACHINE\\SOFTWARE\\CORVID\\OXBASE\\Below]\r\n"
             "\"Last\"=\"no line end\"");
  EXPECT_EQ("default", registry_value(""));
  EXPECT_EQ("#60", registry_value("number"));
  EXPECT_EQ("two", registry_value("Twice"));
  for (const char* name : {"Stray", "Open", "Escape", "Binary", "Wide", "After", "Gone", "Lost", "Last"}) {
    EXPECT_EQ("absent", registry_value(name)) << name;
  }
  for (const char* there : {"Software\\Corvid", "Gone2"}) EXPECT_TRUE(registry_has_key(there)) << there;
  for (const char* none : {"Software\\Corv", "Broken", "Gone\\Below"}) EXPECT_FALSE(registry_has_key(none)) << none;

  ASSERT_EQ(error_none, registry_write(test::registry_key, "TWICE", "three"));
  ASSERT_EQ(error_none, registry_write(test::registry_key, "New", "value"));
  ASSERT_EQ(error_none, registry_write("SOFTWARE\\New", "Number", 0xFFU));
  ASSERT_EQ(error_none, registry_write("SOFTWARE\\New", "Text", "C:\\\"x\""));
  const std::string now = read_file(registry_file());
  for (const char* part :
       {"\"Open\"=\"no end\r\n", "hex:01,02,\\\r\n  03,04\r\n", "; a comment\r\n", "\"Twice\"=\"three\"", "\"Lost\"=",
        "\"Last\"=\"no line end\"\n\n"
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\New]\n"
        "\"Number\"=dword:000000ff\n\"Text\"=\"C:\\\\\\\"x\\\"\"\n"}) {
    EXPECT_NE(std::string::npos, now.find(part)) << part;
  }
  EXPECT_LT(now.find("\"New\""), now.find("OXBASE\\Below]"));
  EXPECT_EQ("three", registry_value("Twice"));
  EXPECT_EQ("value", registry_value("New"));

  const std::string log = read_file(system_root() + "/system.log");
  EXPECT_EQ(7, std::count(log.begin(), log.end(), '\n'));  // each once, however often the file was read
  EXPECT_NE(std::string::npos, log.find("registry.reg:3: damaged line skipped: \"Stray\""));
  EXPECT_NE(std::string::npos, log.find("registry.reg:18: damaged line skipped: [HKEY_LOCAL_MACHINE\\Broken\n"));
}

TEST(RegistryFile, AnExportInUtf16IsRead) {
  std::string wide = "\xFF\xFE";
  for (const char c : "[HKEY_LOCAL_MACHINE\\" + std::string(test::registry_key) + "]\r\n\"Locale\"=\"x") {
    wide += {c, '\0'};
  }
  wide += std::string("\x42\x30\x3D\xD8\x00\xDE\"\0\r\0\n\0", 12);  // U+3042, U+1F600
  for (const std::size_t cut : {0U, 1U}) {                          // an odd byte at the end
    write_file(registry_file(), wide.substr(0, wide.size() - cut));
    EXPECT_EQ("x\xE3\x81\x82\xF0\x9F\x98\x80", registry_value("Locale"));
  }
}

TEST(RegistryFile, AChangedFileIsSeenAtOnce) {
  const std::string head = "[HKEY_LOCAL_MACHINE\\" + std::string(test::registry_key) + "]\n\"Locale\"=\"";
  for (int round = 1000; round < 1050; ++round) {  // the same size, as a rule within one step of the file clock
    write_file(registry_file(), head + std::to_string(round) + "\"\n");
    ASSERT_EQ(std::to_string(round), registry_value("Locale"));
  }
}

}  // namespace
}  // namespace ox::platform
