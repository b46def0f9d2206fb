#include "platform/registry.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace ox::platform {
namespace {

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

TEST(Registry, WhatIsWrittenIsReadBack) {
  const char* const texts[] = {"", "C:\\base\\", "a \"quoted\" text", "line\r\nbreak", "\\", "tab\there", "[x]=;@"};
  for (const char* text : texts) {
    ASSERT_EQ(error_none, registry_write(key, "Round \"Trip\"\\", text));
    EXPECT_EQ(text, text_of("round \"trip\"\\"));
  }
  for (const std::uint32_t number : {0U, 60U, 0x80000000U, 0xFFFFFFFFU}) {
    ASSERT_EQ(error_none, registry_write(key, "Number", number));
    EXPECT_EQ(number, number_of("NUMBER"));
  }
  ASSERT_EQ(error_none, registry_write("SOFTWARE\\Other", "Number", 1U));
  EXPECT_EQ(0xFFFFFFFFU, number_of("Number"));
}

TEST(Registry, FailuresLeaveTheOutputsAlone) {
  ASSERT_EQ(error_none, registry_write(key, "Text", "four"));
  ASSERT_EQ(error_none, registry_write(key, "Number", 7U));
  std::string text = "untouched";
  std::uint32_t number = 42;
  EXPECT_EQ(error_more_data, registry_read(key, "Text", text, 3));
  EXPECT_EQ(error_more_data, last_error());
  EXPECT_EQ(error_invalid_parameter, registry_read(key, "Number", text, 100));
  EXPECT_EQ(error_invalid_parameter, registry_read(key, "Text", number));
  EXPECT_EQ(error_file_not_found, registry_read(key, "None", text, 100));
  EXPECT_EQ(error_file_not_found, registry_read("SOFTWARE\\None", "Text", number));
  EXPECT_EQ("untouched", text);
  EXPECT_EQ(42U, number);
  EXPECT_EQ(error_none, registry_read(key, "Text", text, 4));
}

TEST(Registry, WritersDoNotLoseEachOthersValues) {
  constexpr int writers = 4;
  constexpr int values = 12;
  std::vector<std::thread> threads;
  for (int writer = 0; writer < writers; ++writer) {
    threads.emplace_back([writer] {
      for (int i = 0; i < values; ++i) {
        const std::string name = std::to_string(writer) + "-" + std::to_string(i);
        EXPECT_EQ(error_none, registry_write(key, name.c_str(), static_cast<std::uint32_t>(i)));
        EXPECT_EQ(static_cast<std::uint32_t>(i), number_of(name.c_str()));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int writer = 0; writer < writers; ++writer) {
    for (int i = 0; i < values; ++i) {
      EXPECT_EQ(static_cast<std::uint32_t>(i), number_of((std::to_string(writer) + "-" + std::to_string(i)).c_str()));
    }
  }
}

}  // namespace
}  // namespace ox::platform
