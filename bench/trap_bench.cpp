// Traps beside net-snmp's C library, and trap definitions, loaded and searched.
#include <benchmark/benchmark.h>
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <oxbase/oxc.h>
#include <oxbase/oxd.h>
#include <oxbase/oxs.h>

namespace {

// The codec works in an installation only: one in the benchmark's own system root.
const std::filesystem::path& root() {
  static const std::filesystem::path made = [] {
    const char* system = std::getenv("OXBASE_SYSTEM");
    const std::filesystem::path path = system != nullptr ? system : std::filesystem::temp_directory_path() / "ox_bench";
    std::filesystem::create_directories(path);
    if (!std::filesystem::exists(path / "registry.reg")) {
      std::ofstream(path / "registry.reg")
          << "Windows Registry Editor Version 5.00\n\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\CORVID\\OXBASE]\n\"HomeDir\"=\""
          << path.string() << "\"\n\"WorkDir\"=\"" << path.string() << "\"\n";
    }
    setenv("OXBASE_SYSTEM", path.c_str(), 0);
    return path;
  }();
  return made;
}

constexpr char interface_text[] = "GigabitEthernet1/0";

// A trap such as a switch sends it: a number, a status and a text.
struct Trap : oxsSnmpTrap {
  Trap(uint32_t version_, const char* enterprise_, uint32_t specific) : oxsSnmpTrap{} {
    (void)root();
    static unsigned char public_community[] = "public";
    version = version_;
    pduType = version_ == OXS_V1 ? OXS_TRAP : OXS_TRAP2;
    community = public_community;
    communityLength = 6;
    text_ = enterprise_;
    enterprise = text_.data();
    genericTrap = 6;
    specificTrap = specific;
    timeStamp = 8640000;
    requestId = 1234567;
    std::memcpy(&agentAddress, "\x0A\x01\x02\x03", 4);
    bindings = oxdAlloc(3);
    oxdSetAmibName(bindings, "1.3.6.1.2.1.2.2.1.1.17");
    oxdSetLong(bindings, 17);
    oxdSetAmibName(oxdNext(bindings), "1.3.6.1.2.1.2.2.1.8.17");
    oxdSetLong(oxdNext(bindings), 2);
    oxdSetAmibName(oxdNext(oxdNext(bindings)), "1.3.6.1.2.1.31.1.1.1.1.17");
    oxdSetBytes(oxdNext(oxdNext(bindings)), OX_OCTETSTRING, interface_text, sizeof interface_text - 1);
  }
  ~Trap() { oxdFree(bindings); }
  Trap(const Trap&) = delete;
  Trap& operator=(const Trap&) = delete;

  [[nodiscard]] std::string encoded() const {
    void* buffer = nullptr;
    uint32_t length = 0;
    if (oxsSnmpTrapEncode(this, &buffer, &length) != OX_OK) std::abort();
    std::string bytes(static_cast<char*>(buffer), length);
    oxcMemFree(buffer);
    return bytes;
  }

