// Tables, JSON, CSV, steps and curves as they are printed.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/codepage.h"
#include "tests/support/registry.h"
#include "tools/output_file.h"
#include "tools/plot.h"
#include "tools/rows.h"
#include "tools/steps.h"
#include "tools/text.h"

namespace tool {
namespace {

// What is written to a stream.
std::string written(const std::function<void(std::FILE*)>& write) {
  std::FILE* const file = std::tmpfile();
  write(file);
  std::string text(static_cast<std::size_t>(std::ftell(file)), '\0');
  std::rewind(file);
  text.resize(std::fread(text.data(), 1, text.size(), file));
  (void)std::fclose(file);
  return text;
}

// A text as each installation has it: the same to those who see it.
class TextOutput : public testing::TestWithParam<std::uint32_t> {
 protected:
  TextOutput() { ox::test::set_value("CodePage", GetParam()); }
  [[nodiscard]] static std::string stored(const std::string& text) {
    return converted(ox::platform::utf8, GetParam(), text);
  }
  // As the terminal has it, which is Japanese here.
  [[nodiscard]] static std::string shown(const std::string& text) { return converted(ox::platform::utf8, 0, text); }

 private:
  static std::string converted(std::uint32_t from, std::uint32_t to, const std::string& text) {
    std::string made;
    EXPECT_TRUE(ox::platform::Converter(from, to).convert(text, made));
    return made;
  }
};
// A Windows library reads the system it is in when it is loaded, before a test can choose one: there it is the
// terminal's.
const std::vector<std::uint32_t> pages =
    ox::platform::system_code_page() == ox::platform::utf8 ? std::vector{932u, 65001u} : std::vector{932u};
INSTANTIATE_TEST_SUITE_P(Page, TextOutput, testing::ValuesIn(pages));

TEST_P(TextOutput, RowsOfEveryForm) {
  const auto rows = [](Form form, std::vector<std::vector<Cell>> all) {
    return written([&](std::FILE* out) {
      Rows made(form, {{"NAME", "name"}, {"NO", "no", true}}, out);
      for (auto& cells : all) made.add(std::move(cells));
      made.end();
    });
  };
  const std::vector<std::vector<Cell>> all = {{"a,\"b\"\r\n", Cell("7 s", 7)}, {stored("日表"), Cell("-", nullptr)}};
  EXPECT_EQ("NAME    NO\na,\"b\"  7 s\n" + shown("日表") + "     -\n", rows(Form::table, all));
  EXPECT_EQ("name,no\r\n\"a,\"\"b\"\"\r\n\",7\r\n" + shown("日表") + ",\r\n", rows(Form::csv, all));
  EXPECT_EQ("[\n  {\"name\":\"a,\\\"b\\\"\\r\\n\",\"no\":7},\n  {\"name\":\"日表\",\"no\":null}\n]\n",
            rows(Form::json, all));
  EXPECT_EQ("", rows(Form::table, {}));
  EXPECT_EQ("[]\n", rows(Form::json, {}));
  EXPECT_EQ("name,no\r\n", rows(Form::csv, {}));
}

TEST_P(TextOutput, JsonLosesNoByte) {
  const std::string good = stored("表ソ");
  const std::string broken = good + "\xFF\xE8";  // neither is a character, nor a beginning that goes on
  EXPECT_EQ("{\"a\":\"表ソ\"}", json_text({{"a", good}}));
  EXPECT_EQ("[{\"a\":\"表ソ\uFFFD\uFFFD\",\"b\":\"x\",\"raw\":{\"a\":\"" + hex_of(broken) + "\"}}]",
            json_text(nlohmann::ordered_json::array({{{"a", broken}, {"b", "x"}}})));
  EXPECT_EQ("\uFFFDA", utf8_of("\x85\x41").text) << "a pair without a character";
  EXPECT_EQ("{\"text\":\"\uFFFD\",\"raw\":\"00ff\"}", json_text({{"text", "\xFF"}, {"raw", hex_of({"\0\xFF", 2})}}));
}

TEST_P(TextOutput, WhatIsTypedIsTheInstallations) {
  EXPECT_EQ(stored("表ソ"), typed_text("表ソ", ox::platform::utf8));
  EXPECT_EQ(stored("表ソ"), typed_text(stored("表ソ"), GetParam()));
  const std::string broken = "表\xFF";
  EXPECT_EQ(broken, typed_text(broken, ox::platform::utf8)) << "nothing is lost";
  EXPECT_EQ(shown("表/ソ"), system_path(stored("表/ソ")));
}

TEST(ToolOutput, StepsHaveOneValueEach) {
  // Ten seconds: 4 and 8; a gap; a gap and 6; nothing; a text.
  const auto round = [](std::uint64_t seconds, std::optional<double> number, const char* text, const char* gap) {
    Value value;
    value.number = number;
    value.text = text;
    value.gap = gap;
    return Round{seconds * 1000, {value}};
  };
  const std::pair<Function, const char*> rows[] = {{Function::average, "100:6 110:no answer 120:6 140:up "},
                                                   {Function::minimum, "100:4 110:no answer 120:6 140:up "},
                                                   {Function::maximum, "100:8 110:no answer 120:6 140:up "}};
  for (const auto& [function, expected] : rows) {
    std::string made;
    Steps steps(10, function, [&](Round& step) {
      const Value& value = step.values.at(0);
      made += std::to_string(step.seconds()) + ':' + (value.gap.empty() ? value.text : value.gap) + ' ';
    });
    for (Round each : {round(100, 8, "8", ""), round(109, 4, "4", ""), round(110, {}, "", "no answer"),
                       round(121, {}, "", "no answer"), round(122, 6, "6", ""), round(140, {}, "up", "")}) {
      steps.add(each);
    }
    steps.end();
    EXPECT_EQ(expected, made);
  }
}

class Curves : public testing::Test {
 protected:
  Curves() {
    oxcZone* zone = nullptr;
    (void)oxcZoneOpen("UTC-1", &zone);
    zone_.reset(zone);
    // A minute apart from 00:59 on: 0, 5, two gaps, 10, 10.
    plot_ = {"a <b> & \x01\xFF", zone, begin, begin + 300000, {{"router1 ifInOctets.1", {}}}};
    const std::optional<double> numbers[] = {0, 5, {}, {}, 10, 10};
    for (std::size_t i = 0; i < 6; ++i) {
      plot_.panels[0].points.push_back({begin + i * 60000, numbers[i], numbers[i] ? "" : "no answer"});
    }
  }
  static constexpr std::uint64_t begin = 1800000000000 - 60000;  // 2027-01-15 08:59 here
  ZonePtr zone_;
  Plot plot_;
};

TEST_F(Curves, AreDrawnInCharacters) {
  const auto drawn = [this](bool braille) {
    return written([&](std::FILE* out) { print_plot(plot_, 30, 4, braille, out); });
  };
  const std::string heading = "a <b> &  \xFF\n\nrouter1 ifInOctets.1   min 0  avg 6.25  max 10  last 10\n";
  EXPECT_EQ(heading +
                "     10 +        ::::::::*****\n"
                "        |        :::::::::\n"
                "      5 +  ***   :::::::::\n"
                "      0 +**      :::::::::\n"
                "        +----+----------------\n"
                "           09:00\n"
                "  : 2027-01-15 09:01:00 to 09:03:00  no answer, 2 values\n",
            drawn(false));
  EXPECT_EQ(heading +
                "     10 ┤        ░░░░░░░░⠈⠉⠉⠉⠉\n"
                "        │        ░░░░░░░░░\n"
                "      5 ┤  ⢠⠊⠁   ░░░░░░░░░\n"
                "      0 ┤⡠⠒⠁     ░░░░░░░░░\n"
                "        └────┬────────────────\n"
                "           09:00\n"
                "  ░ 2027-01-15 09:01:00 to 09:03:00  no answer, 2 values\n",
            drawn(true));
}

TEST_F(Curves, AreDrawnAsPictures) {
  const std::string svg = written([&](std::FILE* out) { write_svg(plot_, out); });
  for (const char* part : {"<title>a &lt;b&gt; &amp; ?\xEF\xBF\xBD</title>", "prefers-color-scheme: dark",
                           "<title>2027-01-15 09:01:00 to 09:03:00  no answer, 2 values</title>"}) {
    EXPECT_NE(std::string::npos, svg.find(part)) << part << " in\n" << svg;
  }
  EXPECT_EQ(
      "<path class=\"curve\" d=\"M64.0 226.0 L64.0 226.0 L240.0 148.0 M768.0 70.0 L768.0 70.0 L944.0 "
      "70.0\"/>\n</svg>\n",
      svg.substr(svg.find("<path")));
}

TEST_F(Curves, ScalesHaveRoundNumbers) {
  const struct {
    double least, most;
    const char* ticks;
  } rows[] = {{0, 10, "0 5 10 "},
              {3, 3, "1 2 3 4 5 "},
              {0, 0, "-1 -0.5 0 0.5 1 "},
              {1e6, 3.1e6, "0 1 M 2 M 3 M 4 M "},
              {99.3, 99.9, "99.2 99.4 99.6 99.8 100 "},
              {-7, 2, "-10 -5 0 5 "}};
  for (const auto& row : rows) {
    std::string ticks;
    for (const double tick : scale_of({2, row.least, row.most, 0, 0}, 4).ticks) ticks += short_number(tick) + ' ';
    EXPECT_EQ(row.ticks, ticks);
  }
  EXPECT_EQ("2 d 3 h", shown_duration(183600 + 59));
}

TEST(ToolOutput, AFileIsThereWholeOrAsItWas) {
  const std::string path = (std::filesystem::temp_directory_path() / ("ox_output_" + std::to_string(now()))).string();
  const auto text = [&path] {
    std::ostringstream all;
    all << std::ifstream(path, std::ios::binary).rdbuf();
    return all.str();
  };
  const auto write = [&path](const char* words, bool finish) {
    OutputFile file(path);
    (void)std::fputs(words, file.get());
    if (finish) file.finish();
  };
  write("first", true);
  EXPECT_EQ("first", text());
  write("cut off", false);
  EXPECT_EQ("first", text());
  EXPECT_FALSE(std::filesystem::exists(path + ".new"));
  write("second", true);
  EXPECT_EQ("second", text());
  (void)std::filesystem::remove(path);
  EXPECT_THROW(OutputFile(path + "/none/x"), std::runtime_error);
}

}  // namespace
}  // namespace tool
