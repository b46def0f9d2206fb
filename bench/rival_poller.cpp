// What a user would take instead of a log entry: net-snmp's asynchronous sessions, and a file of rrdtool's for each
// agent. It asks many_agents for the same values, round after round, and tells what they cost.
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
//
#include <net-snmp/library/large_fd_set.h>
#include <rrd.h>
#include <sys/epoll.h>
#include <sys/resource.h>

#include <CLI/CLI.hpp>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::array<oid, 10> columns{5, 7, 8, 10, 11, 13, 14, 16, 17, 20};
constexpr oid rows = 5;
constexpr std::size_t values_of_agent = columns.size() * rows;
constexpr std::time_t first_round = 1'700'000'000;
constexpr std::time_t interval = 60;

[[noreturn]] void give_up(const char* what) {
  std::fprintf(stderr, "rival_poller: %s\n", what);
  std::exit(1);
}

struct Agent {
  void* session = nullptr;
  int socket = -1;
  std::string file;
  std::string update;  // of this round
  bool waiting = false;
};

class Poller {
 public:
  Poller(std::size_t count, std::uint16_t port, std::string folder) : agents_(count), folder_(std::move(folder)) {
    const rlimit most{count + 100, count + 100};
    (void)setrlimit(RLIMIT_NOFILE, &most);
    // Its library keeps files of its own.
    (void)setenv("SNMP_PERSISTENT_DIR", (std::filesystem::temp_directory_path() / "rival_poller").c_str(), 0);
    init_snmp("rival_poller");
    events_ = epoll_create1(0);
    netsnmp_large_fd_set_init(&set_, static_cast<int>(count) + 100);
    for (std::size_t i = 0; i < count; ++i) open(i, static_cast<std::uint16_t>(port + i));
  }
  Poller(const Poller&) = delete;
  Poller& operator=(const Poller&) = delete;
  ~Poller() {
    for (const Agent& agent : agents_) snmp_sess_close(agent.session);
  }

  void round(std::size_t at_once) {
    time_ += interval;
    std::size_t next = 0;
    auto look = Clock::now();
    for (std::size_t ended = ended_; ended_ - ended < agents_.size();) {
      for (; next < agents_.size() && waiting_ < at_once; ++next) ask(agents_[next]);
      take();
      if (Clock::now() - look < std::chrono::milliseconds(100)) continue;
      look = Clock::now();
      for (Agent& agent : agents_) {
        asked_ = &agent;
        if (agent.waiting) snmp_sess_timeout(agent.session);
      }
    }
  }
  [[nodiscard]] std::uint64_t stored() const { return stored_; }

 private:
  void open(std::size_t i, std::uint16_t port) {
    std::string peer = "127.0.0.1:" + std::to_string(port);
    std::string community = "public";
    snmp_session setting;
    snmp_sess_init(&setting);
    setting.version = SNMP_VERSION_2c;
    setting.peername = peer.data();
    setting.community = reinterpret_cast<u_char*>(community.data());
    setting.community_len = community.size();
    setting.timeout = 1'000'000;
    setting.retries = 1;
    setting.callback = [](int kind, snmp_session*, int, snmp_pdu* answer, void* magic) {
      static_cast<Poller*>(magic)->answered(kind, answer);
      return 1;
    };
    setting.callback_magic = this;
    Agent& agent = agents_[i];
    agent.session = snmp_sess_open(&setting);
    if (agent.session == nullptr) give_up("a session cannot be opened");
    agent.socket = snmp_sess_transport(agent.session)->sock;
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = i;
    if (epoll_ctl(events_, EPOLL_CTL_ADD, agent.socket, &event) != 0) give_up("no room in epoll");
    if (!folder_.empty()) make_file(agent, i);
  }
  void make_file(Agent& agent, std::size_t i) {
    agent.file = folder_ + "/agent" + std::to_string(i) + ".rrd";
    std::vector<std::string> words;
    for (std::size_t value = 0; value < values_of_agent; ++value) {
      const char* const kind = value < 15 ? ":GAUGE:120:U:U" : ":COUNTER:120:U:U";
      words.push_back("DS:v" + std::to_string(value) + kind);
    }
    words.push_back("RRA:AVERAGE:0.5:1:1440");
    std::vector<const char*> arguments;
    for (const std::string& word : words) arguments.push_back(word.c_str());
    if (rrd_create_r(agent.file.c_str(), interval, first_round, static_cast<int>(arguments.size()), arguments.data()) !=
        0) {
      give_up(rrd_get_error());
    }
  }

