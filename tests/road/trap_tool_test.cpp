// The trap tool between real senders and a real receiver, and over definition files.
#include <algorithm>
#include <chrono>
#include <thread>

#include <oxbase/oxc.h>

#include "tests/road/daemon.h"
#include "tests/support/byte_text.h"
#include "tests/support/installation.h"
#include "tests/support/machine_process.h"
#include "tests/support/system_root.h"
#include "tests/support/udp_socket.h"

namespace ox::test {
namespace {

using namespace std::chrono_literals;

class TrapTool : public testing::Test {
 protected:
  void SetUp() override { lay_down_installation(); }
  static std::string file(const std::string& name) { return system_root() + "/" + name; }
  // A trap's datagram as the tool prints it, with line ends or in one line.
  static std::string lines_of(const std::string& options) { return run("oxtrap send x --hex " + options).substr(2); }
  static std::string in_one(std::string lines) {
    std::replace(lines.begin(), lines.end(), '\n', ' ');
    return lines;
  }
};

TEST_F(TrapTool, RealSendersAreHeardAndInformsAnswered) {
  const std::string port = std::to_string(UdpSocket().port());
  Started listener("oxtrap listen -p " + port + " -n 2 -j");
  (void)listener.until("listening");
  const std::string options = " -On -r0 -t10 -c 'test community' 127.0.0.1:" + port;
  for (const std::string& line :
       {"snmptrap -v1" + options + " .1.3.6.1.4.1.64312.2 192.0.2.9 2 0 1234 .1.3.6.1.2.1.2.2.1.1.3 i 3",
        "snmpinform -v2c -Ci" + options + " 55 .1.3.6.1.6.3.1.1.5.5 .1.3.6.1.6.3.1.1.4.3.0 o .1.3.6.1.4.1.64312.2"}) {
    write_file(file("sent"), "");
    EXPECT_EQ(0, MachineProcess(words_of(line), file("sent"), file("sender")).wait(20s)) << read_file(file("sent"));
  }
  expect_parts(
      listener.end(),
      {R"("agent":"192.0.2.9","bindings":[{"name":"iso.org.dod.internet.mgmt.mib-2.interfaces.ifTable.ifEntry.ifIndex.3")",
       R"("community":"***","definition":{"deal":"Look at the interface)",
       R"("detail":"An interface went down. ifIndex.3=3")",
       R"("enterprise":"1.3.6.1.4.1.64312.2","generic":2,"message":"trap of version 1","request":0,"specific":0,"time":1234})",
       R"("summary":"authenticationFailure: a request was refused"},"enterprise":"1.3.6.1.4.1.64312.2","generic":4)",
       R"("message":"inform")"});
}

TEST_F(TrapTool, ARealReceiverPrintsWhatIsSent) {
  const std::string port = std::to_string(UdpSocket().port());
  const std::string destination = "127.0.0.1:" + port;
  write_file(file("receiver/snmptrapd.conf"), "disableAuthorization yes\n");
  write_file(file("receiver.log"), "");
  const std::string folder = machine_path(file("receiver"));
  MachineProcess receiver(words_of("snmptrapd -f -C -c " + folder + "/snmptrapd.conf -Lo -On -m '' -F " +
                                   "%P|%N|%w.%q|%T|%a|%v\\n -p " + folder + "/pid " + destination),
                          file("receiver.log"), file("receiver"));
  const auto end = std::chrono::steady_clock::now() + 20s;
  while (read_file(file("receiver.log")).find("|0.9") == std::string::npos) {
    ASSERT_TRUE(receiver.running() && std::chrono::steady_clock::now() < end) << read_file(file("receiver.log"));
    EXPECT_EQ("0 ", run("oxtrap send -V 1 " + destination + " -g 0 -s 9"));
    std::this_thread::sleep_for(50ms);
  }
  const std::string own = "1.3.6.1.4.1.64312.2";
  const struct {
    const char* type;
    std::string value, printed;
  } bindings[] = {{"INTEGER", "-5", "INTEGER: -5"},
                  {"Counter", "4294967295", "Counter32: 4294967295"},
                  {"DisplayString", "'two words'", "STRING: \"two words\""},
                  {"IpAddress", "192.0.2.1", "IpAddress: 192.0.2.1"},
                  {"ObjectID", own, "OID: ." + own},
                  {"Counter64", "18446744073709551615", "Counter64: 18446744073709551615"}};
  std::string sent;
  std::string printed;
  for (const auto& binding : bindings) {
    const std::string name = own + '.' + std::to_string(&binding - bindings + 1) + ".0";
    sent += ' ' + name + ':' + binding.type + ' ' + binding.value;
    printed += "|." + name + " = " + binding.printed;
  }
  for (const std::string version : {"1 ", "2c "}) {
    EXPECT_EQ("0 ", run("oxtrap send -V " + version + destination + " -e " + own +
                        " -s 17 -a 192.0.2.7 --time 4711 -c 'secret word' --" + sent));
  }
  (void)wait_for_text(file("receiver.log"), "TRAP2, SNMP v2c, community secret word");
  std::string log = wait_for_text(file("receiver.log"), own + ".0.17\n");
  std::replace(log.begin(), log.end(), '\t', '|');
  const std::string version1 = "TRAP, SNMP v1, community secret word|." + own + "|6..17|4711|192.0.2.7|";
  const std::string version2 =
      "|.1.3.6.1.2.1.1.3.0 = Timeticks: (4711) 0:00:47.11|.1.3.6.1.6.3.1.1.4.1.0 = OID: ." + own + ".0.17";
  expect_parts(log, {printed + version2, version1});
}

TEST_F(TrapTool, ChecksFilesAndTheirSamples) {
  EXPECT_EQ("0 ", run("oxtrap check"));
  const std::string path = file("my.def");
  write_file(path,
             "Enterprise 1.3.6.1.4.1.64312.2\nGenericCode 6\nSpecificCode 17\nSeverity 2\nDetail fan *%1*\n"
             "Sample v1 1.3.6.1.4.1.64312.2 6 17 1.3:DisplayString 'fan 2'\nExpect fan fan 2\nExpect fan 3\n"
             "Sample v2c 1.3.6.1.4.1.64312.2 6 18\nSample hex 3000\nSample v3 1\nExpect \"fan \"\n"
             "Enterprise 1.3.6.1.4.1.64312.2\nGenericCode 6\nSpecificCode 17\nSeverity 2\n");
  EXPECT_EQ("1 " + path + ":13: never used: " + path + ":1 stands before it\n" +  //
                path + ":8: the sample's detail is: fan fan 2\n" +                //
                path + ":9: the sample finds no definition\n" +                   //
                path + ":10: datagram: error 112: " + oxcStrError(112) + "\n" + path +
                ":11: v1 or v2c, enterprise, generic and specific number, or hex and a datagram are needed\n",
            run("oxtrap check " + path));
  // A user's definition stands before the base one and its samples: it is meant to.
  write_file(work_dir() + "/public/trap/USER.DEF",
             "Enterprise 1.3.6.1.6.3.1.1.5\nGenericCode 2\nSpecificCode *\nSeverity 4\nSummary down\n");
  EXPECT_EQ("0 ", run("oxtrap check"));
}

TEST_F(TrapTool, WhatCannotBeSentAsAskedIsNotSent) {
  for (const char* options : {"127.0.0.1:99999", "127.0.0.1:0", "127.0.0.1:", "x --hex -s 17", "x --hex -e .1.3.6",
                              "x --hex -e 1.3.6.1.4.1.64312.2 -g linkDown"}) {
    EXPECT_NE("0 ", run(std::string("oxtrap send ") + options).substr(0, 2)) << options;
  }
}

TEST_F(TrapTool, ExplainsWhatMatchedWhatNearlyDidAndWhatToPaste) {
  const std::string user = work_dir() + "/public/trap/USER.DEF";
  write_file(user,
             "Enterprise 1.3.6.1.4.1.64312.2\nGenericCode *\nSpecificCode *\nSeverity 2\nSummary mine\n"
             "Enterprise 1.3.6.1.4.1.64312.3.0\nGenericCode 6\nSpecificCode 17\nSeverity 2\nSummary with 0\n"
             "Enterprise 1.3.6.1.4.1.64312.2\nGenericCode 6\nSpecificCode 18\nSeverity 2\nSummary other\n");
  const auto explain = [](const std::string& enterprise, const std::string& specific) {
    const std::string hex = in_one(lines_of("--time 1 -V 1 -e " + enterprise + " -s " + specific));
    return run("oxtrap explain '" + hex + '\'') + "\nhex " + hex;
  };
  const std::string matched = explain("1.3.6.1.4.1.64312.2", "17");
  expect_parts(matched, {"USER.DEF:1: mine (generic *, specific *): the enterprise is equal, any",
                         "USER.DEF:11: other (generic 6, specific 18): the specific number is 17"});
  // What is to be pasted defines the trap: its own sample says so.
  for (const std::string specific : {"17", "3000000000"}) {
    const std::string unknown = explain("1.3.6.1.4.1.64312.3", specific);
    const bool written_otherwise = unknown.find("its enterprise is written 1.3.6.1.4.1.64312.3.0") != std::string::npos;
    EXPECT_EQ(specific == "17", written_otherwise) << unknown;
    const std::size_t pasted = unknown.find("\nEnterprise\t1.3.6.1.4.1.64312.3\n");
    ASSERT_NE(std::string::npos, pasted) << unknown;
    write_file(file("pasted.def"), unknown.substr(pasted, unknown.rfind("\nhex ") - pasted));
    EXPECT_EQ("0 ", run("oxtrap check " + file("pasted.def")));
  }
}

TEST_F(TrapTool, DecodesFilesInBothForms) {
  const std::string hex = lines_of("-g coldStart") + lines_of("-g linkUp");
  write_file(file("hex"), "# two traps\n" + hex + "\n");
  const std::string from_hex = run("oxtrap decode -f " + file("hex"));
  expect_parts(from_hex, {"coldStart", "linkUp"});
  const std::string binary = bytes(in_one(hex));
  write_file(file("binary"), binary);
  EXPECT_EQ(from_hex, run("oxtrap decode -f " + file("binary")));
  write_file(file("binary"), binary.substr(0, binary.size() - 1));
  EXPECT_EQ("1 ", run("oxtrap decode -f " + file("binary")).substr(0, 2));
}

}  // namespace
}  // namespace ox::test
