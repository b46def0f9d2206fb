// The encoding of a data node list, beside copies of the same bytes.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <oxbase/oxc.h>
#include <oxbase/oxd.h>

namespace {

// An answer as a manager gives it: each node with component, path, times, error code and a value.
dnode* answer(int64_t nodes) {
  static const char* const texts[] = {"up", "eth0", "a system description of the usual forty bytes"};
  dnode* list = nullptr;
  for (int64_t i = 0; i < nodes; ++i) {
    const std::string path = "1.3.6.1.2.1.2.2.1." + std::to_string(i % 20) + ".1";
    const bool number = i % 2 == 0;
    const auto value = number ? static_cast<uintptr_t>(i) : reinterpret_cast<uintptr_t>(texts[i % 3]);
    (void)oxdSetAllData(&list, "node", "router-12", path.c_str(), 1251973230, 1251973231, 0,
                        number ? OX_COUNTER : OX_DISPLAYSTRING, value, 0);
  }
  return list;
}

void dnode_encode(benchmark::State& state) {
  dnode* list = answer(state.range(0));
  uint32_t length = 0;
  for (auto _ : state) {
    void* buffer = nullptr;
    (void)oxdEncode(list, &buffer, &length);
    benchmark::DoNotOptimize(buffer);
    oxcMemFree(buffer);
  }
  state.SetBytesProcessed(state.iterations() * length);
  oxdFree(list);
}
BENCHMARK(dnode_encode)->Arg(1)->Arg(20)->Arg(1000);

// The same bytes from the nodes' own blocks, one copy per field, into a new block; where each lies is known beforehand.
void dnode_encode_rival_copy_fields(benchmark::State& state) {
  dnode* list = answer(state.range(0));
  std::vector<std::pair<const void*, std::size_t>> pieces;
  std::size_t total = 0;
  const auto add = [&](const void* bytes, std::size_t size) {
    pieces.emplace_back(bytes, size);
    total += size;
  };
  const auto add_text = [&](const char* text) { add(text, std::strlen(text) + 1); };
  static const unsigned char fixed[22] = {};  // bits, lengths, times, error code, value type and size
  for (const dnode* node = list; node != nullptr; node = oxdNext(node)) {
    const char* text = nullptr;
    add(fixed, sizeof fixed);
    (void)oxdGetCompName(node, &text);
    add_text(text);
    (void)oxdGetCompType(node, &text);
    add_text(text);
    (void)oxdGetAmibName(node, &text);
    add_text(text);
    add(oxdGetValueValue(node), static_cast<std::size_t>(oxdGetValueSize(node)));
  }
  for (auto _ : state) {
    auto* buffer = static_cast<char*>(std::malloc(total));
    char* position = buffer;
    for (const auto& [bytes, size] : pieces) {
      std::memcpy(position, bytes, size);
      position += size;
    }
    benchmark::DoNotOptimize(buffer);
    benchmark::ClobberMemory();
    std::free(buffer);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(total));
  oxdFree(list);
}
BENCHMARK(dnode_encode_rival_copy_fields)->Arg(1)->Arg(20)->Arg(1000);

struct Encoded {
  explicit Encoded(int64_t nodes) {
    dnode* list = answer(nodes);
    (void)oxdEncode(list, &buffer, &length);
    oxdFree(list);
  }
  ~Encoded() { oxcMemFree(buffer); }
  Encoded(const Encoded&) = delete;
  Encoded& operator=(const Encoded&) = delete;

  void* buffer = nullptr;
  uint32_t length = 0;
};

// One copy of the finished bytes: what no encoder of scattered fields can reach.
void dnode_encode_rival_copy_whole(benchmark::State& state) {
  const Encoded encoded(state.range(0));
  for (auto _ : state) {
    void* copy = std::malloc(encoded.length);
    std::memcpy(copy, encoded.buffer, encoded.length);
    benchmark::DoNotOptimize(copy);
    benchmark::ClobberMemory();
    std::free(copy);
  }
  state.SetBytesProcessed(state.iterations() * encoded.length);
}
BENCHMARK(dnode_encode_rival_copy_whole)->Arg(1)->Arg(20)->Arg(1000);

void dnode_decode(benchmark::State& state) {
  const Encoded encoded(state.range(0));
  for (auto _ : state) {
    dnode* list = nullptr;
    (void)oxdDecode(encoded.buffer, encoded.length, &list);
    benchmark::DoNotOptimize(list);
    oxdFree(list);
  }
  state.SetBytesProcessed(state.iterations() * encoded.length);
}
BENCHMARK(dnode_decode)->Arg(1)->Arg(20)->Arg(1000);

// The blocks that a decoded node owns, and nothing else: five per node.
void dnode_decode_rival_malloc(benchmark::State& state) {
  std::vector<void*> blocks(static_cast<std::size_t>(state.range(0)) * 5);
  for (auto _ : state) {
    for (std::size_t i = 0; i < blocks.size(); ++i) {
      blocks[i] = std::malloc(i % 5 == 0 ? 108 : 16);
      benchmark::DoNotOptimize(blocks[i]);
    }
    for (void* block : blocks) std::free(block);
  }
}
BENCHMARK(dnode_decode_rival_malloc)->Arg(1)->Arg(20)->Arg(1000);

}  // namespace
