// Who may do what.
#include <fstream>

#include "manager/base/access_rules.h"
#include "manager/base/log.h"
#include "tests/manager/event_fixture.h"
#include "tests/support/blocks.h"
#include "tests/support/system_root.h"

namespace ox::manager {
namespace {

using test::text;
using test::word;

// A name for an account that the system takes for one, whether it has it or not.
std::string account(const std::string& number) {
  return platform::account_id(number).empty() ? "S-1-5-21-1-2-3-" + number : number;
}

class RoleTest : public EventManagerTest {
 protected:
  void SetUp() override {
    EventManagerTest::SetUp();
    for (const char* node : {"lab1", "lab2", "core"}) expect({{std::string("5 1=node 8=") + node, made(node)}});
    expect({{"5 1=cmdEnt 8=job", "0; cmdEnt:job 10.7.8.0 = job"}});
    for (const char* node : {"lab1", "lab2", "core"})
      expect({{"set node:" + std::string(node) + " 11.5.6.0 7", "0; node:" + std::string(node) + " 11.5.6.0"}});
  }
  static std::string made(const std::string& name) { return "0; node:" + name + " 10.7.8.0 = " + name; }

  // The lines with faults. "ann" and "staff" stand for accounts, "eve" and "guests" for others'.
  std::vector<std::uint32_t> read(std::string lines) {
    for (const auto& [word, number] :
         {std::pair{"ann", "4201"}, std::pair{"staff", "4301"}, std::pair{"eve", "77"}, std::pair{"guests", "4399"}}) {
      for (auto at = lines.find(word); at != lines.npos; at = lines.find(word)) {
        lines.replace(at, std::string(word).size(), account(number));
      }
    }
    const std::string file = test::work_dir() + "/access.cf";
    std::ofstream(file) << lines;
    std::vector<std::uint32_t> faults;
    const auto type_name = [this](std::string_view type) {
      const std::string name = manager_->vocabulary.canonical_type(type);
      return manager_->vocabulary.has_type(name) ? name : std::string();
    };
    const bool sound = rules_.read(
        file, type_name, [&](const std::string&, std::uint32_t line, const std::string&) { faults.push_back(line); });
    EXPECT_EQ(faults.empty(), sound);
    return faults;
  }
  RightsPtr rights(bool owner = false) {
    const platform::Peer ann{.user = account("4201"), .groups = {account("4300"), account("4301")}, .owner = owner};
    return rules_.rights_of(ann, manager_->users.of(ann.user));
  }
  static Bytes every_event() {
    const FilterPtr filter(oxeEvfltAlloc());
    std::string body;
    EXPECT_EQ(0u, test::take_block([&](auto... out) { return oxeEvfltEncode(filter.get(), out...); }, &body));
    return bytes_of(body);
  }
  // Session 2 is ann's.
  void log_on(const std::string& lines) {
    ASSERT_EQ(std::vector<std::uint32_t>(), read(lines)) << lines;
    rights_[2] = rights();
    ASSERT_TRUE(rights_[2]);
  }

