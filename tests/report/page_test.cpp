// The page: all that it needs, and nothing that it asks for.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <regex>

#include <oxbase/oxc.h>

#include "report/layout.h"
#include "report/page_parts.h"

namespace report {
namespace {

constexpr double nothing = std::numeric_limits<double>::quiet_NaN();
constexpr std::uint32_t begin = 1795276800;

class Pages : public testing::Test {
 protected:
  Pages() {
    std::vector<FaultLine> faults;
    definition_ = define({{OXREP_TYPE_NAME, "t", 0},
                          {OXREP_TYPE_MIBNAME, ".a", 0},
                          {OXREP_TYPE_DESCRIPTION, "</script><img src=http://example.com/x>", 0},
                          {OXREP_TYPE_CALCDATA, "in = rate(m1)", 0},
                          {OXREP_TYPE_GRAPHDATA, "Traffic </script> B/s in", 0}},
                         faults);
    EXPECT_TRUE(faults.empty());
    zone_ = tool::open_zone("JST-9");
    curves_ = std::make_unique<Curves>(definition_.results.size());
  }
  // Numbers a minute apart; NaN is a gap that the agent did not answer.
  void take(std::size_t instance, std::uint32_t minute, double number) {
    Sample sample;
    sample.results = {number};
    oxdMatrixItem cell{};
    cell.type = std::isnan(number) ? 0 : OX_COUNTER;
    curves_->take({begin + minute * 60, instance, {&cell}, &sample, std::isnan(number) ? 0x00010000u : 0u});
  }
  [[nodiscard]] std::string page() const {
    const std::vector<tool::GapRow> gaps = {{"*", "*", "*", "manager down", begin + 190, begin + 200, 1, 1},
                                            {"*", "*", "*", "manager down", begin + 201, begin + 210, 1, 1}};
    const Page page{"幹線の通信量 <b>&\"\xFF",
                    "logEnt:a",
                    "1m",
                    begin,
                    begin + 86399,
                    zone_.get(),
                    &definition_,
                    &instances_,
                    curves_.get(),
                    gaps};
    std::FILE* const file = std::tmpfile();
    write_page(page, file);
    std::string text(static_cast<std::size_t>(std::ftell(file)), '\0');
    std::rewind(file);
    text.resize(std::fread(text.data(), 1, text.size(), file));
    (void)std::fclose(file);
    return text;
  }

