// What the families of today do not use: rows that are numbered lists.
#include "entries/record.h"

#include "tests/entries/entry_peer.h"

namespace ox::test {
namespace {

struct Record {
  entries::TextList list;
  entries::Text text;
};
constexpr entries::Row rows[] = {
    entries::row<offsetof(Record, list), entries::TextList>("11.30.4.1", OX_DISPLAYSTRING, 1, "list"),
    entries::row<offsetof(Record, text), entries::Text>("11.30.5.0", OX_DISPLAYSTRING, 2, "text")};

// What a record read from these nodes, and then copied, sends.
OX_RESULT sent_for(const std::string& wire, std::string& sent) {
  dnode* answer = nullptr;
  OX_RESULT result = oxdDecode(wire.data(), static_cast<std::uint32_t>(wire.size()), &answer);
  Record record{}, copy{};
  entries::Nodes nodes;
  if (result == OX_OK) result = entries::read_values(&record, rows, answer, OX_OK);
  if (result == OX_OK) result = entries::copy_values(&record, &copy, rows);
  entries::clear_values(&record, rows);
  if (result == OX_OK) result = entries::append_values(nodes, &copy, rows, entries::given_values(&copy, rows));
  void* block = nullptr;
  std::uint32_t size = 0;
  if (result == OX_OK) result = oxdEncode(nodes.list(), &block, &size);
  if (result == OX_OK) sent.assign(static_cast<const char*>(block), size);
  oxcMemFree(block);
  entries::clear_values(&copy, rows);
  oxdFree(answer);
  return result;
}

class RecordTest : DisplayTexts, public testing::Test {
  const SameBlocks same_blocks_;
};

TEST_F(RecordTest, TextsOfAListHaveTheirNumbersAsPaths) {
  const auto item = [](std::string_view number, std::string_view value) {
    return node("11.30.4.1" + std::string(number), text_value(value));
  };
  const std::string five = item(".1", "") + item(".2", "b") + item(".3", "") + item(".4", "") + item(".5", "e");
  std::string sent;
  EXPECT_EQ(0u, sent_for(item(".5", "x") + item(".2", "b") + item(".5", "e"), sent));
  EXPECT_EQ(five, sent);
  EXPECT_EQ(0u, sent_for(item("", "x") + item(".", "x") + item(".0", "x") + item(".1025", "x") + item(".1x", "x") +
                             item(".4294967297", "x") + item("0.1", "x") + node("11.30.5.0", text_value("t")),
                         sent));
  EXPECT_EQ(node("11.30.5.0", text_value("t")), sent) << "an empty list sends nothing";
  every_allocation_may_fail([&] { return sent_for(five, sent); });
}

}  // namespace
}  // namespace ox::test