  void ask(Agent& agent) {
    snmp_pdu* const request = snmp_pdu_create(SNMP_MSG_GET);
    for (const oid column : columns) {
      for (oid row = 1; row <= rows; ++row) {
        const std::array<oid, 11> name{1, 3, 6, 1, 2, 1, 2, 2, 1, column, row};
        snmp_add_null_var(request, name.data(), name.size());
      }
    }
    agent.waiting = true;
    ++waiting_;
    asked_ = &agent;
    if (snmp_sess_async_send(agent.session, request, nullptr, nullptr) == 0) give_up("a request cannot be sent");
  }
  void take() {
    std::array<epoll_event, 256> ready{};
    const int count = epoll_wait(events_, ready.data(), static_cast<int>(ready.size()), 100);
    for (int i = 0; i < count; ++i) {
      Agent& agent = agents_[ready[static_cast<std::size_t>(i)].data.u64];
      NETSNMP_LARGE_FD_SET(agent.socket, &set_);
      asked_ = &agent;
      (void)snmp_sess_read2(agent.session, &set_);
      NETSNMP_LARGE_FD_CLR(agent.socket, &set_);
    }
  }
  void answered(int kind, const snmp_pdu* answer) {
    Agent& agent = *asked_;
    if (!agent.waiting) return;
    agent.waiting = false;
    --waiting_;
    ++ended_;
    if (kind != NETSNMP_CALLBACK_OP_RECEIVED_MESSAGE || answer->errstat != 0) return;
    agent.update = std::to_string(time_);
    for (const variable_list* value = answer->variables; value != nullptr; value = value->next_variable) {
      agent.update += ':' + std::to_string(static_cast<std::uint32_t>(*value->val.integer));
      ++stored_;
    }
    if (agent.file.empty()) return;
    const char* text = agent.update.c_str();
    if (rrd_update_r(agent.file.c_str(), nullptr, 1, &text) != 0) give_up(rrd_get_error());
  }

  std::vector<Agent> agents_;
  std::string folder_;
  netsnmp_large_fd_set set_{};
  int events_ = -1;
  Agent* asked_ = nullptr;  // whose session is at work
  std::size_t waiting_ = 0;
  std::size_t ended_ = 0;
  std::uint64_t stored_ = 0;
  std::time_t time_ = first_round;
};

double cpu_seconds(const rusage& usage) {
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Polls many_agents with net-snmp's library, and stores in rrdtool's files"};
  std::size_t count = 0, rounds = 3, at_once = 500;
  std::uint16_t port = 20000;
  std::string folder;
  app.add_option("count", count, "how many agents")->required();
  app.add_option("--first-port", port, "of the first agent");
  app.add_option("--rounds", rounds, "how often each is asked");
  app.add_option("--at-once", at_once, "so many requests are under way");
  app.add_option("--folder", folder, "where to store; without it nothing is stored");
  CLI11_PARSE(app, argc, argv);
  if (!folder.empty()) std::filesystem::create_directories(folder);
  Poller poller(count, port, folder);
  rusage before{}, after{};
  (void)getrusage(RUSAGE_SELF, &before);
  for (std::size_t i = 0; i < rounds; ++i) poller.round(at_once);
  (void)getrusage(RUSAGE_SELF, &after);
  const double cpu = cpu_seconds(after) - cpu_seconds(before);
  std::printf("rival: %llu values, %.2f s of CPU, %.0f values a second of CPU, %ld MB\n",
              static_cast<unsigned long long>(poller.stored()), cpu, static_cast<double>(poller.stored()) / cpu,
              after.ru_maxrss / 1024);
}
