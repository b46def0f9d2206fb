// Collected values into their database and out of it, without agents and clients: a mixture of 40 % octet counters,
// 20 % packet counters, 20 % error counters, 10 % percentages and 10 % states, each agent with 50 of them and its
// clock.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <asio/executor_work_guard.hpp>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>

#include "manager/series/items.h"
#include "manager/series/store.h"

namespace {

using namespace ox::manager;
namespace fs = std::filesystem;

constexpr std::uint32_t agents = 20;
constexpr std::uint32_t values_of_agent = 50;
constexpr std::uint32_t rounds = 8192;
constexpr std::int64_t interval = 60000;  // milliseconds

struct Source {
  std::uint32_t type = OX_COUNTER;
  std::uint32_t value = 0;
  double usual = 0;  // of an interval
  double rate = 0;
  // Rates wander around what is usual, by a tenth from one round to the next.
  std::uint32_t next(std::size_t kind, std::mt19937& random) {
    const auto dice = static_cast<std::uint32_t>(random());
    const double part = dice / 4294967296.0;
    if (kind < 6) {
      rate = 0.95 * rate * (0.9 + 0.2 * part) + 0.05 * usual;
      value += static_cast<std::uint32_t>(rate);
    } else if (kind < 8) {
      value += part < 0.02 ? 1 + dice % 3 : 0;
    } else if (kind == 8) {
      value = std::clamp(value + dice % 7, 4u, 103u) - 3;
    } else {
      value = part < 0.002 ? 3 - value : value;
    }
    return value;
  }
};

class Store {
 public:
  Store() : folder_(fs::temp_directory_path() / ("ox-series-bench-" + std::to_string(std::random_device()()))) {
    fs::create_directories(folder_);
    open();
  }
  ~Store() {
    close();
    fs::remove_all(folder_);
  }
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  void open() {
    file_ = std::make_unique<CollectedFile>(loop_, folder_.string(), Durability::process);
    store_ = std::make_unique<SeriesStore>(*file_);
    if (!file_->open([](const std::string&, std::uint32_t, const std::string& text) {
          std::fprintf(stderr, "%s\n", text.c_str());
        })) {
      std::_Exit(1);
    }
  }
  void close() {
    store_.reset();
    file_.reset();
    loop_.restart();
    loop_.poll();
  }

  // Every value is made before the clock runs.
  void make_values() {
    std::mt19937 random(1);
    std::vector<Source> sources(agents * values_of_agent);
    for (std::size_t i = 0; i < sources.size(); ++i) {
      Source& source = sources[i];
      source.rate = source.usual = i % 10 < 4 ? 7.5e6 : 7.5e3;  // a megabit, 125 packets a second
      if (i % 10 == 8) source.type = OX_GAUGE, source.value = 40;
      if (i % 10 == 9) source.type = OX_INTEGER, source.value = 1;
    }
    values_.resize(sources.size() * rounds);
    for (std::size_t at = 0; at < values_.size(); ++at) {
      const std::size_t i = at % sources.size();
      values_[at] = __builtin_bswap32(sources[i].next(i % 10, random));
      types_[i % 10] = sources[i].type;
    }
  }

  // A turn of the loop for each answer of an agent, which has its 50 values in four requests.
  void fill() {
    std::mt19937 random(2);
    id_ = store_->make("bench", "key");
    std::vector<std::uint32_t> series;
    for (std::uint32_t i = 0; i < agents * values_of_agent; ++i) {
      series.push_back(store_->series(id_, {i / values_of_agent, i % 10, i / 10 % 5}));
    }
    std::size_t at = 0;
    for (std::uint32_t n = 0; n < rounds; ++n) {
      const std::uint32_t round = store_->begin_round(id_, n * interval);
      store_->expect(id_, round, agents * values_of_agent);
      for (std::uint32_t agent = 0; agent < agents; ++agent) {
        std::uint32_t reading = 0;
        const std::int64_t when = n * interval + agent * 200 + random() % 5;
        for (std::uint32_t i = 0; i < values_of_agent; ++i, ++at) {
          if (i % 16 == 0) {
            reading = store_->add_reading(id_, round, agent, when + i, static_cast<std::uint32_t>((when + i) / 10));
          }
          const std::span<const std::uint32_t, 1> value(&values_[at], 1);
          (void)store_->put(id_, round, series[agent * values_of_agent + i], reading, types_[i % 10],
                            std::as_bytes(value));
        }
        if (agent % 5 == 4) loop_.poll();
      }
      store_->end_round(id_, round);
      loop_.poll();
      loop_.restart();
    }
  }

