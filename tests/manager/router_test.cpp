#include "manager/router.h"

#include "tests/manager/bench_manager.h"

namespace ox::manager {
namespace {

class RouterTest : public ManagerTest {};

Bytes lock_payload(const std::string& component, std::uint32_t argument) {
  PayloadWriter payload;
  payload.text(component);
  payload.u32(argument);
  return std::move(payload.out());
}

TEST_F(RouterTest, EveryPayloadCutShortIsRefused) {
  PayloadWriter get;
  get.text("system:system");
  get.text("11.1.1.0");
  get.u32(3);
  get.u32(20);
  get.u16(1);
  for (int i = 0; i < 5; ++i) get.u32(0);
  PayloadWriter append;
  append.u32(1);
  append.u32(2);
  append.text("a");
  append.text("b");
  append.u32(2);
  append.u16(0);
  PayloadWriter size;
  size.text("a");
  size.text("b");
  const struct {
    std::uint32_t command;
    Bytes payload;
  } cases[] = {{1, get.out()}, {14, lock_payload("system:system", 0)}, {21, append.out()}, {22, size.out()}};
  for (const auto& c : cases) {
    for (std::size_t cut = 0; cut < c.payload.size(); ++cut) {
      const Bytes part(c.payload.begin(), c.payload.begin() + static_cast<std::ptrdiff_t>(cut));
      EXPECT_EQ(71u, ask(1, c.command, part).error) << "command " << c.command << " cut at " << cut;
    }
    EXPECT_EQ(0u, ask(1, c.command, c.payload).error) << "command " << c.command;
  }
}

TEST_F(RouterTest, UnknownRequests) {
  EXPECT_EQ(OX_EUNSUPPORTED, ask(1, 99, {}).error);
  EXPECT_EQ(OX_EUNSUPPORTED, ask(9, 1, {}).error);
  EXPECT_EQ(OX_EHANDLE, ask(1, 7, {}).error);
  EXPECT_EQ(OX_EUNSUPPORTED, ask(1, 8, {}, 1, 0, 77).error);
  EXPECT_EQ(OX_EINCOMPLETE, ask(1, 8, {}, 1, 0, 5).error);
  EXPECT_EQ(6u, ask(5, 0, {}).type);  // nothing to fetch

  Message message;
  message.type = 1;
  message.command = 1;
  message.destination = "elsewhere";
  std::uint32_t error = 0;
  route(*manager_, {1, message, [&](const Reply& reply) { error = reply.error; }});
  EXPECT_EQ(OX_ENOPIPE, error);
}

TEST_F(RouterTest, ComponentsOfAllForms) {
  EXPECT_EQ("0\nnode:r1 10.7.8.0 = r1\n", manage(5, {{1, "printer"}, {8, "r1"}}));
  const struct {
    const char* component;
    const char* names;
    const char* answer;
  } cases[] = {
      {"node:r1", "obj.cmn.cmnName.0", "0\nnode:r1 11.1.1.0 = r1\n"},
      {"printer:r1", "11.1.1.0", "0\nnode:r1 11.1.1.0 = r1\n"},
      {"node:*", "11.1", "0\nnode:r1 11.1.1.0 = r1\n"},
      {"system:*", "11.1.1.*", "0\nsystem:system 11.1.1.0 = system\n"},
      {"logEnt:*", "11.1.1.0", "122"},
      {"node:r2", "11.1.1.0", "84"},
      {"nothing:r1", "11.1.1.0", "197"},
      {"nothing:*", "11.1.1.0", "197"},
      {"node:", "11.1.1.0", "59"},
      {"node", "11.1.1.0", "59"},
      {"", "11.1.1.0", "59"},
      {"node:r1", "obj.nosuch.0", "125"},
      {"node:r1", "11.1.99.0", "125"},
      {"node:r1", "77.1", "125"},
      {"node:r1", "", "125"},
      {"node:r1", "obj.{cmn", "128"},
      {"node:r1", "11.1.{1,99}.0", "121\nnode:r1 11.1.1.0 = r1\nnode:r1 11.1.99.0 ! 125\n"},
      {"node:r1", "11.5.1.0", "122"},
      {"node:r1", "sysmib.oxMessage.oxEventMessage.0", "122"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.answer, get(c.component, c.names)) << c.component << ' ' << c.names;
  EXPECT_EQ("59", get("node:" + std::string(64, 'x'), "11.1.1.0"));
}

TEST_F(RouterTest, SetWritesAllOrNothing) {
  (void)manage(5, {{1, "ruleEnt"}, {8, "night"}});
  EXPECT_EQ("0\nruleEnt:night 11.13.1.0\nruleEnt:night 11.13.4.0\n",
            set({{"ruleEnt:night", "11.13.1.0", "prog"}, {"ruleEnt:night", "11.13.4.0", "7"}}));
  EXPECT_EQ("0\nruleEnt:night 11.13.1.0 = prog\nruleEnt:night 11.13.4.0 = 7\n", get("ruleEnt:night", "obj.ruleEnt"));

  const struct {
    Setting bad;
    std::uint32_t code;
  } cases[] = {
      {{"ruleEnt:day", "11.13.1.0", "x"}, OX_ENOCOMP},       {{"nothing:day", "11.13.1.0", "x"}, OX_ENOTYPE},
      {{"ruleEnt:night", "11.13.99.0", "x"}, OX_EAMIBNAME},  {{"ruleEnt:night", "11.13.1", "x"}, OX_EAMIBNAME},
      {{"ruleEnt:night", "11.13.4.0", "seven"}, OX_EFORMAT}, {{"ruleEnt:night", "10.6.1.0", "x"}, OX_EDENIED},
      {{"ruleEnt:night", "11.1.1.0", "other"}, OX_EDENIED},
  };
  for (const auto& c : cases) {
    const std::string code = std::to_string(c.code);
    EXPECT_EQ(code, set({c.bad}).substr(0, code.size() + 1).erase(code.size())) << c.bad.path;
    EXPECT_EQ("121", set({{"ruleEnt:night", "11.13.1.0", "changed"}, c.bad}).substr(0, 3)) << c.bad.path;
  }
  EXPECT_EQ("0\nruleEnt:night 11.13.1.0 = prog\n", get("ruleEnt:night", "11.13.1.0"));
  EXPECT_EQ("56", set({}));
}

TEST_F(RouterTest, ManagementCodes) {
  const auto name_of = [](const std::string& shown) { return shown.substr(shown.find("= ") + 2); };
  EXPECT_EQ("logEnt1\n", name_of(manage(5, {{1, "logEnt"}})));
  EXPECT_EQ("logEnt2\n", name_of(manage(39, {{1, "logEnt"}})));
  EXPECT_EQ("dataEnt1\n", name_of(manage(5, {{1, "dataEnt"}})));
  EXPECT_EQ("207", manage(5, {{1, "logEnt"}, {8, "logEnt1"}}));
  EXPECT_EQ("197", manage(5, {{1, "nothing"}}));
  EXPECT_EQ("59", manage(5, {{1, "logEnt"}, {8, "a*"}}));
  EXPECT_EQ("56", manage(5, {{8, "x"}}));

  const std::vector<std::pair<int, std::string>> relation{
      {4, "logEnt-dataEnt"}, {2, "logEnt"}, {9, "logEnt1"}, {3, "dataEnt"}, {10, "dataEnt1"}};
  const std::vector<std::pair<int, std::string>> query{{4, "logEnt-dataEnt"}, {1, "logEnt"}, {8, "logEnt1"}, {7, ""}};
  EXPECT_EQ("122", manage(10, query));
  EXPECT_EQ("122", manage(9, relation));
  EXPECT_EQ("0", manage(8, relation));
  EXPECT_EQ("207", manage(8, relation));
  EXPECT_EQ("0\n: 10.7.7.0 = dataEnt:dataEnt1\n", manage(10, query));
  auto wrong = relation;
  wrong[0].second = "map-icon";
  EXPECT_EQ("57", manage(8, wrong));
  wrong[0].second = "no-such";
  EXPECT_EQ("94", manage(8, wrong));
  EXPECT_EQ("0", manage(9, relation));
  EXPECT_EQ("122", manage(10, query));

  EXPECT_EQ("0", manage(8, relation));
  EXPECT_EQ("0", manage(6, {{1, "dataEnt"}, {8, "dataEnt1"}}));
  EXPECT_EQ("122", manage(10, query)) << "a deleted component leaves no relation";
  EXPECT_EQ("0", manage(14, {{1, "logEnt"}, {8, "logEnt2"}}));
  EXPECT_EQ("84", manage(14, {{1, "logEnt"}, {8, "logEnt2"}}));
  EXPECT_EQ("269", manage(14, {{1, "system"}, {8, "system"}}));

  (void)manage(5, {{1, "cmdEnt"}, {8, "job"}});
  NodeList list;
  for (const auto& [path, text] : {std::pair{"10.7.30.0", "cmdEnt:job"}, {"11.23.1.0", "oxset.exe"}}) {
    NodePtr node = make_node();
    (void)oxdSetAmibName(node.get(), path);
    (void)oxdSetText(node.get(), text);
    list.add(std::move(node));
  }
  EXPECT_EQ(0u, ask(1, 8, node_reply(0, list).data, 1, 0, 41).error);
  EXPECT_EQ("0\ncmdEnt:job 11.23.1.0 = oxset.exe\n", get("cmdEnt:job", "obj.cmdEnt.{cmdName,cmdOwner}.0"));
}

TEST_F(RouterTest, LocksExcludeAndEndWithTheirSession) {
  const auto lock = [&](std::uint32_t session, std::uint32_t argument) {
    return ask(1, 14, lock_payload("system:system", argument), session);
  };
  const Reply held = lock(1, 0);
  ASSERT_EQ(0u, held.error);
  EXPECT_NE(0u, held.source_id);
  EXPECT_EQ(OX_EEXISTS, lock(2, 0).error);
  EXPECT_EQ(OX_EEXISTS, lock(2, 1).error);
  EXPECT_EQ(OX_EHANDLE, ask(4, 14, {}, 2, held.source_id).error) << "another session's lock";
  EXPECT_EQ(0u, ask(4, 14, {}, 1, held.source_id).error);
  EXPECT_EQ(OX_EHANDLE, ask(4, 14, {}, 1, held.source_id).error);

  EXPECT_EQ(0u, lock(1, 1).error);
  EXPECT_EQ(0u, lock(2, 1).error);
  EXPECT_EQ(OX_EEXISTS, lock(3, 0).error);
  manager_->locks.end_session(1);
  EXPECT_EQ(OX_EEXISTS, lock(3, 0).error);
  manager_->locks.end_session(2);
  EXPECT_EQ(0u, lock(3, 0).error);
  EXPECT_EQ(OX_ENOCOMP, ask(1, 14, lock_payload("node:none", 0)).error);
}

TEST_F(RouterTest, CollectedDataGrowsToItsLimitAndSurvivesATornEnd) {
  manager_->collected = Collected(test::work_dir() + "/data", 60);
  const auto append = [&](std::size_t bytes) {
    PayloadWriter payload;
    payload.u32(1);
    payload.u32(2);
    payload.text("dataEnt:a/../b");
    payload.text("values");
    payload.u32(static_cast<std::uint32_t>(bytes));
    for (std::size_t i = 0; i < bytes; ++i) payload.out().push_back(std::byte{0});  // nodes without fields
    return ask(1, 21, std::move(payload.out())).error;
  };
  const auto size = [&] {
    PayloadWriter payload;
    payload.text("dataEnt:a/../b");
    payload.text("values");
    const Reply reply = ask(1, 22, std::move(payload.out()));
    PayloadReader value(reply.data);
    return reply.error != 0 ? -static_cast<int>(reply.error) : static_cast<int>(value.u32());
  };
  EXPECT_EQ(-122, size());
  EXPECT_EQ(OX_ETRUNCATED, append(3));
  EXPECT_EQ(0u, append(8));
  EXPECT_EQ(20, size());

  const std::string file = test::work_dir() + "/data/collected/dataEnt%3aa%2f%2e%2e%2fb.values.dat";
  test::write_file(file, test::read_file(file) + std::string(11, 'x'));
  manager_->collected = Collected(test::work_dir() + "/data", 60);
  EXPECT_EQ(0u, append(8));
  EXPECT_EQ(40, size());
  EXPECT_EQ(OX_EENCODEDLONG, append(10));
  EXPECT_EQ(0u, append(8));
  EXPECT_EQ(60, size());
}

}  // namespace
}  // namespace ox::manager
