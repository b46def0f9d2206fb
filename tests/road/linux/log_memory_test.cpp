// A log of some size, asked for by clients of every pace: what the real manager's memory grows by.
#include <oxbase/oxa.h>
#include <oxbase/oxe.h>

#include "access/session.h"
#include "tests/road/daemon.h"
#include "tests/road/linux/memory.h"
#include "tests/road/raw_client.h"
#include "tests/support/system_root.h"

namespace ox::test {
namespace {

constexpr std::uint32_t events = 400;
constexpr std::size_t event_bytes = 100'000;
constexpr std::size_t most_growth = 4u << 20;  // of an answer of 40 MB

// Asks for the whole log; the length of the data that follow.
std::size_t ask_for_log(RawClient& client) {
  EXPECT_TRUE(client.greet());
  client.send(request_bytes({.command = 15, .body = word(0)}));
  const std::string head = client.receive(36);
  EXPECT_EQ(word(36), head.substr(0, 4));
  EXPECT_EQ(half(0), head.substr(14, 2));
  return number(head.substr(4, 4));
}

void send(std::uint32_t handle, const std::string& memo) {
  evmsg* const event = oxeEvmsgAlloc();
  (void)oxeEvmsgSetMemo(event, memo.c_str());
  EXPECT_EQ(0u, oxeEventSend(handle, event));
  (void)oxeEvmsgFree(event);
}

TEST(LogMemory, ALongAnswerCostsTheManagerLittle) {
  const Daemon daemon;
  ASSERT_EQ(0u, oxaInit(nullptr));
  std::uint32_t handle = 0;
  ASSERT_EQ(0u, oxeEventOpen(nullptr, "memory", &handle));
  for (std::uint32_t i = 0; i < events; ++i) send(handle, std::string(event_bytes, 'm'));

  forget_peak(daemon.pid());
  const std::size_t before = memory_of(daemon.pid(), "VmRSS");
  RawClient slow;
  const std::size_t length = ask_for_log(slow);
  EXPECT_GT(length, events * event_bytes);
  std::string data = slow.receive(1000);
  {
    RawClient dying;
    EXPECT_EQ(length, ask_for_log(dying));
    EXPECT_EQ(1'000'000u, dying.receive(1'000'000).size());
  }
  for (int i = 0; i < 90; ++i) {
    send(handle, "between");  // everybody else is served
    data += slow.receive(length / 100);
  }
  data += slow.receive(length - data.size());
  EXPECT_EQ(length, data.size());
  const std::size_t peak = memory_of(daemon.pid(), "VmHWM");
  const std::size_t growth = peak > before ? peak - before : 0;  // what was free before may have gone meanwhile
  EXPECT_LT(growth, most_growth);
  RecordProperty("growth", static_cast<int>(growth));

  evmsg* list = nullptr;
  ASSERT_EQ(0u, oxeEvmsgDecode(data.data(), static_cast<std::uint32_t>(data.size()), &list));
  std::uint32_t count = 0;
  for (const evmsg* event = list; event != nullptr; event = oxeEvmsgNext(event)) {
    std::uint32_t id = 0;
    EXPECT_EQ(0u, oxeEvmsgGetSndId(event, &id));
    EXPECT_EQ(++count, id);
  }
  EXPECT_EQ(events, count);
  (void)oxeEvmsgFree(list);
  session().close();
}

}  // namespace
}  // namespace ox::test