  Definition definition_;
  tool::ZonePtr zone_;
  std::unique_ptr<Curves> curves_;
  std::vector<Instance> instances_ = {{"node:r1", "10", "<script>alert(1)</script>"}, {"node:r1", "9", ""}};
};

TEST_F(Pages, AskForNothingAndAreTheSameAgain) {
  for (std::uint32_t i = 0; i < 5; ++i) {
    take(0, i, i == 2 ? nothing : 1000.0 * i);
    take(1, i, 7.5);
  }
  const std::string text = page();
  EXPECT_EQ(text, page());
  EXPECT_NE(text.npos, text.find("<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
                                 "style-src 'unsafe-inline'; script-src 'unsafe-inline'\">"));
  // In another code page than UTF-8 these bytes are other characters.
  if (oxcGetCodePage() == 65001) {
    EXPECT_NE(text.npos, text.find("<title>幹線の通信量 &lt;b&gt;&amp;&quot;\xEF\xBF\xBD</title>"));
  }
  // What others wrote is text: the page has the scripts that are its own, and no picture, link or style from elsewhere.
  const std::regex tags("<(script|img|link|iframe|object|embed|base|form|video|audio|source)\\b[^>]*>");
  std::string found;
  for (std::sregex_iterator one(text.begin(), text.end(), tags); one != std::sregex_iterator(); ++one) {
    if (one->str() != "<script>") found += one->str();
  }
  EXPECT_EQ("<script type=\"application/json\" id=\"data\">", found);
  const std::string own = text.substr(0, text.find("<script>"));  // without dygraphs, which the policy holds
  const std::regex asks("(src|href|srcset|action|data|poster)=\"(?!#)|url\\((?!#)|@import|http-equiv=\"refresh\"");
  EXPECT_FALSE(std::regex_search(own, asks));
  EXPECT_EQ(text.npos, text.find("sourceMappingURL"));
  EXPECT_FALSE(dygraphs_script.empty());
  EXPECT_NE(text.npos, text.find("MIT"));
  EXPECT_NE(text.npos, text.find(dygraphs_script));
}

TEST_F(Pages, HaveColumnsFiguresAndGaps) {
  for (std::uint32_t i = 0; i < 5; ++i) {
    take(0, i, i == 2 ? nothing : 1000.0 * i);
    if (i > 2) take(1, i, 7.5);
  }
  const std::string text = page();
  const auto expect = [&text](const std::string& part) { EXPECT_NE(text.npos, text.find(part)) << part; };
  const auto time = [](std::uint32_t seconds) { return std::to_string(begin + seconds); };
  // One more time where the manager did not run breaks the curves.
  expect("\"offset\":32400,\"zone\":\"UTC+09:00\",\n\"times\":[" + time(0) + ',' + time(60) + ',' + time(120) + ',' +
         time(180) + ',' + time(190) + ',' + time(240) + "],\n\"shades\":[[" + time(190) + ',' + time(240) + ",0]]");
  expect(
      "{\"unit\":\"B/s\",\"names\":[\"in\"],\"columns\":[{\"average\":[null,null,null,7.5,null,7.5]}],\"shades\":[]}");
  expect("\"columns\":[{\"average\":[0,1e3,null,3e3,null,4e3]}],\"shades\":[[" + time(120) + ',' + time(180) + ",1]]}");
  expect("\"reasons\":[\"manager down\",\"no answer\"]");
  EXPECT_LT(text.find(">9</a>"), text.find(">&lt;script&gt;alert(1)&lt;/script&gt;</a>"));  // by number
  // 60 x 1000, then 3000 for the two minutes since there were values, then 60 x 4000.
  expect(
      "<td class=\"n\" data-v=\"66e4\">660 kB</td><td class=\"n\" data-v=\"2e3\">2 kB/s</td>"
      "<td class=\"n\" data-v=\"4e3\">4 kB/s</td><td class=\"n\" data-v=\"4e3\">4 kB/s</td>"
      "<td class=\"n\">4</td>");
  expect("<td>all</td><td>all</td><td>all</td><td>manager down</td>");
  expect("<noscript>\n<svg");
}

TEST_F(Pages, HaveAtMost1500StepsOfEachCurve) {
  for (std::uint32_t i = 0; i < 10000; ++i) take(0, i, i % 7);
  const Steps steps = curves_->steps(0, 0, 7);
  EXPECT_EQ(1429u, steps.average.size());
  EXPECT_EQ(std::make_tuple(0.0, 3.0, 6.0), std::make_tuple(steps.least[5], steps.average[5], steps.most[5]));
  const Figures figures = curves_->figures(0, 0);
  EXPECT_EQ(std::make_tuple(10000u, 6.0, 6.0), std::make_tuple(figures.numbers, figures.p95, figures.most));
  const std::string text = page();
  EXPECT_NE(text.npos, text.find("],\"least\":[0,null,0,0"));
  EXPECT_LT(text.size(), 400000u);
}

TEST(PageNumbers, AreShort) {
  const std::pair<double, const char*> rows[] = {
      {0, "0"},         {1, "1"},        {-1.5, "-1.5"},     {1234.5, "1234"},     {7512345, "7512e3"},
      {120000, "12e4"}, {1200, "1200"},  {123400, "123400"}, {0.07512, "0.07512"}, {0.001, "1e-3"},
      {1e-7, "1e-7"},   {99.999, "100"}, {nothing, "null"},  {1e300, "1e300"},     {12.34, "12.34"},
      {0.5, "0.5"}};
  for (const auto& [number, text] : rows) {
    EXPECT_EQ(text, plot_number(number));
    if (std::isnan(number)) continue;
    EXPECT_NEAR(number, std::stod(plot_number(number)), std::abs(number) / 1999);
  }
  EXPECT_EQ("99.98 %", shown_quantity(99.984, "%"));
  EXPECT_EQ("1.23 Mbit/s", shown_quantity(1234567, "bit/s"));
  EXPECT_EQ("5 bit/s", shown_quantity(5, "bit/s"));
  EXPECT_EQ("5", shown_quantity(5, "-"));
}

}  // namespace
}  // namespace report
