#include "platform/registry.h"

#include "tests/support/in_threads.h"
#include "tests/support/registry.h"

namespace ox::platform {
namespace {

using test::registry_value;
constexpr const char* key = test::registry_key;

TEST(Registry, WhatIsWrittenIsReadBackWhateverTheCase) {
  for (const char* text : {"", "C:\\base\\", "a \"quoted\" text", "line\r\nbreak", "\\", "tab\there", "[x]=;@"}) {
    ASSERT_EQ(error_none, registry_write(key, "Round \"Trip\"\\", text));
    EXPECT_EQ(text, registry_value("round \"trip\"\\"));
  }
  for (const std::uint32_t number : {0U, 60U, 0x80000000U, 0xFFFFFFFFU}) {
    ASSERT_EQ(error_none, registry_write(key, "Number", number));
    EXPECT_EQ("#" + std::to_string(number), registry_value("NUMBER"));
  }
  ASSERT_EQ(error_none, registry_write("SOFTWARE\\Other", "Number", 1U));
  EXPECT_EQ("#4294967295", registry_value("Number"));
}

TEST(Registry, FailuresLeaveTheOutputsAlone) {
  ASSERT_EQ(error_none, registry_write(key, "Text", "four"));
  ASSERT_EQ(error_none, registry_write(key, "Number", 7U));
  std::string text = "untouched";
  std::uint32_t number = 42;
  EXPECT_EQ(error_more_data, registry_read(key, "Text", text, 3));
  EXPECT_EQ(error_invalid_parameter, registry_read(key, "Number", text, 100));
  EXPECT_EQ(error_invalid_parameter, registry_read(key, "Text", number));
  EXPECT_EQ(error_file_not_found, registry_read(key, "None", text, 100));
  EXPECT_EQ(error_file_not_found, registry_read("SOFTWARE\\None", "Text", number));
  EXPECT_EQ("untouched", text);
  EXPECT_EQ(42U, number);
  EXPECT_EQ(error_none, registry_read(key, "Text", text, 4));
}

TEST(Registry, WritersDoNotLoseEachOthersValues) {
  for (const bool writing : {true, false}) {
    test::in_threads(4, [&](int writer) {
      for (int i = 0; i < 12; ++i) {
        const std::string name = std::to_string(writer) + "/" + std::to_string(i);
        EXPECT_TRUE(!writing || registry_write(key, name.c_str(), name.c_str()) == error_none);
        EXPECT_EQ(name, registry_value(name));
      }
    });
  }
}

}  // namespace
}  // namespace ox::platform
