// The real manager goes, by force and in order, and comes back: what applications and tools see of it.
#include <chrono>

#include <oxbase/oxa.h>
#include <oxbase/oxe.h>

#include "access/session.h"
#include "tests/road/daemon.h"
#include "tests/support/system_root.h"
#include "tests/support/test.h"

namespace ox::test {
namespace {

constexpr auto patience = std::chrono::seconds(60);

class LossRoad : public testing::Test {
 protected:
  void lose_manager(bool by_force) {
    if (by_force) return daemon.kill();
    EXPECT_EQ(0, daemon.end()) << daemon.log();
  }
  static std::string memo(int number) { return "memo" + std::to_string(number) + "."; }
  static void send(int number) {
    const std::string sent = run("oxevent send --memo " + memo(number));
    EXPECT_EQ(0u, sent.find("0 ")) << sent;
  }
  static int times(const std::string& text, const std::string& part) {
    int count = 0;
    for (std::size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1)) ++count;
    return count;
  }
  struct Started {
    std::string output = system_root() + "/out" + std::to_string(++started);
    ChildProcess process;
    static inline int started = 0;

    explicit Started(const std::string& line) : process(start_program(words_of(line), output)) {}
    // What it prints, when that text is there `number` times.
    std::string until(const std::string& text, int number = 1) const {
      for (int i = 0; i < 6000 && times(read_text(output), text) < number; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
      }
      return read_text(output);
    }
  };

  Daemon daemon;
};

std::string told;
OX_RESULT OX_CALL on_events(void*, std::uint32_t, void* name, evmsg* list, OX_RESULT code) {
  told += static_cast<const char*>(name) + std::to_string(code) + ' ';
  (void)oxeEvmsgFree(list);
  return 0;
}
void OX_CALL on_report(void*, void*, dnode* list, OX_RESULT code) {
  if (list == nullptr) told += "get" + std::to_string(code) + ' ';
  (void)oxdFree(list);
}
void OX_CALL on_loss(std::uint32_t, OX_RESULT, std::uint32_t) { told += "lost "; }

TEST_F(LossRoad, AnApplicationThatOnlyWaitsIsToldAndComesBack) {
  char plain[] = "plain", kept[] = "kept";
  void *wait = nullptr, *persistent = nullptr, *request = nullptr;
  ASSERT_EQ(0u, oxaInit(on_loss));
  ASSERT_EQ(0u, oxeEventWaitOpen(nullptr, 0, on_events, plain, &wait));
  ASSERT_EQ(0u, oxaAsyGet(nullptr, "system:system", "obj.cmn.cmnName.0", nullptr, 0, 0, on_report, nullptr, &request));
  ASSERT_EQ(0u, oxeEventWaitOpenEx("loss", on_events, kept, &persistent));
  for (const bool by_force : {true, false}) {
    lose_manager(by_force);
    while (oxaDispatch(60000) == 0) {
    }
    EXPECT_EQ("plain17 get17 kept17 lost ", std::exchange(told, ""));
    daemon.start();
    while (oxaInit(on_loss) != 0) {
    }
    send(1);
    while (times(told, "0 ") < 2 && oxaDispatch(60000) == 0) {
    }
    EXPECT_TRUE(told == "plain0 kept0 " || told == "kept0 plain0 ") << told;
    told.clear();
  }
  EXPECT_EQ(0u, oxeEventWaitClose(wait));
  EXPECT_EQ(0u, oxeEventWaitCloseEx(persistent));
  EXPECT_EQ(0u, oxaClose(request));
  session().close();
}

TEST_F(LossRoad, ToolsComeBackAndAPersistentWaitPrintsEveryEventOnce) {
  constexpr int restarts = 10;
  (void)run("oxset --add ruleEnt:day");
  Started persistent("oxevent wait --persistent night");
  Started plain("oxevent wait --memo memo9.");
  Started watch("oxget --watch ruleEnt:day 11.13.1.0");
  (void)watch.until("day");
  int number = 0;
  for (int i = 0; i < 600 && persistent.until("memo", 0).empty(); ++i) send(number++);  // until it listens
  for (int restart = 1; restart <= restarts; ++restart) {
    send(number++);
    lose_manager(restart % 2 == 0);
    daemon.start();
    send(number++);
    const std::string seen = persistent.until(memo(number - 1));
    EXPECT_EQ(restart, times(persistent.until("is gone", restart), "is gone")) << seen;
  }
  const std::string seen = persistent.until(memo(number - 1));
  int first = 0;
  while (first < number && times(seen, memo(first)) == 0) ++first;
  for (int i = first; i < number; ++i) EXPECT_EQ(1, times(seen, memo(i))) << i << " in " << seen;
  // These two may have slept through a manager.
  for (int i = 0; i < 600 && plain.until("memo9.", 0).find("memo9.") == std::string::npos; ++i) send(9);
  (void)run("oxset ruleEnt:day 11.13.1.0 night");
  EXPECT_NE(std::string::npos, watch.until("night").find("night"));
}

TEST_F(LossRoad, ToolsThatDoNotComeBackFail) {
  const char* const lines[] = {"oxevent wait --no-reconnect --persistent stays", "oxevent wait --no-reconnect --traps",
                               "oxevent wait --timeout 2",
                               "oxget --watch --no-reconnect system:system obj.cmn.cmnName.0"};
  std::vector<std::unique_ptr<Started>> tools;
  for (const char* const line : lines) tools.push_back(std::make_unique<Started>(line));
  std::this_thread::sleep_for(std::chrono::seconds(1));
  lose_manager(true);
  for (const auto& tool : tools) {
    EXPECT_EQ(1, tool->process.wait(patience)) << read_text(tool->output);
    EXPECT_NE("", read_text(tool->output));
  }
}

}  // namespace
}  // namespace ox::test
