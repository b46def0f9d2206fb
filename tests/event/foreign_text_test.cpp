// Texts in either code page on their way through definition files, trap texts, events and filters.
#include <oxbase/oxf.h>

#include "tests/event/event_text.h"
#include "tests/support/code_page.h"
#include "tests/support/system_root.h"
#include "tests/support/texts.h"

namespace ox::test {
namespace {

class ForeignTexts : public InBothPages<> {
 protected:
  static void for_each(void (*check)(const std::string& text)) {
    for (const ForeignText& one : texts_in_page()) {
      SCOPED_TRACE(one.text);
      check(in_page(one.text));
    }
  }
};
OX_IN_BOTH_PAGES(ForeignTexts);

TEST_P(ForeignTexts, DefinitionFilesKeepThem) {
  for_each([](const std::string& text) {
    const std::string path = work_dir() + "/a.def";
    write_file(path, text + ":\t\"" + text + "\" '" + text + " x'\tend\n");
    ASSERT_EQ(0u, oxcSetConfigEntry(path.c_str()));
    oxcConfigEntry entry;
    ASSERT_EQ(0u, oxcGetConfigEntry(nullptr, text.c_str(), nullptr, &entry));
    std::vector<std::string> values(entry.values, entry.values + entry.count);
    EXPECT_EQ((std::vector<std::string>{text, text + " x", "end"}), values);
    for (std::uint32_t i = 0; i < entry.count; ++i) oxcMemFree(entry.values[i]);
    (void)oxcEndConfigEntry();
  });
}

TEST_P(ForeignTexts, TrapTextsKeepThem) {
  set_environment("LC_ALL", "ja_JP.UTF-8");  // nothing is converted: what a trap says is stored for good
  for_each([](const std::string& text) {
    const std::string path = work_dir() + "/b.def";
    write_file(path, "Enterprise 1.3\nSummary " + text + "\nDetail \"" + text + " *%1*\"\n");
    oxcTrConf* const list = oxcTrAllocConf();
    EXPECT_EQ(0u, oxcTrMakeConfList(list, path.c_str()));
    dnode* const binding = oxdAlloc(1);
    oxdSetText(binding, text.c_str());
    char* detail = nullptr;
    ASSERT_EQ(0u, oxcTrReMakeDetail(oxcTrFirstTag(list), binding, &detail));
    EXPECT_EQ(text, oxcTrFirstTag(list)->summary);
    EXPECT_EQ(2, count_of(detail, text)) << detail;
    oxcMemFree(detail);
    oxdFree(binding);
    oxcTrFreeConf(list);
  });
}

TEST_P(ForeignTexts, EventsCarryThemAndFiltersFindThem) {
  for_each([](const std::string& text) {
    evmsg* const event = oxeEvmsgAlloc();
    oxeEvmsgSetOptMsg(event, text.c_str());
    oxeEvmsgSetMemo(event, ("a" + text + "b").c_str());
    evmsg* const read = events_of(encode(event));
    const char* summary = nullptr;
    EXPECT_EQ(0u, oxeEvmsgGetOptMsg(read, &summary));
    EXPECT_EQ(text, summary);
    for (const auto& [pattern, passes] : {std::pair{"*" + text + "*", 1u}, {"*|*", 0u}, {"*\\*", 0u}}) {
      evflt* const filter = oxeEvfltAlloc();
      EXPECT_EQ(0u, oxeEvfltSetPattern(filter, OX_EVFLT_MEMO, pattern.c_str()));
      EXPECT_EQ(passes, oxeEvfltMatch(read, filter)) << pattern;
      oxeEvfltFree(filter);
    }
    oxeEvmsgFree(read);
    oxeEvmsgFree(event);
  });
}

}  // namespace
}  // namespace ox::test
