// The AMIB definitions that come with the system: among themselves, and against a real agent.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "tests/amib/tree_fixture.h"
#include "tests/snmp/packet.h"
#include "tests/snmp/test_message.h"
#include "tests/support/snmpd.h"
#include "tests/support/udp_socket.h"

namespace ox::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

// The files of an extension in the order in which a manager reads them.
std::vector<std::string> files(const std::string& extension) {
  std::vector<std::string> found;
  for (const auto& entry : fs::directory_iterator(OX_SHARE_DIR "/public/amib")) {
    if (entry.path().extension() == extension) found.push_back(entry.path().string());
  }
  std::sort(found.begin(), found.end());
  std::stable_partition(found.begin(), found.end(), [](const fs::path& path) { return path.stem() == "oxbase"; });
  return found;
}

template <class Visit>
void every_line(const std::string& extension, Visit visit) {
  for (const std::string& file : files(extension)) {
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line);) {
      if (!line.empty() && line[0] != '#') visit(line);
    }
  }
}

class ShareAmib : public TreeTest {
 protected:
  void SetUp() override {
    fs::create_directories(work_dir() + "/public");
    fs::copy(OX_SHARE_DIR "/public/amib", work_dir() + "/public/amib", fs::copy_options::recursive);
    TreeTest::SetUp();
    for (const std::string& file : files(".def")) ASSERT_EQ(0u, oxbAddAmibTree(file.c_str())) << error_position();
  }
};

std::string numeric(const std::string& path) {
  const char* number = nullptr;
  return oxbNumName(path.c_str(), &number) == OX_OK ? number : "";
}

uint32_t leaf_of(const std::string& path) {
  uint32_t node = 0;
  return oxbEntry(path.c_str(), &node) == OX_OK && oxbIsLeaf(node) != 0 ? node : 0;
}

TEST_F(ShareAmib, NamesStandAtTheirNumbers) {
  const std::tuple<const char*, const char*, uint32_t> rows[] = {
      {"obj.cmn.cmnName.0", "11.1.1.0", OX_DISPLAYSTRING},
      {"obj.map.mapIconName.0", "11.2.4.0", OX_DISPLAYSTRING},
      {"obj.map.mapIconStatus.0", "11.2.5.0", OX_INTEGER},
      {"obj.ruleEnt.ruleSchedule.0", "11.13.11.0", OX_DISPLAYSTRING},
      {"obj.logEnt.logStartTime.0", "11.14.6.0", OX_UNIXTIME},
      {"obj.dataEnt.dataData.0", "11.15.15.0", OX_OCTETSTRING},
      {"obj.cmdEnt.cmdInvalidCmdArg.0", "11.23.12.0", OX_DISPLAYSTRING},
      {"obj.repType.10.1.3", "11.30.10.1.3", OX_DISPLAYSTRING},
      {"sysmib.oxMessage.oxEventMessage2.0", "10.6.2.0", OX_OCTETSTRING},
      {"sysmib.oxMgmt.mgmtEntryName.0", "10.7.30.0", OX_DISPLAYSTRING},
      {".system.sysDescr.0", "1.3.6.1.2.1.1.1.0", OX_DISPLAYSTRING},
      {".interfaces.ifTable.ifEntry.ifSpecific.7", "1.3.6.1.2.1.2.2.1.22.7", OX_OBJECTID},
      {".at.atTable.atEntry.atNetAddress", "1.3.6.1.2.1.3.1.1.3", OX_NETWORKADDRESS},
      {".ip.ipNetToMediaTable.ipNetToMediaEntry.ipNetToMediaPhysAddress", "1.3.6.1.2.1.4.22.1.2", OX_PHYSADDRESS},
      {".ip.ipForward.ipCidrRouteTable.ipCidrRouteEntry.ipCidrRouteStatus", "1.3.6.1.2.1.4.24.4.1.16", OX_INTEGER},
      {".host.hrSWRunPerf.hrSWRunPerfTable.hrSWRunPerfEntry.hrSWRunPerfMem", "1.3.6.1.2.1.25.5.1.1.2", OX_INTEGER},
      {".ifMIB.ifMIBObjects.ifXTable.ifXEntry.ifHCInOctets.2", "1.3.6.1.2.1.31.1.1.1.6.2", OX_COUNTER64}};
  for (const auto& [name, number, type] : rows) {
    EXPECT_EQ(number, numeric(name));
    ASSERT_NE(0u, leaf_of(name)) << name;
    EXPECT_EQ(type, oxbAmibType(leaf_of(name))) << name;
  }
  EXPECT_EQ("1.3.6.1.4.1", numeric("iso.org.dod.internet.private.enterprises"));
}

