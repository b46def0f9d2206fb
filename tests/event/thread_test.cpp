// Whose the session is: its thread's, until that thread ends.
#include <functional>
#include <thread>

#include <oxbase/oxe.h>

#include "tests/access/report_peer.h"

namespace ox::test {
namespace {

void OX_CALL on_report(void*, void*, dnode*, OX_RESULT) {}
OX_RESULT OX_CALL on_events(void*, std::uint32_t, void*, evmsg*, OX_RESULT) { return 0; }
void OX_CALL on_icon(void*, void*, const char*, const char*, std::uint32_t, OX_RESULT) {}

// Its result on a thread of its own.
template <class Call>
OX_RESULT elsewhere(Call call) {
  OX_RESULT result = 0;
  std::thread([&] { result = call(); }).join();
  return result;
}

TEST_F(SessionTest, AnotherThreadIsRefusedAndChangesNothing) {
  void* request = nullptr;
  void* waits[3] = {};
  peer.otherwise(reply_bytes({.source_id = 7}));
  ASSERT_EQ(0u, oxaAsyGet(nullptr, "a:b", "1", nullptr, 0, 0, on_report, nullptr, &request));
  ASSERT_EQ(0u, oxeEventWaitOpen(nullptr, 0, on_events, nullptr, &waits[0]));
  ASSERT_EQ(0u, oxeEventWaitOpenEx("mine", on_events, nullptr, &waits[1]));
  ASSERT_EQ(0u, oxeEventIconWaitOpen(nullptr, "map", on_icon, nullptr, &waits[2]));
  (void)peer.requests();
  evmsg* const event = oxeEvmsgAlloc();
  evmsg* events = nullptr;
  dnode* list = nullptr;
  void* made = nullptr;
  std::uint32_t number = 0;
  const std::function<OX_RESULT()> calls[] = {
      [&] { return oxaInit(nullptr); },
      [&] { return oxaServiceInit(nullptr); },
      [&] { return oxaDispatch(0xFFFFFFFF); },
      [&] { return oxaGetReportFd() == -1 ? 5001u : 0u; },
      [&] { return oxaGet(nullptr, "a:b", "1", nullptr, 0, 0, &list); },
      [&] { return oxaCompUnlock(1); },
      [&] { return oxaAsyGet(nullptr, "a:b", "1", nullptr, 0, 0, on_report, nullptr, &made); },
      [&] { return oxaAsySet(nullptr, 0, 0, nullptr, on_report, nullptr, &made); },
      [&] { return oxaControl(request, 1, nullptr, 0); },
      [&] { return oxaClose(request); },
      [&] { return oxaClose(&number); },
      [&] { return oxeEventSend(1, event); },
      [&] { return oxeEvlogGet(nullptr, nullptr, &events); },
      [&] { return oxeEventWaitOpen(nullptr, 0, on_events, nullptr, &made); },
      [&] { return oxeEventWaitOpenEx("other", on_events, nullptr, &made); },
      [&] { return oxeEventIconWaitOpen(nullptr, "map", on_icon, nullptr, &made); },
      [&] { return oxeEventWaitFilter(waits[0], nullptr); },
      [&] { return oxeEventWaitFilterEx(waits[1], nullptr); },
      [&] { return oxeEventWaitClose(waits[0]); },
      [&] { return oxeEventWaitCloseEx(waits[1]); },
      [&] { return oxeEventIconWaitClose(waits[2]); },
  };
  for (const auto& call : calls) EXPECT_EQ(5001u, elsewhere(call)) << &call - calls;
  EXPECT_TRUE(peer.requests().empty());
  EXPECT_EQ(nullptr, made);
  (void)oxeEvmsgFree(event);

  EXPECT_EQ(0u, oxaInit(nullptr));
  peer.otherwise(reply_bytes({.error = 1}));
  EXPECT_EQ(0u, oxaClose(request));
  EXPECT_EQ(0u, oxeEventWaitClose(waits[0]));
  EXPECT_EQ(1u, oxeEventWaitCloseEx(waits[1]));
  EXPECT_EQ(0u, oxeEventIconWaitClose(waits[2]));
}

TEST_F(SessionTest, EndsWithItsThreadAndIsFreeForAnother) {
  session().close();
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(0u, elsewhere([&] { return oxaInit(nullptr); }));
    EXPECT_EQ(14u, oxaCompUnlock(1));
    EXPECT_EQ(14u, elsewhere([] { return oxaDispatch(0); }));
  }
  EXPECT_EQ(0u, oxaInit(nullptr));
  EXPECT_EQ(5001u, elsewhere([] { return oxaInit(nullptr); }));
  EXPECT_EQ(4u, peer.greetings().size());
  peer.answer(reply_bytes({.error = 84}));
  EXPECT_EQ(84u, oxaCompUnlock(1));
}

}  // namespace
}  // namespace ox::test
