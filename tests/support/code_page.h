// Texts in both code pages that an installation may have.
#pragma once

#include "common/installed_page.h"
#include "tests/support/registry.h"

namespace ox::test {

// Before the process asks for it the first time.
inline void set_code_page(std::uint32_t number) { set_value("CodePage", number); }

// What is written here, in UTF-8, as the installation has it.
[[nodiscard]] inline std::string in_page(std::string_view text) {
  static const CodePage source(platform::utf8);
  return converted(text, source, installed_page().number(), Unknown::becomes_question_mark);
}

struct ForeignText {
  const char* text;
  bool in_932 = true;
};
// In 932 their second bytes look like "\", "|", letters and quotes; in UTF-8 they have bytes that begin pairs in 932.
inline constexpr ForeignText foreign_texts[] = {{"ルータ表示"}, {"障害"},         {"表"},
                                                {"ソポ能ソ"},   {"ｱｲｳ"},          {"アチぁＡ"},
                                                {"Maß", false}, {"Fuß é", false}, {"a😀b", false}};
[[nodiscard]] inline std::vector<ForeignText> texts_in_page() {
  std::vector<ForeignText> all;
  for (const ForeignText& one : foreign_texts) {
    if (one.in_932 || installed_page().number() == platform::utf8) all.push_back(one);
  }
  return all;
}

// A fixture whose tests run in either code page, set before anything else is made.
struct PageOfTest {
  PageOfTest() { set_code_page(testing::WithParamInterface<std::uint32_t>::GetParam()); }
};
template <class Fixture = testing::Test>
class InBothPages : private PageOfTest, public Fixture, public testing::WithParamInterface<std::uint32_t> {};
#define OX_IN_BOTH_PAGES(suite) INSTANTIATE_TEST_SUITE_P(Page, suite, testing::Values(932u, 65001u))

}  // namespace ox::test
