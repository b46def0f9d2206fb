// Opening the session, its thread, and the end of the connection.
#include <cstdio>
#include <cstring>

#include "platform/environment.h"
#include "platform/named_event.h"
#include "tests/access/report_peer.h"
#include "tests/support/registry.h"

namespace ox::test {
namespace {

OX_RESULT any_request() { return oxaCompUnlock(1); }

TEST(Init, GreetingBytesAndAnswers) {
  const Installation installation;
  ScriptedPeer peer;
  EXPECT_EQ(14u, any_request());
  EXPECT_EQ(-1, oxaGetReportFd());
  const std::tuple<const char*, Answer, OX_RESULT> refusals[] = {
      {"refused", {.pieces = {bytes("0004 0005")}}, 5},
      {"refused with more than the code", {.pieces = {bytes("0006 0187 ABCD")}}, 391},
      {"too short to hold a code", {.pieces = {bytes("0003 00")}}, 71},
      {"closed at once", {.close = true}, 17},
      {"closed in the answer", {.pieces = {bytes("0004 00")}, .close = true}, 17},
      {"closed in what follows the code", {.pieces = {bytes("0006 0000 AB")}, .close = true}, 17}};
  for (const auto& [what, answer, result] : refusals) {
    SCOPED_TRACE(what);
    peer.answer_greetings(answer);
    EXPECT_EQ(result, oxaInit(nullptr));
    EXPECT_EQ(14u, any_request());
    EXPECT_EQ(14u, oxaDispatch(0));
  }
  peer.answer_greetings({.pieces = {bytes("00"), bytes("08"), bytes("0000 ABCDEF 01")}});
  (void)peer.greetings();
  ASSERT_EQ(0u, oxaInit(nullptr));
  EXPECT_EQ(0u, oxaInit(nullptr));
  EXPECT_EQ(0u, oxaServiceInit(nullptr));
  const std::vector<std::string> greetings = peer.greetings();
  ASSERT_EQ(1u, greetings.size());

  char pid[24];
  std::snprintf(pid, sizeof pid, "0x%lx", static_cast<unsigned long>(platform::process_id()));
  const std::string name = greetings[0].substr(4, greetings[0].size() - 5);
  EXPECT_EQ("Global\\0x", name.substr(0, 9));
  EXPECT_TRUE(name.ends_with(pid)) << name;
  const auto size = static_cast<std::uint32_t>(name.size()) + 1;
  EXPECT_EQ(half(2 + size) + half(size) + name + '\0', greetings[0]);  // the total does not count itself

  peer.answer(reply_bytes({.error = 84}));
  EXPECT_EQ(84u, any_request());
  session().close();
}

TEST(Init, AManagerOnItsWayOutIsNotWaitedFor) {
  const Installation installation(Installation::Missing::base_services);
  platform::NamedEvent services;
  ASSERT_EQ(platform::error_none, services.create("Global\\OxWaitEvent", platform::Access::machine));
  {
    const ScriptedPeer peer;
    ASSERT_EQ(0u, oxaInit(nullptr));
  }
  while (oxaDispatch(60000) == 0) {
  }
  std::thread end([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    services = {};
  });
  EXPECT_EQ(15u, oxaInit(nullptr)) << "all its retries";
  end.join();
}

TEST(Logon, ADialogsAnswerOrNoDialog) {
  EXPECT_EQ(0u, oxaLogon());  // there is no dialog program
  for (const bool ok : {true, false}) {
    platform::NamedMutex dialog;
    platform::NamedEvent answers[2];
    ASSERT_EQ(platform::error_none, dialog.create("OxLogon", platform::Access::machine));
    ASSERT_EQ(platform::error_none, answers[0].create("OxLogon_Ok", platform::Access::machine));
    ASSERT_EQ(platform::error_none, answers[1].create("OxLogon_Cancel", platform::Access::machine));
    answers[ok ? 0 : 1].set();
    EXPECT_EQ(ok ? 1u : 0u, oxaLogon());
  }
  set_value("Authentication", "oFf");
  EXPECT_EQ(1u, oxaLogon());
}

TEST_F(SessionTest, EndsWithItsThreadAndIsFreeForAnother) {
  session().close();
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(0u, elsewhere([&] { return oxaInit(nullptr); }));
    EXPECT_EQ(14u, any_request());
    EXPECT_EQ(14u, elsewhere([] { return oxaDispatch(0); }));
  }
  EXPECT_EQ(0u, oxaInit(nullptr));
  EXPECT_EQ(5001u, elsewhere([] { return oxaInit(nullptr); }));
  EXPECT_EQ(5001u, elsewhere([] { return oxaDispatch(0xFFFFFFFF); }));
  EXPECT_EQ(5001u, elsewhere(any_request));
  EXPECT_EQ(0xFFFFFFFF, elsewhere(oxaGetReportFd));
  EXPECT_EQ(4u, peer.greetings().size());
  peer.answer(reply_bytes({.error = 84}));
  EXPECT_EQ(84u, any_request());
}

}  // namespace
}  // namespace ox::test