  [[nodiscard]] std::uint64_t checkpointed_size() {
    (void)file_->database().connection().run("PRAGMA wal_checkpoint(TRUNCATE)");
    return fs::file_size(folder_ / "collected.db");
  }
  [[nodiscard]] std::size_t read(std::uint32_t series, std::uint32_t from, std::uint32_t to) {
    CellCursor cursor(*store_, store_->view(id_), from, to, series);
    std::size_t count = 0;
    while (cursor.next() != nullptr) ++count;
    return count;
  }
  // Bytes of the items of so many rounds; calls after each piece.
  template <class Call>
  [[nodiscard]] std::uint64_t stream(std::uint32_t count, const Call& call) {
    ValueItems items(*store_, store_->view(store_->find("bench")), 0, count, false);
    std::uint64_t all = 0;
    for (bool more = true; more; call()) {
      Bytes piece;
      while (piece.size() < 60000 && (more = items.next(piece))) {
      }
      all += piece.size();
    }
    return all;
  }
  [[nodiscard]] std::uint64_t samples() const { return values_.size(); }

 private:
  fs::path folder_;
  asio::io_context loop_;
  asio::executor_work_guard<asio::io_context::executor_type> working_{loop_.get_executor()};
  std::unique_ptr<CollectedFile> file_;
  std::unique_ptr<SeriesStore> store_;
  EntryId id_ = 0;
  std::vector<std::uint32_t> values_;
  std::array<std::uint32_t, 10> types_{};
};

// CPU time of a sample, and its bytes in the database file.
void series_store(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    Store store;
    store.make_values();
    state.ResumeTiming();
    store.fill();
    state.PauseTiming();
    const auto samples = static_cast<double>(store.samples());
    state.counters["bytes_a_sample"] = static_cast<double>(store.checkpointed_size()) / samples;
    state.counters["time_a_sample"] =
        benchmark::Counter(samples, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.ResumeTiming();
  }
}
BENCHMARK(series_store)->Iterations(1)->Unit(benchmark::kMillisecond);

// One series of 1,000 samples.
void series_read(benchmark::State& state) {
  Store store;
  store.make_values();
  store.fill();
  std::uint32_t n = 0;
  for (auto _ : state) {
    ++n;
    if (store.read(1 + n % 1000, n % 7 * 1000, n % 7 * 1000 + 1000) != 1000) state.SkipWithError("cells are missing");
  }
}
BENCHMARK(series_read)->Unit(benchmark::kMicrosecond);

// A matrix of 1,000 series and 1,000 rounds as items, in pieces: by how much the memory grows.
void series_stream(benchmark::State& state) {
  Store store;
  store.make_values();
  store.fill();
  store.close();
  store.open();
  const auto resident = [] {
    std::size_t all = 0, pages = 0;
    std::ifstream("/proc/self/statm") >> all >> pages;
    return pages * 4;
  };
  const std::size_t before = resident();
  std::size_t most = before;
  for (auto _ : state) {
    if (store.stream(1000, [&] { most = std::max(most, resident()); }) < 36000000) state.SkipWithError("too few");
  }
  state.counters["kilobytes_more"] = static_cast<double>(most - before);
}
BENCHMARK(series_stream)->Unit(benchmark::kMillisecond);

}  // namespace
