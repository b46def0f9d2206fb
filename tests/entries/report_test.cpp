// Reports: the files of their types, and every request about them byte for byte.
#include <oxbase/oxrep.h>

#include "tests/entries/entry_peer.h"
#include "tests/support/faults.h"
#include "tests/support/texts.h"
#include "tests/support/traced.h"

namespace ox::test {
namespace {

std::string reptype_folder() { return work_dir() + "/public/reptype/"; }

// "number=text" for each value, or "!code name:line".
std::string read_type(const std::string& name, const std::string& contents) {
  write_file(reptype_folder() + name, contents);
  RepType* type = nullptr;
  const OX_RESULT result = oxrepReadRepType((reptype_folder() + name).c_str(), &type);
  std::string all = result != 0 ? '!' + std::to_string(result) + ' ' + error_position() : "";
  for (std::uint32_t number = 0; number < 40; ++number) {
    for (std::uint32_t at = 0; at < oxrepRepTypeCount(type, number); ++at) {
      all += std::to_string(number) + '=' + oxrepRepTypeValue(type, number, at) + ' ';
    }
    EXPECT_EQ(nullptr, oxrepRepTypeValue(type, number, oxrepRepTypeCount(type, number)));
  }
  oxrepFreeRepType(type);
  return all;
}

class ReportsTest : public EntryTest {
 protected:
  static Steps sets_of(std::string_view component, const std::string& base, const std::vector<std::string>& values,
                       std::string_view session) {
    Steps steps;
    for (const std::string& value : values) {
      const std::size_t equals = value.find('=');
      const std::size_t colon = component.find(':');
      const std::string one = node_of(component.substr(0, colon), component.substr(colon + 1),
                                      base + '.' + value.substr(0, equals), text_value(value.substr(equals + 1)));
      steps.push_back({set_request(20, one, session)});
    }
    return steps;
  }
  // The manager tells one attribute.
  static Step tells(std::string_view component, std::string_view path, const std::string& text) {
    return {get_request(component, path, 31, 20), {.data = node(path, text_value(text))}};
  }
};

TEST_F(ReportsTest, TypesAreReadFromTheirFiles) {
  const std::string type = "reptype: t\n";
  EXPECT_EQ(
      "0=t 1=v 1 2=t 3=node:* 4=a b 4=c 4= 5=i 6=p 7=k 8=c1 9=x = m1 + 1 10=g 11=f.htm 12=h 13=12 14=d e 15=pre ",
      read_type("a.def", "version: v\t1\n#c\nother: x\nprefix: pre\nmibname:  a \"b\"\nmibname: c\nmibname:\n" + type +
                             "compname: node:*\nindex: i\nparameter: p\nkey: no\nkey: k\ncsvdata: c1\n"
                             "calcdata: x = m1 + 1\ngraphdata: g\nformfile: f.htm\nhelpfile: h\nhelptopic: 12abc\n"
                             "description: d 'e'\n"));
  EXPECT_EQ("0=hub_trf 2=t ", read_type("Hub_trf.DEF", type));
  EXPECT_EQ("0=host_trf ", read_type("host_trf.def", ""));
  EXPECT_EQ("0=t 2=t ", read_type("xhub_trf.def", type));
  EXPECT_EQ("0=t 2=t 13=0 ", read_type("a.def", type + "helptopic:\n"));
  EXPECT_EQ("!4 a.def:0", read_type("a.def", "version: 1\n"));
  EXPECT_EQ("!59 a.def:0", read_type("a.def", "reptype: " + std::string(64, 'n') + '\n'));
  EXPECT_EQ("!4 a.def:2", read_type("a.def", type + "nothing\n"));
  EXPECT_EQ("!68 a.def:3", read_type("a.def", type + "\nkey: \"x\n"));
  EXPECT_EQ("!86 a.def:1025", read_type("a.def", repeated("mibname: m\n", 1025)));
  RepType* made = nullptr;
  EXPECT_EQ(142u, oxrepReadRepType((reptype_folder() + "none.def").c_str(), &made));
  const std::string path = reptype_folder() + "b.def";
  write_file(path, type + "mibname: a b\nmibname: c\nhelptopic: 5\n");
  every_allocation_may_fail(oxrepFreeRepType, [&](RepType** one) { return oxrepReadRepType(path.c_str(), one); });
}

TEST_F(ReportsTest, InitRegistersWhatIsNew) {
  write_file(reptype_folder() + "a.def", "bad\n");
  write_file(reptype_folder() + "b.def", "reptype: old\n");
  write_file(reptype_folder() + "c.def", "mibname: x\nreptype: new\nmibname: y\nversion: 2\n");
  write_file(reptype_folder() + "user.def", "reptype: new\n");
  const std::string ask = get_request("repType:*", "11.30.2.0", 28, 0, "");
  const Step known = {ask, {.data = node_of("repType", "old", "11.30.2.0", text_value("other"))}};
  const std::string named = nodes("", "10.7", "1='repType' 8='new'");
  const auto manage = [](std::uint32_t code, const std::string& body) {
    return request_bytes({.command = 8, .error = code, .body = body});
  };
  const Step add = {manage(5, named), {.data = nodes("", "10.7", "8='new'")}};
  const Steps values = sets_of("repType:new", "11.30", {"1.0=2", "2.0=new", "4.1.1=x", "4.1.2=y"}, "");
  const std::string ask_job = get_request("cmdEnt:_oxreport", "11.1.1.0", 63, 5, "");
  const Step has_job = {ask_job, {.data = node("11.1.1.0", text_value("_oxreport"))}};
  const std::string job = nodes("", "10.7", "1='cmdEnt' 8='_oxreport'");
  const Steps make_job = {
      {ask_job, {.error = 84}},
      {manage(39, job), {.data = nodes("", "10.7", "8='_oxreport'")}},
      {set_request(30, nodes("cmdEnt:_oxreport", "11.23", "9='Oxreport' 1='LogToCsv.exe' 3=t0 4=600 8=3 7=0 5=1"),
                   "")}};
  EXPECT_EQ(4u, run(plus(plus({known, add}, values), make_job), oxrepInit)) << "the first file's";
  EXPECT_EQ("a.def:1", error_position());
  EXPECT_EQ(0u, std::remove((reptype_folder() + "a.def").c_str()));
  EXPECT_EQ(0u, run({known, {add.request, {.error = 207}}, has_job}, oxrepInit)) << "by another process";
  const Steps undone = {known, add, {values[0].request, {.error = 5}}, {manage(6, named)}};
  EXPECT_EQ(5u, run(undone, oxrepInit));
  EXPECT_EQ(5u, run({{ask, {.error = 5}}}, oxrepInit));
  EXPECT_EQ(0u, std::remove((reptype_folder() + "user.def").c_str()));
  EXPECT_EQ(0u, std::remove((reptype_folder() + "c.def").c_str()));
  EXPECT_EQ(0u, std::remove((reptype_folder() + "b.def").c_str()));
  EXPECT_EQ(0u, run({{ask, {.error = 122}}, {ask_job, {.error = 17}}, {manage(39, job), {.error = 207}}}, oxrepInit));
}

TEST_F(ReportsTest, ReportsAreMadeReadAndDeleted) {
  const char* const parameters[] = {"p", "q"};
  const char* name = "untouched";
  const auto create = [&](const char* folder) {
    return oxrepCreateRepEnt("mgr", "T", "t", "l", "1D", parameters, 2, folder, &name);
  };
  const std::string unnamed = nodes("", "10.7", "1='repEnt'"), named = nodes("", "10.7", "1='repEnt' 8='r1'");
  const Step add = {manage_request(5, unnamed), {.data = nodes("", "10.7", "8='r1'")}};
  const auto values = [](const std::string& folder) {
    return sets_of("repEnt:r1", "11.31",
                   {"1.0=T", "2.0=t", "3.0=l", "5.1.1=p", "5.1.2=q", "4.0=1D", "6.0=" + folder, "7.0=2"}, "mgr");
  };
  EXPECT_EQ(0u, run(plus({add}, values("f")), [&] { return create("f"); }));
  EXPECT_STREQ("r1", name);
  EXPECT_EQ(0u, run(plus({add}, values("r1")), [&] { return create(nullptr); }));
  Steps undone = plus({add}, values("f"));
  undone.back().reply.error = 5;
  undone.push_back({manage_request(6, named)});
  EXPECT_EQ(5u, run(undone, [&] { return create("f"); }));
  EXPECT_EQ(195u, run({}, [&] { return oxrepCreateRepEnt("mgr", "T", "t", "l", "", nullptr, 1, "", &name); }));

  RepEnt* report = nullptr;
  std::string data = node("11.31.8.0", text_value("8"));  // of the numbers two are some
  for (const std::string number : {".2", ".1", "", ".", ".0", ".1025", ".1x", ".4294967297", "0.1"}) {
    data += node("11.31.5.1" + number, text_value("x" + number));
  }
  const Steps read = {{get_request("repEnt:e", "11.31", 0, 20), {.data = data}}};
  EXPECT_EQ(0u, run(read, [&] { return oxrepGetRepEnt("mgr", "e", &report); }));
  EXPECT_EQ(2u, oxrepRepEntCount(report, OXREP_ENTRY_PARAMETERS));
  const char* const second = oxrepRepEntValue(report, OXREP_ENTRY_PARAMETERS, 1);
  EXPECT_EQ(0u, oxrepRepEntSetValue(report, OXREP_ENTRY_PARAMETERS, 1, second + 1)) << "a text of its own";
  EXPECT_EQ(0u, oxrepRepEntSetValue(report, OXREP_ENTRY_LASTPAGE, 0, nullptr));
  EXPECT_EQ(1u, oxrepRepEntSetValue(report, OXREP_ENTRY_TITLE, 1, "t"));
  EXPECT_EQ(1u, oxrepRepEntSetValue(report, 9, 0, "t"));
  EXPECT_EQ(0u, run(sets_of("repEnt:e", "11.31", {"5.1.1=x.1", "5.1.2=.2"}, "mgr"),
                    [&] { return oxrepSetRepEnt("mgr", report); }));
  oxrepFreeRepEnt(report);

  const auto remove = [] { return oxrepDeleteRepEnt("mgr", "r1"); };
  const Step asked = tells("repEnt:r1", "11.31.3.0", "l");
  EXPECT_EQ(0u, run({asked, {manage_request(6, named)}}, remove));
  EXPECT_EQ(0u, run({{asked.request, {.error = 122}}, {manage_request(6, named)}}, remove));
  EXPECT_EQ(84u, run({{asked.request, {.error = 84}}}, remove));
  const std::string name64(64, 'n');
  EXPECT_EQ(59u, run({}, [&] { return oxrepDeleteRepEnt("mgr", name64.c_str()); }));
  EXPECT_EQ(59u, run({}, [&] { return oxrepGetRepEnt("mgr", name64.c_str(), &report); }));
  EXPECT_EQ(59u, run({}, [&] { return oxrepRepEntConfSet("mgr", name64.c_str(), "11.31.2.0", "t"); }));
}

TEST_F(ReportsTest, StartAndStopTheirLogEntryAndLayDownAPage) {
  const std::string sample = work_dir() + "/public/report/sample.htm";
  write_file(sample, "sample");
  const Step log_entry = tells("repEnt:e", "11.31.3.0", "l");
  const auto log = [](const std::string& status) {
    return Steps{{get_request("logEnt:l", "11.14.10.0", 0, 20), {.data = nodes("logEnt:l", "11.14", "10=2")}},
                 {set_request(20, nodes("logEnt:l", "11.14", "10=" + status))}};
  };
  const auto state = [](const char* value) { return set_request(20, nodes("repEnt:e", "11.31", value)); };
  const auto page = [](const std::string& folder, const std::string& file) {
    return Steps{tells("repEnt:e", "11.31.6.0", folder), tells("repEnt:e", "11.31.2.0", "t"),
                 tells("repType:t", "11.30.11.0", file)};
  };
  const auto start = [] { return oxrepStartRepEnt("mgr", "e"); };
  const Steps started = plus(plus({log_entry}, log("2")), {{state("7='1'")}});
  EXPECT_EQ(0u, run(plus(started, page("f/g", "p.htm")), start));
  EXPECT_EQ("sample", read_file(work_dir() + "/data/report/f/g/p.htm"));
  write_file(sample, "other");
  const auto copy = [] { return oxrepCopySample("mgr", "e"); };
  EXPECT_EQ(0u, run(page("f/g", "p.htm"), copy));
  EXPECT_EQ("other", read_file(work_dir() + "/data/report/f/g/p.htm"));
  EXPECT_EQ(0u, run(page(native(work_dir() + "/absolute"), ""), copy));
  EXPECT_EQ("other", read_file(work_dir() + "/absolute/sample.htm"));
  const std::pair<const char*, const char*> outside[] = {
      {"../f", "p"}, {"f/../../..", "p"}, {"f\\..", "p"}, {"f", "../p"}, {"f", "x/p"}, {"f", ".."}, {"x:f", "p"}};
  for (const auto& [folder, file] : outside) EXPECT_EQ(70u, run(page(folder, file), copy)) << folder << ' ' << file;
  EXPECT_EQ(122u, run({page("", "")[0], page("", "")[1]}, copy));
  EXPECT_EQ(0u, std::remove(sample.c_str()));
  EXPECT_EQ(189u, run(plus(started, page("f", "p.htm")), start)) << "started all the same";

  EXPECT_EQ(0u, run(plus(plus({log_entry}, log("3")), {{state("7='2'")}}), [] { return oxrepStopRepEnt("mgr", "e"); }));
  const Step other = {log_entry.request, {.data = node("11.31.2.0", text_value("t"))}};
  for (const Step& none : {other, Step{log_entry.request, {.error = 122}}, tells("repEnt:e", "11.31.3.0", "")}) {
    EXPECT_EQ(225u, run({none}, start));
  }
  EXPECT_EQ(17u, run({{log_entry.request, {.error = 17}}}, start));
}

TEST_F(ReportsTest, EveryAllocationMayFail) {
  write_file(work_dir() + "/public/report/sample.htm", "sample");
  write_file(reptype_folder() + "c.def", "reptype: new\nversion: 2\n");
  peer.otherwise(reply_bytes({.data = node("10.7.8.0", text_value("n")) + node("11.31.3.0", text_value("l")) +
                                      node("11.31.6.0", text_value("f")) + node("11.31.2.0", text_value("t")) +
                                      node("11.31.5.1.1", text_value("p"))}));
  const char* name = nullptr;
  const char* const parameters[] = {"p", "q"};
  every_allocation_may_fail([&] { return oxrepCreateRepEnt("m", "T", "t", "l", "1D", parameters, 2, "f", &name); });
  every_allocation_may_fail(oxrepInit);
  every_allocation_may_fail([] { return oxrepStartRepEnt("m", "e"); });
  every_allocation_may_fail(oxrepFreeRepEnt, [](RepEnt** made) { return oxrepGetRepEnt("m", "e", made); });
  EXPECT_EQ("<S:oxrepStopRepEnt(m,(null))>\n<E:oxrepStopRepEnt[195]>\n",
            traced(0x40, [] { (void)oxrepStopRepEnt("m", nullptr); }));
  (void)peer.requests();
}

}  // namespace
}  // namespace ox::test
