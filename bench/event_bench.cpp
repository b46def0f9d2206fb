// Events and filters, beside protobuf, msgpack and fnmatch.
#include <benchmark/benchmark.h>
#include <fnmatch.h>
#include <msgpack.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <oxbase/oxc.h>
#include <oxbase/oxe.h>

#include "event.pb.h"

namespace {

// One event's fields, as plain data; the texts are those of an interface that went down.
struct Numbers {
  uint32_t snd_id, event_type, event_id, occur_time, msg_number, flag;
};
constexpr Numbers numbers{0x12345, 0x103, 4711, 1251973230, 12, 1};
constexpr const char* texts[] = {"oxcollect",
                                 "public",
                                 "node",
                                 "router-12.example.net",
                                 "interfaces",
                                 "eth0",
                                 "linkDown: interface eth0 of the router went down, uplink lost",
                                 "backbone"};

evmsg* events(int64_t count) {
  evmsg* list = nullptr;
  for (int64_t i = 0; i < count; ++i) {
    evmsg* const e = oxeEvmsgAlloc();
    (void)oxeEvmsgSetSndId(e, numbers.snd_id);
    (void)oxeEvmsgSetSender(e, texts[0]);
    (void)oxeEvmsgSetEventType(e, numbers.event_type);
    (void)oxeEvmsgSetEventId(e, numbers.event_id);
    (void)oxeEvmsgSetCommName(e, texts[1]);
    (void)oxeEvmsgSetCompType(e, texts[2]);
    (void)oxeEvmsgSetCompName(e, texts[3]);
    (void)oxeEvmsgSetOccurTime(e, numbers.occur_time);
    (void)oxeEvmsgSetMsgFile(e, texts[4]);
    (void)oxeEvmsgSetMsgNumber(e, numbers.msg_number);
    (void)oxeEvmsgSetOptMsg(e, texts[5]);
    (void)oxeEvmsgSetMemo(e, texts[6]);
    (void)oxeEvmsgSetFlag(e, numbers.flag);
    (void)oxeEvmsgSetMapName(e, texts[7]);
    oxcQueueAdd(&list, e);
  }
  return list;
}

rival::Events protobuf_events(int64_t count) {
  rival::Events list;
  for (int64_t i = 0; i < count; ++i) {
    rival::Event& e = *list.add_event();
    e.set_snd_id(numbers.snd_id);
    e.set_sender(texts[0]);
    e.set_event_type(numbers.event_type);
    e.set_event_id(numbers.event_id);
    e.set_comm_name(texts[1]);
    e.set_comp_type(texts[2]);
    e.set_comp_name(texts[3]);
    e.set_occur_time(numbers.occur_time);
    e.set_msg_file(texts[4]);
    e.set_msg_number(numbers.msg_number);
    e.set_opt_msg(texts[5]);
    e.set_memo(texts[6]);
    e.set_flag(numbers.flag);
    e.set_map_name(texts[7]);
  }
  return list;
}

// What a user of msgpack keeps an event in.
struct MsgpackEvent {
  uint32_t numbers[6];
  std::string texts[8];
};

void pack(msgpack_sbuffer& buffer, const std::vector<MsgpackEvent>& list) {
  msgpack_packer packer;
  msgpack_packer_init(&packer, &buffer, msgpack_sbuffer_write);
  (void)msgpack_pack_array(&packer, list.size());
  for (const MsgpackEvent& e : list) {
    (void)msgpack_pack_array(&packer, 14);
    for (const uint32_t number : e.numbers) (void)msgpack_pack_uint32(&packer, number);
    for (const std::string& text : e.texts) {
      (void)msgpack_pack_str(&packer, text.size());
      (void)msgpack_pack_str_body(&packer, text.data(), text.size());
    }
  }
}

std::vector<MsgpackEvent> msgpack_events(int64_t count) {
  MsgpackEvent e{
      {numbers.snd_id, numbers.event_type, numbers.event_id, numbers.occur_time, numbers.msg_number, numbers.flag}, {}};
  for (std::size_t i = 0; i < 8; ++i) e.texts[i] = texts[i];
  return std::vector<MsgpackEvent>(static_cast<std::size_t>(count), e);
}

void event_encode(benchmark::State& state) {
  evmsg* const list = events(state.range(0));
  for (auto _ : state) {
    void* buffer = nullptr;
    uint32_t length = 0;
    (void)oxeEvmsgEncode(list, &buffer, &length, 0);
    benchmark::DoNotOptimize(buffer);
    oxcMemFree(buffer);
  }
  oxeEvmsgFree(list);
}
BENCHMARK(event_encode)->Arg(1)->Arg(100);

void event_encode_rival_protobuf(benchmark::State& state) {
  const rival::Events list = protobuf_events(state.range(0));
  for (auto _ : state) {
    const std::size_t size = list.ByteSizeLong();
    void* const buffer = std::malloc(size);
    (void)list.SerializeWithCachedSizesToArray(static_cast<uint8_t*>(buffer));
    benchmark::DoNotOptimize(buffer);
    benchmark::ClobberMemory();
    std::free(buffer);
  }
}
BENCHMARK(event_encode_rival_protobuf)->Arg(1)->Arg(100);

void event_encode_rival_msgpack(benchmark::State& state) {
  const std::vector<MsgpackEvent> list = msgpack_events(state.range(0));
  for (auto _ : state) {
    msgpack_sbuffer buffer;
    msgpack_sbuffer_init(&buffer);
    pack(buffer, list);
    benchmark::DoNotOptimize(buffer.data);
    msgpack_sbuffer_destroy(&buffer);
  }
}
BENCHMARK(event_encode_rival_msgpack)->Arg(1)->Arg(100);

void event_decode(benchmark::State& state) {
  evmsg* list = events(state.range(0));
  void* buffer = nullptr;
  uint32_t length = 0;
  (void)oxeEvmsgEncode(list, &buffer, &length, 0);
  oxeEvmsgFree(list);
  for (auto _ : state) {
    list = nullptr;
    (void)oxeEvmsgDecode(buffer, length, &list);
    benchmark::DoNotOptimize(list);
    oxeEvmsgFree(list);
  }
  oxcMemFree(buffer);
}
BENCHMARK(event_decode)->Arg(1)->Arg(100);

void event_decode_rival_protobuf(benchmark::State& state) {
  const std::string buffer = protobuf_events(state.range(0)).SerializeAsString();
  for (auto _ : state) {
    rival::Events list;
    (void)list.ParseFromArray(buffer.data(), static_cast<int>(buffer.size()));
    benchmark::DoNotOptimize(list);
  }
}
BENCHMARK(event_decode_rival_protobuf)->Arg(1)->Arg(100);

void event_decode_rival_msgpack(benchmark::State& state) {
  msgpack_sbuffer buffer;
  msgpack_sbuffer_init(&buffer);
  pack(buffer, msgpack_events(state.range(0)));
  for (auto _ : state) {
    msgpack_unpacked parsed;
    msgpack_unpacked_init(&parsed);
    (void)msgpack_unpack_next(&parsed, buffer.data, buffer.size, nullptr);
    std::vector<MsgpackEvent> list(parsed.data.via.array.size);
    for (std::size_t i = 0; i < list.size(); ++i) {
      const msgpack_object* const fields = parsed.data.via.array.ptr[i].via.array.ptr;
      for (std::size_t k = 0; k < 6; ++k) list[i].numbers[k] = static_cast<uint32_t>(fields[k].via.u64);
      for (std::size_t k = 0; k < 8; ++k)
        list[i].texts[k].assign(fields[6 + k].via.str.ptr, fields[6 + k].via.str.size);
    }
    benchmark::DoNotOptimize(list.data());
    msgpack_unpacked_destroy(&parsed);
  }
  msgpack_sbuffer_destroy(&buffer);
}
BENCHMARK(event_decode_rival_msgpack)->Arg(1)->Arg(100);

// A span of time, a level, a type and a pattern of names, all met.
void filter_five_criteria(benchmark::State& state) {
  evmsg* const event = events(1);
  evflt* const filter = oxeEvfltAlloc();
  (void)oxeEvfltSetNumber(filter, OX_EVFLT_FROMTIME, 1251973000);
  (void)oxeEvfltSetNumber(filter, OX_EVFLT_TOTIME, 1251974000);
  (void)oxeEvfltSetNumber(filter, OX_EVFLT_EVENTTYPE, 2);
  (void)oxeEvfltSetPattern(filter, OX_EVFLT_COMPTYPE, "node");
  (void)oxeEvfltSetPattern(filter, OX_EVFLT_COMPNAME, "router-*.net");
  for (auto _ : state) benchmark::DoNotOptimize(oxeEvfltMatch(event, filter));
  oxeEvmsgFree(event);
  oxeEvfltFree(filter);
}
BENCHMARK(filter_five_criteria);

// The same, written out for these five.
void filter_five_criteria_rival_by_hand(benchmark::State& state) {
  const std::vector<MsgpackEvent> list = msgpack_events(1);
  const MsgpackEvent& e = list[0];
  for (auto _ : state) {
    benchmark::DoNotOptimize(e.numbers[3] >= 1251973000 && e.numbers[3] <= 1251974000 && (e.numbers[1] & 0x100) != 0 &&
                             (e.numbers[1] & 0xF) >= 2 && fnmatch("node", e.texts[2].c_str(), 0) == 0 &&
                             fnmatch("router-*.net", e.texts[3].c_str(), 0) == 0);
  }
}
BENCHMARK(filter_five_criteria_rival_by_hand);

// Patterns and texts: a prefix, an infix, and one that has to be tried at every place.
constexpr std::pair<const char*, const char*> patterns[] = {
    {"router-*.net", "router-12.example.net"},
    {"*uplink*", "linkDown: interface eth0 of the router went down, uplink lost"},
    {"*a*a*a*a*b", "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa"},
};

void pattern_match(benchmark::State& state) {
  const auto& [pattern, text] = patterns[state.range(0)];
  for (auto _ : state) benchmark::DoNotOptimize(oxcRegMatch(pattern, text));
}
BENCHMARK(pattern_match)->DenseRange(0, 2);

void pattern_match_rival_fnmatch(benchmark::State& state) {
  const auto& [pattern, text] = patterns[state.range(0)];
  for (auto _ : state) benchmark::DoNotOptimize(fnmatch(pattern, text, 0));
}
BENCHMARK(pattern_match_rival_fnmatch)->DenseRange(0, 2);

}  // namespace
