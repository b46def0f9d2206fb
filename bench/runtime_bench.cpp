// Tracked memory beside plain malloc, the trace beside fprintf with a flush.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include <oxbase/oxc.h>

#include "common/trace.h"
#include "common/trace_control.h"

namespace {

constexpr std::uint32_t block_size = 64;

// A release and an allocation at a random place among `live` blocks, as a process does that keeps many records.
template <class Allocate, class Free>
void churn(benchmark::State& state, Allocate allocate, Free release) {
  const auto live = static_cast<std::size_t>(state.range(0));
  std::vector<void*> blocks(live);
  for (void*& block : blocks) block = allocate();
  std::minstd_rand random(1);
  std::vector<std::uint32_t> order(4096);
  for (std::uint32_t& place : order) place = static_cast<std::uint32_t>(random() % live);
  std::size_t step = 0;
  for (auto _ : state) {
    void*& block = blocks[order[step++ % order.size()]];
    release(block);
    block = allocate();
    benchmark::DoNotOptimize(block);
  }
  for (void* block : blocks) release(block);
}

void tracked_pair(benchmark::State& state) {
  oxcSetMemDebug(1);
  churn(
      state, [] { return oxcMemAlloc(block_size, "bench"); }, [](void* block) { oxcMemFree(block); });
  oxcSetMemDebug(0);
}
BENCHMARK(tracked_pair)->Arg(100)->Arg(10000)->Arg(100000);

void tracked_pair_rival_malloc(benchmark::State& state) {
  churn(
      state, [] { return std::malloc(block_size); }, [](void* block) { std::free(block); });
}
BENCHMARK(tracked_pair_rival_malloc)->Arg(100)->Arg(10000)->Arg(100000);

void untracked_pair(benchmark::State& state) {
  churn(
      state, [] { return oxcMemAlloc(block_size, "bench"); }, [](void* block) { oxcMemFree(block); });
}
BENCHMARK(untracked_pair)->Arg(10000);

void untracked_pair_rival_malloc(benchmark::State& state) { tracked_pair_rival_malloc(state); }
BENCHMARK(untracked_pair_rival_malloc)->Arg(10000);

void disabled_trace(benchmark::State& state) {
  int argument = 1;
  for (auto _ : state) {
    benchmark::DoNotOptimize(argument);
    OX_TRACE(ox::trace::general, "<S:bench(%d)>\n", argument);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(disabled_trace);

void trace_line(benchmark::State& state) {
  const std::string file = (std::filesystem::temp_directory_path() / "oxbench.dbg").string();
  ox::trace::attach();
  (void)oxcDebugOutput(0, file.c_str());
  (void)oxcSetDebugMask(ox::trace::general);
  for (auto _ : state) OX_TRACE(ox::trace::general, "<S:bench(%s,%d)>\n", "argument", 42);
  ox::trace::detach();
}
BENCHMARK(trace_line);

void trace_line_rival_fprintf(benchmark::State& state) {
  const std::string name = (std::filesystem::temp_directory_path() / "oxbench.txt").string();
  std::FILE* file = std::fopen(name.c_str(), "w");
  for (auto _ : state) {
    std::fprintf(file, "<S:bench(%s,%d)>\n", "argument", 42);
    std::fflush(file);
  }
  std::fclose(file);
}
BENCHMARK(trace_line_rival_fprintf);

}  // namespace
