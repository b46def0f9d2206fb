// Enumeration and description files.
#include "amib/enumeration.h"

#include "tests/amib/tree_fixture.h"
#include "tests/support/given.h"
#include "tests/support/traced.h"

namespace ox::amib {
namespace {

using test::error_position;

class EnumerationTest : public test::SmallTreeTest {
 protected:
  static OX_RESULT read(std::string_view text, EnumTable& table) {
    return read_enum_file(define("test.enm", text).c_str(), table);
  }
  static void install(const std::string& name, std::string_view text) {
    test::write_file(test::work_dir() + "/public/amib/" + name, text);
  }
  static std::string text_of(const char* path, int32_t value, OX_RESULT expected = 0) {
    const char* text = nullptr;
    EXPECT_EQ(expected, oxbEnumToStr(path, value, &text)) << path;
    return text != nullptr ? text : "(null)";
  }
};

TEST_F(EnumerationTest, FileRules) {
  EnumTable table;
  ASSERT_EQ(0u, read("stray text\n# comment\n"
                     "{\n nobody(1)\n}\n"  // no header yet
                     "obj.cmn.cmnState:\r\n{\r\n\t up (2)\r\ndown(-1)\r\n}\r\n"
                     "{\nagain(0)\n}\n"  // a second block of the same header
                     "obj.nosuch:\n{\nnone(1)\n}\n"
                     "11.1.3:\n{\nopen(1)\n"  // not closed: the next header takes its place
                     "obj.cmn.cmnName:\n{ first line\nx(y)(10)\n}\n"
                     "obj.cmn:\n{\nlost(1)\n}",  // the last line has no end
                     table));
  std::string seen;
  for (const auto& [path, items, fault] : table) {
    for (const auto& item : items) seen += path + " " + item.text + " " + std::to_string(item.value) + "|";
  }
  EXPECT_EQ("11.1.2 down(-1) -1|11.1.2 up (2) 2|11.1.2 again(0) 0|11.1.1 x(y)(10) 10|", seen);
}

TEST_F(EnumerationTest, FileFaults) {
  const std::string open = "obj.cmn.cmnState:\n{\n";
  const std::pair<OX_RESULT, std::string> rows[] = {
      {4, "a(1)\n}\n"}, {87, std::string(8191, 'u') + "\n"}, {126, std::string(4096, '1') + ":\n{\n}\n"}};
  for (const auto& [result, text] : rows) {
    EnumTable table;
    EXPECT_EQ(result, read(text, table)) << text.substr(0, 60);
    EXPECT_EQ("test.enm:" + std::to_string(std::count(text.begin(), text.end(), '\n')), error_position());
  }
}

TEST_F(EnumerationTest, AnItemCostsItsEnumeration) {
  const std::pair<OX_RESULT, std::string> items[] = {
      {70, "up"},     {70, "up1)"},           {70, "up()"}, {70, "up(1x)"},
      {70, "up(1) "}, {88, "up(2147483648)"}, {76, " \t"},  {76, std::string(1022, 'u') + "(1)"}};
  for (const auto& [fault, item] : items) {
    EnumTable table;
    ASSERT_EQ(0u, read("obj.cmn:\n{\n" + item + "\nlate(\n}\nobj:\n{\nfine(1)\n}\n", table)) << item;
    ASSERT_EQ(2u, table.size());
    EXPECT_EQ(std::tuple(fault, 0u, OX_RESULT{0}, 1u),
              std::tuple(table[0].fault, table[0].items.size(), table[1].fault, table[1].items.size()))
        << item;
  }
}

// What reading passes over is told, too, and a header that is none does not leave its block to the one before.
TEST_F(EnumerationTest, EveryFaultIsTold) {
  const std::string text =
      "obj.cmn.cmnState:\n{\nup(1)\n}\nobj.cmn.cmnName: \n{\nstray(2)\n}\nobj.nosuch:\n{\nnone(1)\n}\n}\n" +
      std::string(9000, 'x') + "\nobj:\n{\none\ntwo(\n11.1:\n{\nlast(1)\n";
  test::Told told;
  const std::string path = define("all.enm", text);
  EXPECT_EQ(0u, oxbCheckAmibTexts(path.c_str(), test::Told::note, &told));
  EXPECT_EQ(
      "all.enm:5 4 obj.cmn.cmnName: \nall.enm:13 4 }\nall.enm:14 87 \nall.enm:17 70 one\nall.enm:18 70 two(\n"
      "all.enm:16 4 obj\nall.enm:20 4 11.1\n",
      told.text);
  EnumTable table;
  EXPECT_EQ(4u, read(text, table));
  ASSERT_EQ(1u, table.size());
  EXPECT_EQ("up(1)", table[0].items[0].text);
  EXPECT_EQ(5002u, oxbCheckAmibTexts("none.enm", test::Told::note, &told));
}

TEST_F(EnumerationTest, LookUp) {
  const char* text = nullptr;
  int32_t value = 0;
  install("oxbase.enm", "obj.cmn:\n{\nouter(1)\n}\nobj.cmn.cmnState:\n{\ndown(2)\nup(1)\nodd(-3)\n}\n");
  install("broken.enm", "}\n");
  // Nothing is kept of a failed load. The next use tries again when the files have been changed, and not before.
  EXPECT_EQ("1", text_of("obj.cmn.cmnState.0", 1, 4));
  (void)oxbAddAmibTree((test::system_root() + "/none.def").c_str());
  const std::string traced = test::traced(0x40, [] { (void)text_of("obj.cmn.cmnState.0", 1, 4); });
  EXPECT_EQ(std::string::npos, traced.find("read_enumfile")) << traced;
  EXPECT_EQ("broken.enm:1", error_position());
  install("broken.enm", "obj.cmn.cmnList:\n{\nfaulty\n}\nobj.cmn:\n{\nlost()\n}\n");
  install("user.enm", "iso:\n{\nfirst(1)\n}\nobj.cmn.cmnState:\n{\ndown(2)\nup(1)\nuser(7)\nodd(-3)\n}\n");
  EXPECT_EQ("up(1)", text_of("obj.cmn.cmnState.0", 1));
  EXPECT_EQ("odd(-3)", text_of("11.1.2.5.6", -3));
  EXPECT_EQ("user(7)", text_of("11.1.2", 7));  // of two enumerations the one read later
  EXPECT_EQ("outer(1)", text_of("obj.cmn.cmnName", 1));
  EXPECT_EQ("first(1)", text_of(".system.1", 1));
  EXPECT_EQ("1", text_of("obj.cmn.cmnList.1", 1, 70));  // an item costs its enumeration, where there is no other
  EXPECT_EQ("-9", text_of("obj.cmn.cmnState.0", -9, 183));
  EXPECT_EQ("1", text_of("obj", 1, 183));
  for (const char* unknown : {"obj.nosuch", static_cast<const char*>(nullptr)})
    EXPECT_EQ("1", text_of(unknown, 1, 125));

  std::string items;
  for (uint32_t i = 0; oxbEnumItem("obj.cmn.cmnState", i, &value, &text) == 0; ++i) items += std::string(text) + " ";
  EXPECT_EQ("odd(-3) up(1) down(2) user(7) ", items);
  EXPECT_EQ(183u, oxbEnumItem("obj.cmn.cmnState", 4, &value, &text));

  EXPECT_EQ("-12", test::given<int32_t>(oxbStrToEnum, "up(-12)"));
  for (const char* wrong : {"up(1", "1)"}) EXPECT_EQ("!70", test::given<int32_t>(oxbStrToEnum, wrong));
  ASSERT_EQ(0u, oxbDeleteAmibTree(OXB_TREE));
  EXPECT_EQ("5", text_of("obj.cmn.cmnState", 5, 14));
}

// What was found at the first use holds for the process.
TEST_F(EnumerationTest, WithoutFilesThereIsNone) {
  EXPECT_EQ("1", text_of("obj.cmn.cmnState", 1, 183));
  EXPECT_EQ("!183", test::given<const char*>(oxbAmibToDesc, "obj"));
}

TEST_F(EnumerationTest, Descriptions) {
  const std::string good = "# texts\nobj.cmn.cmnName\tThe name.\r\nobj.nosuch\tNone\n11.1.2\tIts state.\tOr so.\n";
  const auto description = [](const char* path) { return test::given<const char*>(oxbAmibToDesc, path); };
  install("oxbase.dsc", good + "bad line\n" + std::string(5000, '1') + "\ttoo long\n");
  test::Told told;
  EXPECT_EQ(0u, oxbCheckAmibTexts(nullptr, test::Told::note, &told));
  EXPECT_EQ("oxbase.dsc:5 4 bad line\noxbase.dsc:6 126 " + std::string(5000, '1') + "\n", told.text);
  install("user.dsc", "obj.cmn.1\tAnother text.\n");
  EXPECT_EQ("Another text.", description("11.1.1.0"));
  EXPECT_EQ("Its state.\tOr so.", description("obj.cmn.cmnState"));
  for (const char* undescribed : {"obj.cmn", "iso", "obj.cmn.cmnList"}) EXPECT_EQ("!183", description(undescribed));
  for (const char* unknown : {"obj.nosuch", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ("!125", description(unknown));
  }
}

}  // namespace
}  // namespace ox::amib
