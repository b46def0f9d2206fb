#include "tests/manager/event_fixture.h"

namespace ox::manager {
namespace {

class SubscriptionTest : public EventManagerTest {
 protected:
  Reply set_later(const std::string& threes, std::uint32_t handle) {
    Message later = message("set " + threes);
    later.command = 5;
    later.source_id = handle;
    return ask(later);
  }
};

TEST_F(SubscriptionTest, ChangesOfStoredValuesAreReported) {
  (void)ask("5 1=ruleEnt 8=day");
  (void)ask("set ruleEnt:day 11.13.1.0 prog");
  const Reply exact = watch("ruleEnt:day", "obj.ruleEnt.1.0,11.13.4.0", 1);
  (void)watch("ruleEnt:*", "11.13.4", 2, 2);
  (void)watch("ruleEnt:day", "11.13.1.0", 3, 3, 0);
  EXPECT_NE(0u, exact.source_id);
  EXPECT_EQ("nothing", fetch()) << "option 64: only changes";
  EXPECT_EQ("2>3 ruleEnt:day 11.13.1.0 = prog", fetch(3)) << "without it, the values as they are come first";

  (void)ask("set ruleEnt:day 11.13.1.0 new ruleEnt:day 11.13.4.0 7");
  EXPECT_EQ("2>1 ruleEnt:day 11.13.1.0 = new ruleEnt:day 11.13.4.0 = 7", fetch()) << "one set, one report";
  EXPECT_EQ("2>2 ruleEnt:day 11.13.4.0 = 7", fetch(2));
  EXPECT_EQ("2>3 ruleEnt:day 11.13.1.0 = new", fetch(3));

  (void)ask("5 1=ruleEnt 8=night");
  EXPECT_EQ("2>2 ruleEnt:night 11.1.1.0 = night", fetch(2));
  (void)ask("6 1=ruleEnt 8=day");
  EXPECT_EQ(0u, fetch(2).find("2>2 ruleEnt:day 11.1.1.0")) << "it is gone";
  EXPECT_EQ(0u, fetch().find("2>1 ruleEnt:day 11.1.1.0"));
  EXPECT_EQ("nothing", fetch(2));

  EXPECT_EQ(OX_EHANDLE, close_request(6, exact.source_id, 2).error) << "another session's";
  EXPECT_EQ(1u, close_request(6, exact.source_id).error);
  EXPECT_EQ(OX_EHANDLE, close_request(6, exact.source_id).error);
  (void)ask("5 1=ruleEnt 8=day");
  EXPECT_EQ("nothing", fetch());
}

TEST_F(SubscriptionTest, WrongRequestIsToldByAReportToo) {
  const auto is_told = [&](const Message& message, std::uint32_t code) {
    EXPECT_EQ(code, ask(message).error);
    EXPECT_EQ("2>9 !" + std::to_string(code), fetch());
  };
  is_told({.type = 1, .command = 2, .source_id = 9, .destination = "elsewhere"}, OX_ENOPIPE);
  is_told({.type = 1, .command = 2, .source_id = 9, .refusal = OX_EENCODEDLONG}, OX_EENCODEDLONG);
  for (const auto& [component, names, code] :
       {std::tuple{"system", "11.1", OX_ECOMPNAME}, {"system:system", "obj.nosuch", OX_EAMIBNAME}}) {
    const Reply reply = watch(component, names, 9);
    EXPECT_EQ((std::pair{OX_RESULT{code}, 0u}), (std::pair{reply.error, reply.source_id}));
    EXPECT_EQ("2>9 !" + std::to_string(code), fetch());
  }
  EXPECT_EQ("nothing", fetch());
}

TEST_F(SubscriptionTest, SetReportsOnce) {
  (void)ask("5 1=ruleEnt 8=day");
  EXPECT_EQ(0u, set_later("ruleEnt:day 11.13.4.0 7", 31).error);
  EXPECT_EQ("2>31", fetch().replace(0, 1, "2").substr(0, 4));
  EXPECT_EQ("nothing", fetch());
  EXPECT_EQ(0u, set_later("ruleEnt:none 11.13.4.0 7", 32).error);
  EXPECT_EQ("5>32 !84 ruleEnt:none 11.13.4.0 ! 84", fetch());
  EXPECT_EQ(OX_EINCOMPLETE, set_later("", 33).error);
  const Reply closed = set_later("ruleEnt:day 11.13.4.0 8", 34);
  EXPECT_EQ(OX_EHANDLE, close_request(3, closed.source_id).error) << "it is over, and its report waits";
  EXPECT_EQ("5>34 ruleEnt:day 11.13.4.0", fetch());
}

TEST_F(SubscriptionTest, ClientThatDoesNotFetchIsBounded) {
  settings_.max_report_bytes = 4096;
  restart();
  (void)ask("5 1=ruleEnt 8=day");
  (void)watch("ruleEnt:day", "11.13.4.0", 1, 1);
  (void)watch("ruleEnt:day", "11.13.4.0", 2, 2);
  for (int i = 0; i < 100; ++i) {
    (void)ask("set ruleEnt:day 11.13.4.0 " + std::to_string(i));
    EXPECT_EQ("2>2 ruleEnt:day 11.13.4.0 = " + std::to_string(i), fetch(2));
  }
  (void)watch("ruleEnt:none", "11.13", 9);
  (void)watch("ruleEnt:none", "11.13", 10);
  int kept = 0;
  std::string report = fetch();
  for (; report == "2>1 ruleEnt:day 11.13.4.0 = " + std::to_string(kept); ++kept) report = fetch();
  EXPECT_GT(kept, 5);
  EXPECT_LT(kept, 50);
  EXPECT_EQ("2>9 !84", report) << "refused while nothing was fetched";
  EXPECT_EQ("2>10 !84", fetch());
  EXPECT_EQ("2>1 !85", fetch()) << "told of the gap where it is";
  EXPECT_EQ("nothing", fetch());
  (void)ask("set ruleEnt:day 11.13.4.0 5");
  EXPECT_EQ("2>1 ruleEnt:day 11.13.4.0 = 5", fetch());
}

}  // namespace
}  // namespace ox::manager