  AccessRules rules_;
};

// The role of ann for an attribute of a component.
TEST_F(RoleTest, TheLongestSubtreeDecidesThenTheMoreExactPattern) {
  const std::string all = "User: ann read\n";
  const ComponentName lab1{"node", "lab1"}, core{"node", "core"}, rule{"ruleEnt", "lab1"};
  const struct {
    std::string rules;
    const char* path;  // empty: an event, a lock
    ComponentName component;
    Role role;
  } cases[] = {
      {"", "11.5.6.0", lab1, Role::operate},
      {"User: eve none\n", "11.5.6.0", lab1, Role::operate},
      {all, "11.5.6.0", lab1, Role::read},
      {all, "", lab1, Role::read},
      {"Group: staff read\n", "11.5.6.0", lab1, Role::read},
      {"Group: guests read\n", "11.5.6.0", lab1, Role::operate},
      {"Group: staff administer\n" + all, "11.5.6.0", lab1, Role::read},
      {all + "User: ann administer\n", "11.5.6.0", lab1, Role::administer},
      {all + "User: ann operate obj.node\n", "11.5.6.0", lab1, Role::operate},
      {all + "User: ann operate obj.node\n", "11.50.6.0", lab1, Role::read},
      {all + "User: ann operate obj.node\n", "", lab1, Role::read},
      {all + "User: ann operate 11.5\nUser: ann none obj.{cmn,node.nodeTimeout}\n", "11.5.6.0", lab1, Role::none},
      {all + "User: ann operate 11.5\nUser: ann none obj.{cmn,node.nodeTimeout}\n", "11.1.1.0", lab1, Role::none},
      {"User: ann none * node:lab1\nUser: ann administer obj\n", "11.5.6.0", lab1, Role::administer},
      {"User: ann none * node:*\nUser: ann read * node:lab?\n", "11.5.6.0", lab1, Role::read},
      {"User: ann none * node:*\nUser: ann read * node:lab?\n", "11.5.6.0", core, Role::none},
      {"User: ann read * node:lab*\nUser: ann none * node:lab1\n", "11.5.6.0", lab1, Role::none},
      {"User: ann read * *:lab1\nUser: ann none * node:*1\n", "11.5.6.0", lab1, Role::none},
      {"User: ann none * printer:lab*\n", "11.5.6.0", lab1, Role::none},  // a kind of node
      {"User: ann none * node:lab*\n", "", rule, Role::operate},
      {"User: ann none * node:lab*\n", "", lab1, Role::none},
  };
  for (const auto& c : cases) {
    ASSERT_EQ(std::vector<std::uint32_t>(), read(c.rules)) << c.rules;
    const Oid path = parse_oid(c.path).value_or(Oid());
    EXPECT_STREQ(role_name(c.role), role_name(rights()->role(path, c.component)))
        << c.rules << c.path << ' ' << c.component.type << ':' << c.component.name;
    EXPECT_EQ(Role::administer, rights(true)->role(path, c.component)) << "of the installation's own account";
  }
}

TEST_F(RoleTest, AFileWithFaultsKeepsOutWhomItMayHaveBeenToKeepOut) {
  EXPECT_EQ(
      (std::vector<std::uint32_t>{1, 2, 3, 4, 5, 6, 7, 9}),
      read("Users: ann read\nUser: ann\nUser: ann write\nUser: ann read obj.nosuch\nUser: ann read 11.5.*.0\n"
           "User: ann read * lab1\nUser: ann read * nosuch:*\nUser: ann read\nUser: no-such-account-here read\n"));
  EXPECT_FALSE(rights());
  EXPECT_TRUE(rights(true));
  log_on("User: ann none\n");
  EXPECT_EQ(std::vector<std::uint32_t>{1}, read("User: ann\n"));
  ASSERT_TRUE(rights());
  EXPECT_EQ(Role::none, rights()->highest()) << "the rules are as they were before";
  EXPECT_FALSE(rules_.rights_of({}, nullptr)) << "somebody of whom the system does not tell who he is";
}

TEST_F(RoleTest, WhatARequestTakes) {
  const std::string relation = " 4=node-icon 2=node 9=lab1 3=icon 10=i";
  const struct {
    const char* rules;
    std::string words;
    std::string answer;
  } cases[] = {
      {"User: ann none\n", "get node:lab1 11.5.6.0", "5"},
      {"User: ann none\n", "10 1=node 8=lab1", "5"},
      {"User: ann read\n", "get node:lab1 11.5.6.0", "0; node:lab1 11.5.6.0 = 7"},
      {"User: ann read\n", "10 1=node 8=lab1", "122"},
      {"User: ann read\n", "set node:lab1 11.5.6.0 8", "5"},
      {"User: ann operate\n", "set node:lab1 11.5.6.0 8", "0; node:lab1 11.5.6.0"},
      {"User: ann operate\n", "set cmdEnt:job 11.23.2.0 x", "5; cmdEnt:job 11.23.2.0 ! 5"},
      {"User: ann administer obj.cmdEnt\n", "set cmdEnt:job 11.23.2.0 x", "0; cmdEnt:job 11.23.2.0"},
      {"User: ann operate\n", "5 1=node 8=new", "5"},
      {"User: ann operate\n", "6 1=node 8=lab1", "5"},
      {"User: ann operate\n", "41 30=node:lab1 11.5.6.0=8", "5"},
      {"User: ann operate\n", "201 1=x", "5"},
      {"User: ann administer * node:new*\n", "5 1=node 8=new1", made("new1")},
      {"User: ann administer * node:new*\n", "5 1=node 8=old1", "5"},
      // One of several, and of a subtree.
      {"User: ann none * node:core\n", "get node:core 11.5.6.0", "5"},
      {"User: ann none * node:core\n", "get node:* 11.5.6.0",
       "121; node:core 11.5.6.0 ! 5; node:lab1 11.5.6.0 = 7; node:lab2 11.5.6.0 = 7"},
      {"User: ann none obj.node\n", "get node:core obj.{cmn,node}",
       "121; node:core 11.1.1.0 = core; node:core 11.5.6.0 ! 5"},
      {"User: ann none obj.node\n", "get node:core obj", "121; node:core 11.1.1.0 = core; node:core 11.5.6.0 ! 5"},
      {"User: ann none 11.5.6.0\n", "get node:core obj.node.nodeTimeout.0", "5"},
      {"User: ann read obj.node node:core\n", "set node:lab1 11.5.6.0 7 node:core 11.5.6.0 9",
       "121; node:lab1 11.5.6.0; node:core 11.5.6.0 ! 5"},
  };
  for (const auto& c : cases) {
    log_on(c.rules);
    EXPECT_EQ(c.answer, ask_as(2, c.words)) << c.rules << c.words;
    expect({{"set node:lab1 11.5.6.0 7", "0; node:lab1 11.5.6.0"},
            {"get node:core 11.5.6.0", "0; node:core 11.5.6.0 = 7"}});
  }
}

// Requests that are no gets, sets or managing, by type, command and body.
TEST_F(RoleTest, WhatOtherRequestsTake) {
  const std::string lock = text("node:core") + word(0);
  const struct {
    const char* rules;
    std::uint32_t type;
    std::uint32_t command;
    std::string body;
    OX_RESULT error;
  } cases[] = {
      {"User: ann read\n", 1, 10, std::string("prog\0", 5), OX_EDENIED},
      {"User: ann operate\n", 1, 10, std::string("prog\0", 5), OX_OK},
      {"User: ann read\n", 1, 14, lock, OX_EDENIED},
      {"User: ann none * node:core\n", 1, 14, lock, OX_EDENIED},
      {"User: ann read\nUser: ann operate * node:core\n", 1, 14, lock, OX_OK},
      {"User: ann read\n", 1, 25, std::string("w\0", 2), OX_EDENIED},
      {"User: ann read\n", 1, 21, word(1) + word(2) + text("node:core") + text("b") + word(2) + test::half(0),
       OX_EDENIED},
      {"User: ann none\n", 1, 22, text("node:core") + text("b"), OX_EDENIED},
      {"User: ann none\n", 5, 0, "", OX_OK},
  };
  for (const auto& c : cases) {
    log_on(c.rules);
    EXPECT_EQ(c.error, ask(c.type, c.command, c.body, 2).error) << c.rules << c.command;
    manager_->end_session(2);
  }
  const std::uint32_t held = ask(1, 14, lock, 1).source_id;
  log_on("User: ann operate\n");
  EXPECT_EQ(OX_EHANDLE, ask(4, 14, "", 2, held).error) << "another's lock";
  log_on("User: ann administer\n");
  EXPECT_EQ(OX_OK, ask(4, 14, "", 2, held).error);
}

TEST_F(RoleTest, EventsAreSeenAndChangedByTheirComponent) {
  const auto of = [](const char* name) {
    return [name](evmsg* made) {
      (void)oxeEvmsgSetCompType(made, "printer");  // a kind of node
      (void)oxeEvmsgSetCompName(made, name);
    };
  };
  log_on("User: ann none * node:core\nUser: ann read * node:lab2\nUser: ann operate * node:lab1\n");
  EXPECT_EQ(OX_OK, watch("system:system", "sysmib.oxMessage.oxEventMessage2.0", 9, 2).error);
  EXPECT_EQ(OX_OK, open_wait("mine", 11, 2).error);
  std::map<std::string, std::uint32_t> ids;
  for (const char* name : {"core", "lab1", "lab2"}) ids[name] = post(name, of(name));
  EXPECT_EQ("lab1 lab2", memos(ask(1, 15, every_event(), 2).data));
  EXPECT_EQ("2>9 lab1", fetch(2));
  EXPECT_EQ("25>11 lab1", fetch(2));
  EXPECT_EQ("2>9 lab2", take(2));
  EXPECT_EQ("25>11 lab2", fetch(2));
  EXPECT_EQ("nothing", take(2));
  EXPECT_EQ(OX_EDENIED, ask(1, 16, with_id(ids["core"]), 2).error);
  EXPECT_EQ(OX_EDENIED, ask(1, 16, with_id(ids["lab2"]), 2).error);
  EXPECT_EQ(OX_OK, ask(1, 16, with_id(ids["lab1"]), 2).error);
  const std::uint32_t handle = open_handle(2);
  EXPECT_EQ(OX_EDENIED, ask(1, 12, event(of("lab2")), 2, handle).error);
  EXPECT_EQ(OX_OK, ask(1, 12, event(of("lab1")), 2, handle).error);
  EXPECT_EQ(OX_EDENIED, ask(1, 13, with_id(ids["lab2"]), 2, handle).error);
}

TEST_F(RoleTest, ARefusalIsLoggedOnceASecondAndALineThatComesAgainIsCounted) {
  log_to_stderr();
  log_on("User: ann read * node:lab1\nUser: ann none\n");
  testing::internal::CaptureStderr();
  for (int i = 0; i < 50; ++i) EXPECT_EQ("5", ask_as(2, "get node:core 11.5.6.0"));
  for (const char* line : {"a", "b", "b", "b", "b", "c", "c"}) log(Severity::warning, line);
  EXPECT_EQ("oxmgrd: warning: user " + platform::account_name(account("4201")) +
                " was refused get node:core 11.5.6.0: the role there is \"none\", it takes \"read\" (access.cf)\n"
                "oxmgrd: warning: a\noxmgrd: warning: b\noxmgrd: warning: b\n"
                "oxmgrd: warning: 2 more lines like that: b\noxmgrd: warning: c\noxmgrd: warning: c\n",
            testing::internal::GetCapturedStderr());
  EXPECT_EQ(50u, rights_[2]->user().holds.refused);
}

}  // namespace
}  // namespace ox::manager