 private:
  std::string text_;
};

constexpr char own_enterprise[] = "1.3.6.1.4.1.64312.2";

netsnmp_session* session(long version) {
  static netsnmp_session* const open = [] {
    setenv("MIBS", "", 1);
    setenv("SNMPCONFPATH", "/nonexistent", 1);
    setenv("SNMP_PERSISTENT_DIR", "/nonexistent", 1);
    auto* made = new netsnmp_session;
    snmp_sess_init(made);
    return made;
  }();
  open->version = version;
  return open;
}

long version_of(benchmark::State& state) { return state.range(0) == OXS_V1 ? SNMP_VERSION_1 : SNMP_VERSION_2c; }

netsnmp_pdu* parse_theirs(std::string& bytes, long version) {
  auto* pdu = static_cast<netsnmp_pdu*>(std::calloc(1, sizeof(netsnmp_pdu)));
  auto* data = reinterpret_cast<u_char*>(bytes.data());
  if (snmp_parse(nullptr, session(version), pdu, data, bytes.size()) != 0) std::abort();
  return pdu;
}

void trap_encode(benchmark::State& state) {
  const Trap trap(static_cast<uint32_t>(state.range(0)), own_enterprise, 17);
  for (auto _ : state) {
    void* buffer = nullptr;
    uint32_t length = 0;
    benchmark::DoNotOptimize(oxsSnmpTrapEncode(&trap, &buffer, &length));
    oxcMemFree(buffer);
  }
}
BENCHMARK(trap_encode)->Arg(OXS_V1)->Arg(OXS_V2C);

// The same trap, as their own parser read it.
void trap_encode_rival_netsnmp(benchmark::State& state) {
  std::string bytes = Trap(static_cast<uint32_t>(state.range(0)), own_enterprise, 17).encoded();
  netsnmp_pdu* pdu = parse_theirs(bytes, version_of(state));
  for (auto _ : state) {
    std::size_t size = 2048;
    std::size_t used = 0;
    auto* packet = static_cast<u_char*>(std::malloc(size));
    if (snmp_build(&packet, &size, &used, session(version_of(state)), pdu) != 0) std::abort();
    benchmark::DoNotOptimize(packet);
    std::free(packet);
  }
  snmp_free_pdu(pdu);
}
BENCHMARK(trap_encode_rival_netsnmp)->Arg(OXS_V1)->Arg(OXS_V2C);

void trap_decode(benchmark::State& state) {
  const std::string bytes = Trap(static_cast<uint32_t>(state.range(0)), own_enterprise, 17).encoded();
  for (auto _ : state) {
    oxsSnmpTrap trap;
    if (oxsSnmpTrapDecode(bytes.data(), static_cast<uint32_t>(bytes.size()), &trap) != OX_OK) std::abort();
    benchmark::DoNotOptimize(trap);
    oxsSnmpTrapFree(&trap);
  }
}
BENCHMARK(trap_decode)->Arg(OXS_V1)->Arg(OXS_V2C);

void trap_decode_rival_netsnmp(benchmark::State& state) {
  std::string bytes = Trap(static_cast<uint32_t>(state.range(0)), own_enterprise, 17).encoded();
  for (auto _ : state) {
    netsnmp_pdu* pdu = parse_theirs(bytes, version_of(state));
    benchmark::DoNotOptimize(pdu);
    snmp_free_pdu(pdu);
  }
}
BENCHMARK(trap_decode_rival_netsnmp)->Arg(OXS_V1)->Arg(OXS_V2C);

// ---- Definitions ----

constexpr int per_enterprise = 20;

std::string enterprise_of(int definition) { return "1.3.6.1.4.1.64312." + std::to_string(definition / per_enterprise); }

const std::string& definition_file(int count) {
  static std::string path;
  path = (root() / ("traps" + std::to_string(count) + ".def")).string();
  std::ofstream file(path);
  for (int i = 0; i < count; ++i) {
    file << "Enterprise " << enterprise_of(i) << "\nGenericCode 6\nSpecificCode " << i % per_enterprise
         << "\nSeverity 2\nSummary trap " << i << "\nDetail Something happened: *%all*\nLogging 1\n\n";
  }
  return path;
}

oxcTrConf* load(const std::string& path) {
  oxcTrConf* list = oxcTrAllocConf();
  if (oxcTrMakeConfList(list, path.c_str()) != OX_OK) std::abort();
  return list;
}

void trap_definitions_load(benchmark::State& state) {
  const std::string path = definition_file(static_cast<int>(state.range(0)));
  for (auto _ : state) oxcTrFreeConf(load(path));
}
BENCHMARK(trap_definitions_load)->Arg(100)->Arg(10000)->Unit(benchmark::kMillisecond);

void trap_definitions_search(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  oxcTrConf* list = load(definition_file(count));
  std::vector<std::string> enterprises;
  for (int i = 0; i < count; ++i) enterprises.push_back(enterprise_of(i));
  int next = 0;
  for (auto _ : state) {
    const oxcTrTag* tag = nullptr;
    next = (next + 7919) % count;
    const std::string& enterprise = enterprises[static_cast<std::size_t>(next)];
    if (oxcTrSearchTrap(list, enterprise.c_str(), 6, static_cast<uint32_t>(next % per_enterprise), &tag) != OX_OK) {
      std::abort();
    }
    benchmark::DoNotOptimize(tag);
  }
  oxcTrFreeConf(list);
}
BENCHMARK(trap_definitions_search)->Arg(100)->Arg(10000);

// All that a receiver does before it reports: items a second are traps a second on one core.
void trap_decode_and_match(benchmark::State& state) {
  constexpr int count = 10000;
  oxcTrConf* list = load(definition_file(count));
  std::vector<std::string> datagrams;
  for (int i = 0; i < 1000; ++i) {
    const int definition = i * 7919 % count;
    datagrams.push_back(Trap(static_cast<uint32_t>(state.range(0)), enterprise_of(definition).c_str(),
                             static_cast<uint32_t>(definition % per_enterprise))
                            .encoded());
  }
  std::size_t next = 0;
  for (auto _ : state) {
    const std::string& bytes = datagrams[next++ % datagrams.size()];
    oxsSnmpTrap trap;
    const oxcTrTag* tag = nullptr;
    char* detail = nullptr;
    if (oxsSnmpTrapDecode(bytes.data(), static_cast<uint32_t>(bytes.size()), &trap) != OX_OK) std::abort();
    if (oxcTrSearchTrap(list, trap.enterprise, trap.genericTrap, trap.specificTrap, &tag) != OX_OK) std::abort();
    if (oxcTrReMakeDetail(tag, trap.bindings, &detail) != OX_OK) std::abort();
    oxcMemFree(detail);
    oxsSnmpTrapFree(&trap);
  }
  state.SetItemsProcessed(state.iterations());
  oxcTrFreeConf(list);
}
BENCHMARK(trap_decode_and_match)->Arg(OXS_V1)->Arg(OXS_V2C);

}  // namespace