// A parent is looked up by its name alone, so no name may stand twice.
TEST_F(ShareAmib, EveryNameIsItsOwnAndEveryValueIsDescribed) {
  std::set<std::string> names;
  std::size_t leaves = 0;
  every_line(".def", [&](const std::string& line) {
    std::string name;
    std::istringstream(line) >> name;
    EXPECT_TRUE(names.insert(name).second) << name;
  });
  uint32_t root = 0;
  ASSERT_EQ(0u, oxbEntry("", &root));
  for (uint32_t leaf = oxbTraverse(root, 0); leaf != 0; leaf = oxbTraverse(root, leaf)) {
    const char* path = nullptr;
    const char* text = nullptr;
    ASSERT_EQ(0u, oxbApToStr(leaf, &path));
    EXPECT_EQ(0u, oxbAmibToDesc(path, &text)) << path;
    ++leaves;
  }
  EXPECT_GT(leaves, 500u);
  std::size_t described = 0;
  every_line(".dsc", [&](const std::string& line) {
    EXPECT_NE(0u, leaf_of(line.substr(0, line.find('\t')))) << line;
    ++described;
  });
  EXPECT_EQ(leaves, described);
}

TEST_F(ShareAmib, EnumerationsNameValuesOfIntegers) {
  std::string header;
  every_line(".enm", [&](const std::string& line) {
    if (line.back() == ':') {
      header = line.substr(0, line.size() - 1);
      const uint32_t leaf = leaf_of(header);
      ASSERT_NE(0u, leaf) << header;
      EXPECT_EQ(uint32_t{OX_INTEGER}, oxbAmibType(leaf)) << header;
    } else if (line != "{" && line != "}") {
      int32_t value = 0;
      const char* text = nullptr;
      const std::string item = line.substr(line.find_first_not_of(' '));
      ASSERT_EQ(0u, oxbStrToEnum(item.c_str(), &value)) << item;
      EXPECT_EQ(0u, oxbEnumToStr((header + ".1").c_str(), value, &text)) << header << item;
      EXPECT_EQ(item, text) << header;
    }
  });
  EXPECT_FALSE(header.empty());
}

// The agent's values must be known by name, be of the type that the definitions give them, and leave the codec as they
// came.
TEST_F(ShareAmib, ARealAgentAgrees) {
  const std::set<std::string> groups = {"1", "2", "3", "4", "5", "6", "7", "11", "25", "31"};
  const Snmpd agent(system_root() + "/agent");
  UdpSocket socket;
  std::string name = "1.3.6.1.2.1";
  std::set<uint32_t> seen;
  for (uint32_t request = 1; name.compare(0, 12, "1.3.6.1.2.1.") == 0 || request == 1; ++request) {
    Message next({OX_NULL, bytes("00")}, name.c_str());
    next.set_community("public");
    next.pduType = OXS_GETNEXT;
    next.requestId = request;
    socket.send(encoded(next), agent.port());
    Message answer;
    const std::string wire = socket.receive(10s);
    ASSERT_EQ(0u, decode(wire, answer)) << name;
    ASSERT_EQ(request, answer.requestId);
    EXPECT_EQ(wire, encoded(answer)) << name;
    ASSERT_LT(request, 100000u) << name;
    uint32_t code = 0;
    if (oxdGetErrCode(answer.bindings, &code) == OX_OK) break;
    name = name_of(answer.bindings);
    const std::string group = name.substr(12, name.find('.', 12) - 12);
    if (name.compare(0, 12, "1.3.6.1.2.1.") != 0 || groups.count(group) == 0) continue;
    const uint32_t leaf = leaf_of(name);
    ASSERT_NE(0u, leaf) << name;
    seen.insert(leaf);
    EXPECT_EQ(oxbAmibType(leaf), value_of(answer.bindings).type) << name;
    EXPECT_EQ(uint32_t{OXB_SNMP}, oxbAmibInterface(leaf)) << name;
  }
  EXPECT_GT(seen.size(), 150u);
}

}  // namespace
}  // namespace ox::test
