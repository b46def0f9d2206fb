// Opening the session, reports, and the end of the connection.
#include <cstdio>
#include <cstring>

#include "access/reports.h"
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

std::vector<std::string> handled;
NextFetch acknowledge(MessagePtr report) {
  handled.emplace_back(reinterpret_cast<const char*>(report->data), report->data_length);
  return {.type = 7, .reference = 41};
}
NextFetch ask_back(MessagePtr) {
  EXPECT_EQ(84u, any_request());
  return {};
}

TEST_F(ReportTest, ReportsAreFetchedUntilThereAreNone) {
  const std::string fetch = fetch_bytes(), acknowledging = fetch_bytes(7, 41);
  const std::string unlock = request_bytes({.type = 4, .command = 14, .destination = 1});
  set_report_handler(25, acknowledge);
  set_report_handler(2, ask_back);
  deliver({{.command = 25, .data = "one"},
           {.command = 25, .data = "two"},
           {.command = 2},
           {.error = 84},                       // of the request that the handler sends
           {.command = 99, .data = "unknown"},  // released unread
           {.command = 5, .data = "no handler"},
           {.type = 6, .command = 25}});
  EXPECT_EQ((std::vector{fetch, acknowledging, acknowledging, unlock, fetch, fetch, fetch}), peer.requests());
  EXPECT_EQ((std::vector<std::string>{"one", "two"}), handled);
  dispatch();  // announced again: fetched again
  EXPECT_EQ(std::vector{fetch}, peer.requests());
}

}  // namespace
}  // namespace ox::test
