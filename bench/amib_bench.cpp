// The tree: names resolved, attached to, loaded. The rival for names is net-snmp's look-up over MIB text of the same
// nodes.
#include <benchmark/benchmark.h>
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <oxbase/oxb.h>

#include "amib/tree.h"

namespace {

namespace fs = std::filesystem;

// A node as definition text and as MIB text.
struct NodeText {
  std::string name;
  std::string parent;
  int number;
  bool leaf;
};

constexpr std::array<const char*, 6> arc = {"iso", "org", "dod", "internet", "private", "enterprises"};
constexpr std::array<int, 6> arc_numbers = {1, 3, 6, 1, 4, 1};

// About 10,000 nodes; the paths of the leaves have nine components.
struct Nodes {
  std::vector<NodeText> all;
  std::vector<std::string> leaf_names;
  std::vector<std::string> leaf_numbers;

  Nodes() {
    for (std::size_t i = 0; i < arc.size(); ++i)
      all.push_back({arc[i], i == 0 ? "amibtop" : arc[i - 1], arc_numbers[i], false});
    for (int group = 1; group <= 20; ++group) add_group(group);
  }

 private:
  void add_group(int group) {
    const std::string group_name = "bnGroup" + std::to_string(group);
    all.push_back({group_name, "enterprises", group, false});
    for (int table = 1; table <= 20; ++table) {
      const std::string table_name = group_name + "Table" + std::to_string(table);
      all.push_back({table_name, group_name, table, false});
      for (int column = 1; column <= 24; ++column) {
        const std::string name = table_name + "InOctets" + std::to_string(column);
        all.push_back({name, table_name, column, true});
        leaf_names.push_back("iso.org.dod.internet.private.enterprises." + group_name + "." + table_name + "." + name);
        leaf_numbers.push_back("1.3.6.1.4.1." + std::to_string(group) + "." + std::to_string(table) + "." +
                               std::to_string(column));
      }
    }
  }
};

const Nodes& nodes() {
  static const Nodes made;
  return made;
}

// The files of a run, and a system root of its own.
class Folder {
 public:
  Folder() {
    std::string pattern = (fs::temp_directory_path() / "oxbench-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
    path_ = pattern;
    setenv("OXBASE_SYSTEM", path_.c_str(), 1);
  }
  ~Folder() { fs::remove_all(path_); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  [[nodiscard]] std::string write(const std::string& name, const std::string& text) const {
    const std::string file = path_ + "/" + name;
    std::ofstream(file) << text;
    return file;
  }

 private:
  std::string path_;
};

const Folder& folder() {
  static const Folder made;
  return made;
}

std::string definitions() {
  std::string text;
  for (const NodeText& node : nodes().all) {
    text += node.name + " " + node.parent + "." + std::to_string(node.number) +
            (node.leaf ? " Counter read-only SNMP-ACS\n" : " AMIBNONE not-accessible NULL-ACS\n");
  }
  return text;
}

void check(OX_RESULT result) {
  if (result != 0) throw std::runtime_error("result " + std::to_string(result));
}

// The tree of nodes(), which other measurements of the same process may have taken away: they run in any order.
void load_tree() {
  if (ox::amib::is_attached()) return;
  oxbInitAmibTree(OXB_TREE);
  check(oxbAddAmibTree(folder().write("bench.def", definitions()).c_str()));
}

void drop_tree() {
  if (ox::amib::is_attached()) check(oxbDeleteAmibTree(OXB_TREE));
}

std::vector<std::string> shuffled(std::vector<std::string> texts, std::size_t count) {
  std::shuffle(texts.begin(), texts.end(), std::minstd_rand(1));
  texts.resize(std::min(count, texts.size()));
  return texts;
}

void resolve(benchmark::State& state, const std::vector<std::string>& all) {
  load_tree();
  const auto paths = shuffled(all, static_cast<std::size_t>(state.range(0)));
  std::size_t step = 0;
  for (auto _ : state) {
    std::uint32_t node = 0;
    check(oxbEntry(paths[step].c_str(), &node));
    benchmark::DoNotOptimize(node);
    if (++step == paths.size()) step = 0;
  }
}

// One path again and again, a working set, all of the tree.
void resolve_name(benchmark::State& state) { resolve(state, nodes().leaf_names); }
BENCHMARK(resolve_name)->Arg(1)->Arg(100)->Arg(10000);

void resolve_name_rival_netsnmp(benchmark::State& state) {
  static const bool read = [] {
    std::string text = "BENCH-MIB DEFINITIONS ::= BEGIN\n";
    for (std::size_t i = 1; i < nodes().all.size(); ++i) {
      const NodeText& node = nodes().all[i];
      text += node.name + " OBJECT IDENTIFIER ::= { " + node.parent + " " + std::to_string(node.number) + " }\n";
    }
    setenv("MIBS", "", 1);
    setenv("SNMPCONFPATH", "/nonexistent", 1);
    netsnmp_init_mib();
    if (read_mib(folder().write("BENCH-MIB.txt", text + "END\n").c_str()) == nullptr) {
      throw std::runtime_error("MIB not read");
    }
    return true;
  }();
  (void)read;
  auto paths = shuffled(nodes().leaf_names, static_cast<std::size_t>(state.range(0)));
  for (std::string& path : paths) path.insert(0, ".");
  std::size_t step = 0;
  for (auto _ : state) {
    std::array<oid, MAX_OID_LEN> numbers;
    std::size_t count = numbers.size();
    if (read_objid(paths[step].c_str(), numbers.data(), &count) == 0 || count != 9)
      throw std::runtime_error(paths[step]);
    benchmark::DoNotOptimize(numbers);
    if (++step == paths.size()) step = 0;
  }
}
BENCHMARK(resolve_name_rival_netsnmp)->Arg(1)->Arg(100)->Arg(10000);

void resolve_number(benchmark::State& state) { resolve(state, nodes().leaf_numbers); }
BENCHMARK(resolve_number)->Arg(100)->Arg(10000);

void name_to_number(benchmark::State& state) {
  load_tree();
  const auto paths = shuffled(nodes().leaf_names, 100);
  std::size_t step = 0;
  for (auto _ : state) {
    const char* number = nullptr;
    check(oxbNumName(paths[step].c_str(), &number));
    benchmark::DoNotOptimize(number);
    if (++step == paths.size()) step = 0;
  }
}
BENCHMARK(name_to_number);

void traverse(benchmark::State& state) {
  load_tree();
  std::uint32_t top = 0;
  check(oxbEntry("", &top));
  for (auto _ : state) {
    std::size_t leaves = 0;
    for (std::uint32_t leaf = 0; (leaf = oxbTraverse(top, leaf)) != 0;) ++leaves;
    if (leaves != nodes().leaf_names.size()) throw std::runtime_error("leaves");
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(nodes().leaf_names.size()));
}
BENCHMARK(traverse)->Unit(benchmark::kMicrosecond);

// A child of one that has `range` children: by name, by number, and one that is not there.
void resolve_child(benchmark::State& state) {
  static const int step = 40000;  // a file's
  drop_tree();
  oxbInitAmibTree(OXB_TREE);
  const int children = static_cast<int>(state.range(0));
  std::string text = "wide amibtop.1 AMIBNONE not-accessible NULL-ACS\n";
  std::vector<std::string> paths;
  for (int i = 0; i < children; ++i) {
    text += "child" + std::to_string(i) + " wide." + std::to_string(i) + " Counter read-only SNMP-ACS\n";
    if (i % step == step - 1 || i == children - 1) {
      check(oxbAddAmibTree(folder().write("wide.def", text).c_str()));
      text.clear();
    }
    const std::string names[] = {"wide.child" + std::to_string(i), "1." + std::to_string(i),
                                 "wide.none" + std::to_string(i)};
    paths.push_back(names[state.range(1)]);
  }
  std::shuffle(paths.begin(), paths.end(), std::minstd_rand(1));
  std::size_t next = 0;
  for (auto _ : state) {
    std::uint32_t node = 0;
    benchmark::DoNotOptimize(oxbEntry(paths[next].c_str(), &node));
    if (++next == paths.size()) next = 0;
  }
  drop_tree();
}
BENCHMARK(resolve_child)->ArgsProduct({{60, 120000}, {0, 1, 2}});

// Attaching to another process's tree and letting go of it.
void attach(benchmark::State& state) {
  drop_tree();
  int to_owner[2];
  int to_us[2];
  const std::string file = folder().write("attach.def", definitions());
  if (pipe(to_owner) != 0 || pipe(to_us) != 0) throw std::runtime_error("pipe");
  const pid_t owner = fork();
  char byte = 'x';
  if (owner == 0) {
    oxbInitAmibTree(OXB_TREE);
    const bool built = oxbAddAmibTree(file.c_str()) == 0 && write(to_us[1], &byte, 1) == 1;
    close(to_owner[1]);
    _exit(built && read(to_owner[0], &byte, 1) == 0 ? 0 : 1);
  }
  if (read(to_us[0], &byte, 1) != 1) throw std::runtime_error("no tree");
  for (auto _ : state) {
    check(oxbInit(OXB_TREE));
    check(oxbDeleteAmibTree(OXB_TREE));
  }
  close(to_owner[1]);
  waitpid(owner, nullptr, 0);
  for (int end : {to_owner[0], to_us[0], to_us[1]}) close(end);
}
BENCHMARK(attach)->Unit(benchmark::kMicrosecond);

// 100,000 nodes in five files: `range` children under each parent.
void load_100000(benchmark::State& state) {
  drop_tree();
  const int children = static_cast<int>(state.range(0));
  std::vector<std::string> files;
  for (int file = 0, parent = 0; file < 5; ++file) {
    std::string text;
    for (int made = 0; made < 20000; ++made) {
      const int child = made % children;
      if (child == 0) {
        const std::string number = std::to_string(++parent);
        text += "p" + number + " amibtop." + number + " AMIBNONE not-accessible NULL-ACS\n";
      }
      text += "p" + std::to_string(parent) + "Column" + std::to_string(child) + " p" + std::to_string(parent) + "." +
              std::to_string(child) + " Counter read-only SNMP-ACS\n";
    }
    files.push_back(folder().write("load" + std::to_string(file) + ".def", text));
  }
  oxbInitAmibTree(OXB_TREE);
  for (auto _ : state) {
    for (const std::string& file : files) check(oxbAddAmibTree(file.c_str()));
    state.PauseTiming();
    check(oxbDeleteAmibTree(OXB_TREE));
    state.ResumeTiming();
  }
}
BENCHMARK(load_100000)->Arg(20)->Arg(20000)->Unit(benchmark::kMillisecond);

}  // namespace
