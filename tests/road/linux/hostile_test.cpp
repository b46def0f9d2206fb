// Clients that mean harm, of another account where the test may be one: what they cost the manager's memory, and how
// long somebody else waits for a value meanwhile. OX_HOSTILE is the number of bad frames, in a long run; all else goes
// by it.
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <thread>
#include <vector>

#include <oxbase/oxa.h>
#include <oxbase/oxe.h>

#include "access/session.h"
#include "tests/platform/forked.h"
#include "tests/road/daemon.h"
#include "tests/road/linux/memory.h"
#include "tests/road/raw_client.h"
#include "tests/support/system_root.h"

namespace ox::test {
namespace {

using Clock = std::chrono::steady_clock;
using Clients = std::vector<std::unique_ptr<RawClient>>;

constexpr int all_frames = 200'000;
constexpr gid_t nobody = 65534;
constexpr std::size_t most_growth = 96u << 20;  // what one user may hold, and half of it
constexpr std::size_t most_left = 32u << 20;

int frames() { return number_from("OX_HOSTILE", 2000); }
// So many, of the number that goes with all frames.
int share(int number) { return std::max(1, static_cast<int>(static_cast<long>(number) * frames() / all_frames)); }

// As many as come in, held as long as the process lives. How many are taken.
int connect(Clients& clients, int count) {
  int taken = 0;
  while (static_cast<int>(clients.size()) < count) try {
      clients.push_back(std::make_unique<RawClient>());
      taken += clients.back()->greet() ? 1 : 0;
    } catch (const std::runtime_error&) {  // too fast for the manager
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  return taken;
}

bool send_bad_frames() {
  const std::string answered[] = {request_bytes({.command = 1, .body = "\x7F"}), request_bytes({.command = 99}),
                                  request_bytes({.command = 12, .body = std::string(100, 'x')})};
  const std::string deadly[] = {std::string("GET / HTTP/1.0\r\n\r\n") + std::string(4, '\0'),
                                half(0x7FFF) + std::string(4, '\0')};
  for (int sent = 0; sent < frames(); sent += 4) {
    Clients one;
    if (connect(one, 1) != 1) return false;
    for (const std::string& frame : answered) {
      one[0]->send(frame);
      if (one[0]->receive(36).size() != 36) return false;
    }
    one[0]->send(deadly[sent / 4 % 2]);
    one[0]->wait_for_end();
  }
  return true;
}

bool open_connections() {
  static Clients clients;
  return connect(clients, share(4000)) > 0;
}

bool send_half_messages() {
  static Clients clients;
  const std::string message = request_bytes({.command = 1, .body = std::string(1'000'000, 'x')});
  const int taken = connect(clients, share(300));
  for (const auto& client : clients) client->send(message.substr(0, message.size() - 1));
  return taken > 0;
}

bool watch_silently() {
  static Clients clients;
  const std::string watch = text("system:system") + text("sysmib.oxMessage.oxEventMessage2.0") + word(64) + word(0);
  const int taken = connect(clients, share(300));
  for (const auto& client : clients) {
    client->send(request_bytes({.command = 2, .source = 5, .body = watch + half(0)}));
    if (client->receive(36).substr(14, 2) != half(0)) return false;
  }
  return taken == share(300);
}

bool ask_for_logs() {
  static Clients clients;
  const int taken = connect(clients, share(60));
  for (const auto& client : clients) client->send(request_bytes({.command = 15, .body = word(0)}));
  return taken == share(60);
}

class Hostile : public testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() == 0) {
      ASSERT_EQ(0, chown(system_root().c_str(), 0, nobody) | chmod(system_root().c_str(), 0755));
    }
    daemon_ = std::make_unique<Daemon>();
    ASSERT_EQ(0u, oxaInit(nullptr));
    ASSERT_EQ(0u, oxeEventOpen(nullptr, "hostile", &sender_));
  }
  void TearDown() override { session().close(); }

  void get() {
    dnode* list = nullptr;
    const auto begin = Clock::now();
    EXPECT_EQ(0u, oxaGet(nullptr, "system:system", "11.1.1.0", nullptr, 0, 20, &list));
    waits_.push_back(std::chrono::duration<double, std::milli>(Clock::now() - begin).count());
    (void)oxdFree(list);
  }
  void send_event() {
    evmsg* const event = oxeEvmsgAlloc();
    (void)oxeEvmsgSetMemo(event, std::string(4000, 'm').c_str());
    EXPECT_EQ(0u, oxeEventSend(sender_, event));
    (void)oxeEvmsgFree(event);
  }
  // Values are asked for while the attack is made, and while it stands.
  void endure(const char* what, bool (*attack)(), bool events = false) {
    const int pid = daemon_->pid();
    waits_.clear();
    forget_peak(pid);
    const std::size_t before = memory_of(pid, "VmRSS");
    std::unique_ptr<Forked> attacker;
    std::atomic<bool> stands = false;
    std::thread begins([&] {
      attacker = std::make_unique<Forked>([attack] { return become_nobody() && attack(); });
      stands = true;
    });
    while (!stands) get();
    begins.join();
    EXPECT_TRUE(attacker->succeeded()) << what;
    for (int i = 0; i < share(5000); ++i) {
      get();
      if (events) send_event();
    }
    attacker.reset();
    const std::size_t peak = memory_of(pid, "VmHWM");
    const auto left = [&] {
      const std::size_t now = memory_of(pid, "VmRSS");
      return now > before ? now - before : 0;
    };
    for (int i = 0; i < 500 && left() > most_left / 8; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_LT(peak - std::min(peak, before), most_growth) << what;
    EXPECT_LT(left(), most_left) << what;
    tell(what, before, peak, before + left());
  }

 private:
  void tell(const char* what, std::size_t before, std::size_t peak, std::size_t after) {
    std::sort(waits_.begin(), waits_.end());
    const double p99 = waits_[waits_.size() * 99 / 100];
    if (std::getenv("OX_HOSTILE") != nullptr) {
      EXPECT_LT(p99, 50) << what;
    }
    const auto mb = [](std::size_t bytes) { return static_cast<double>(bytes) / (1 << 20); };
    std::printf("%-20s manager %6.1f MB before, %6.1f peak, %6.1f after; a get p99 %6.2f ms, longest %6.2f, of %zu\n",
                what, mb(before), mb(peak), mb(after), p99, waits_.back(), waits_.size());
  }

  std::unique_ptr<Daemon> daemon_;
  std::uint32_t sender_ = 0;
  std::vector<double> waits_;
};

TEST_F(Hostile, ClientsCostNoMoreThanTheirBudget) {
  endure("nothing", [] { return true; });
  endure("bad frames", &send_bad_frames);
  endure("connections", &open_connections);
  endure("half messages", &send_half_messages);
  endure("silent subscribers", &watch_silently, true);
  endure("unread log answers", &ask_for_logs);
}

}  // namespace
}  // namespace ox::test
