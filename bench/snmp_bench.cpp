// Encoding and decoding of SNMP messages beside net-snmp's C library, on the same messages.
#include <benchmark/benchmark.h>
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <oxbase/oxb.h>
#include <oxbase/oxc.h>
#include <oxbase/oxs.h>

namespace {

// The codec works in an installation only: one in the benchmark's own system root.
void install() {
  static const bool done = [] {
    const char* root = std::getenv("OXBASE_SYSTEM");
    if (root == nullptr || std::filesystem::exists(std::filesystem::path(root) / "registry.reg")) return true;
    std::filesystem::create_directories(root);
    std::ofstream(std::filesystem::path(root) / "registry.reg")
        << "Windows Registry Editor Version 5.00\n\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\CORVID\\OXBASE]\n\"HomeDir\"=\""
        << root << "\"\n\"WorkDir\"=\"" << root << "\"\n";
    return true;
  }();
  benchmark::DoNotOptimize(done);
}

// What a poll of an interface table brings: a counter, a wide counter, a status, a text and the time in turn.
enum class Kind { counter, wide, status, text, ticks };
constexpr int kinds = 5;

std::string name_of(int index) {
  static const char* const columns[kinds] = {"1.3.6.1.2.1.2.2.1.10", "1.3.6.1.2.1.31.1.1.1.6", "1.3.6.1.2.1.2.2.1.8",
                                             "1.3.6.1.2.1.2.2.1.2", "1.3.6.1.2.1.2.2.1.9"};
  std::string name = columns[index % kinds];
  name += '.';
  name += std::to_string(index / kinds + 1);
  return name;
}

constexpr char interface_text[] = "GigabitEthernet1/0";

struct FreeMessage {
  void operator()(oxsSnmpMessage* message) const {
    oxdFree(message->bindings);
    delete message;
  }
};

std::unique_ptr<oxsSnmpMessage, FreeMessage> make_ours(int bindings) {
  static unsigned char community[] = "public";
  std::unique_ptr<oxsSnmpMessage, FreeMessage> message(new oxsSnmpMessage{});
  message->version = OXS_V2C;
  message->community = community;
  message->communityLength = 6;
  message->pduType = OXS_RESPONSE;
  message->requestId = 1234567;
  for (int i = 0; i < bindings; ++i) {
    dnode* node = oxdAlloc(1);
    oxdSetAmibName(node, name_of(i).c_str());
    switch (static_cast<Kind>(i % kinds)) {
      case Kind::counter:
        oxdSetUlong(node, OX_COUNTER, 3123456789u);
        break;
      case Kind::wide:
        oxdSetCounter64(node, 123456789012345u);
        break;
      case Kind::status:
        oxdSetLong(node, 1);
        break;
      case Kind::text:
        oxdSetBytes(node, OX_OCTETSTRING, interface_text, sizeof interface_text - 1);
        break;
      case Kind::ticks:
        oxdSetUlong(node, OX_TIMETICKS, 8640000);
        break;
    }
    oxcQueueAdd(&message->bindings, node);
  }
  return message;
}

struct Parsed {
  oid name[MAX_OID_LEN];
  std::size_t length = MAX_OID_LEN;
};

Parsed parsed(const std::string& text) {
  Parsed result;
  read_objid(text.c_str(), result.name, &result.length);
  return result;
}

void add_variable(netsnmp_pdu* pdu, int index, const Parsed& name) {
  const auto add = [&](u_char type, const void* value, std::size_t size) {
    snmp_pdu_add_variable(pdu, name.name, name.length, type, value, size);
  };
  u_long number = 0;
  switch (static_cast<Kind>(index % kinds)) {
    case Kind::counter:
      number = 3123456789u;
      return add(ASN_COUNTER, &number, sizeof number);
    case Kind::wide: {
      counter64 wide{123456789012345u >> 32, 123456789012345u & 0xFFFFFFFF};
      return add(ASN_COUNTER64, &wide, sizeof wide);
    }
    case Kind::status:
      number = 1;
      return add(ASN_INTEGER, &number, sizeof number);
    case Kind::text:
      return add(ASN_OCTET_STR, interface_text, sizeof interface_text - 1);
    case Kind::ticks:
      number = 8640000;
      return add(ASN_TIMETICKS, &number, sizeof number);
  }
}

netsnmp_session* session() {
  static netsnmp_session* const open = [] {
    setenv("MIBS", "", 1);
    setenv("SNMPCONFPATH", "/nonexistent", 1);
    setenv("SNMP_PERSISTENT_DIR", "/nonexistent", 1);
    auto* made = new netsnmp_session;
    snmp_sess_init(made);
    made->version = SNMP_VERSION_2c;
    return made;
  }();
  return open;
}

netsnmp_pdu* make_theirs(int bindings) {
  (void)session();  // the library is set up before anything else of it is used
  netsnmp_pdu* pdu = snmp_pdu_create(SNMP_MSG_RESPONSE);
  pdu->version = SNMP_VERSION_2c;
  pdu->reqid = 1234567;
  pdu->community = reinterpret_cast<u_char*>(strdup("public"));
  pdu->community_len = 6;
  for (int i = 0; i < bindings; ++i) add_variable(pdu, i, parsed(name_of(i)));
  return pdu;
}

// As the library's own send function does it: a packet of 2048 bytes, filled from its end, enlarged when needed.
std::string build_theirs(netsnmp_pdu* pdu, bool keep) {
  std::size_t size = 2048;
  std::size_t used = 0;
  auto* packet = static_cast<u_char*>(std::malloc(size));
  if (snmp_build(&packet, &size, &used, session(), pdu) != 0) std::abort();
  benchmark::DoNotOptimize(packet);
  std::string bytes;
  if (keep) bytes.assign(reinterpret_cast<char*>(packet) + size - used, used);
  std::free(packet);
  return bytes;
}

std::string encoded(const oxsSnmpMessage& message) {
  void* buffer = nullptr;
  uint32_t length = 0;
  if (oxsSnmpEncode(&message, &buffer, &length) != OX_OK) std::abort();
  std::string bytes(static_cast<char*>(buffer), length);
  oxcMemFree(buffer);
  return bytes;
}

void snmp_encode(benchmark::State& state) {
  install();
  const auto message = make_ours(static_cast<int>(state.range(0)));
  netsnmp_pdu* pdu = make_theirs(static_cast<int>(state.range(0)));
  if (encoded(*message) != build_theirs(pdu, true)) state.SkipWithError("the two encode different bytes");
  snmp_free_pdu(pdu);
  for (auto _ : state) {
    void* buffer = nullptr;
    uint32_t length = 0;
    benchmark::DoNotOptimize(oxsSnmpEncode(message.get(), &buffer, &length));
    oxcMemFree(buffer);
  }
}
BENCHMARK(snmp_encode)->Arg(1)->Arg(10)->Arg(50);

void snmp_encode_rival_netsnmp(benchmark::State& state) {
  netsnmp_pdu* pdu = make_theirs(static_cast<int>(state.range(0)));
  for (auto _ : state) build_theirs(pdu, false);
  snmp_free_pdu(pdu);
}
BENCHMARK(snmp_encode_rival_netsnmp)->Arg(1)->Arg(10)->Arg(50);

// The same from where ours begins: the names are texts.
void snmp_encode_rival_netsnmp_from_names(benchmark::State& state) {
  const int bindings = static_cast<int>(state.range(0));
  netsnmp_pdu* pdu = make_theirs(bindings);
  std::vector<std::string> names;
  for (int i = 0; i < bindings; ++i) names.push_back(name_of(i));
  for (auto _ : state) {
    for (const std::string& name : names) benchmark::DoNotOptimize(parsed(name).length);
    build_theirs(pdu, false);
  }
  snmp_free_pdu(pdu);
}
BENCHMARK(snmp_encode_rival_netsnmp_from_names)->Arg(1)->Arg(10)->Arg(50);

void decode_ours(benchmark::State& state) {
  install();
  const std::string bytes = encoded(*make_ours(static_cast<int>(state.range(0))));
  for (auto _ : state) {
    oxsSnmpMessage message;
    if (oxsSnmpDecode(bytes.data(), static_cast<uint32_t>(bytes.size()), &message) != OX_OK) std::abort();
    benchmark::DoNotOptimize(message);
    oxsSnmpFree(&message);
  }
}

void decode_theirs(benchmark::State& state) {
  netsnmp_pdu* source = make_theirs(static_cast<int>(state.range(0)));
  std::string bytes = build_theirs(source, true);
  snmp_free_pdu(source);
  for (auto _ : state) {
    auto* pdu = static_cast<netsnmp_pdu*>(std::calloc(1, sizeof(netsnmp_pdu)));
    if (snmp_parse(nullptr, session(), pdu, reinterpret_cast<u_char*>(bytes.data()), bytes.size()) != 0) std::abort();
    benchmark::DoNotOptimize(pdu);
    snmp_free_pdu(pdu);
  }
}

void snmp_decode(benchmark::State& state) { decode_ours(state); }
BENCHMARK(snmp_decode)->Arg(1)->Arg(10)->Arg(50);

void snmp_decode_rival_netsnmp(benchmark::State& state) { decode_theirs(state); }
BENCHMARK(snmp_decode_rival_netsnmp)->Arg(1)->Arg(10)->Arg(50);

}  // namespace
