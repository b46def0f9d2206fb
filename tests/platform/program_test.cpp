// Programs that are started, listened to, asked to end and killed.
#include <csignal>
#include <cstdlib>

#include "platform/environment.h"
#include "platform/service.h"
#include "tests/support/other_process.h"

namespace ox::platform {
namespace {

using namespace std::chrono_literals;
using test::OtherProcess;

// Prints its text and two variables so many times as the text begins with, and ends with that number.
int prints(OtherProcess& owner) {
  const int times = std::stoi(owner.text());
  for (int i = 0; i < times; ++i) std::printf("%s %s ", std::getenv("OX_X"), std::getenv("OX_XX"));
  (void)std::fflush(stdout);
  std::fprintf(stderr, "error");
  return times % 256;
}

volatile std::sig_atomic_t asked = 0;
int rests(OtherProcess& owner) {
  for (const int number : {SIGINT, SIGTERM}) std::signal(number, [](int) { asked = 1; });
  ServiceMark mark;  // is seen as long as it lives
  if (mark.hold(owner.text().c_str()) != error_none) return 1;
  for (int i = 0; i < 6000 && asked == 0; ++i) sleep_ms(10);
  return 7;
}
int starts_another(OtherProcess& owner) {
  return std::system(('"' + test::own_program() + "\" --process rests " + owner.text()).c_str());
}

[[maybe_unused]] const bool declared = OtherProcess::declare("prints", prints) &&
                                       OtherProcess::declare("rests", rests) &&
                                       OtherProcess::declare("starts another", starts_another);

Program of(const std::string& part, const std::string& text, const ProgramSetting& setting) {
  Program program;
  EXPECT_EQ(error_none, program.start({test::own_program(), "--process", part, text}, setting));
  return program;
}

// Some programs take the first of two variables of one name, others the last.
TEST(Program, ItsOutputIsKeptToItsLimitAndItsStatusIsTold) {
  test::set_environment("OX_X", "old");
  test::set_environment("OX_XX", "kept");
  Program program = of("prints", "2", {.variables = {"OX_X=new"}, .kept_output = 100});
  EXPECT_EQ(2, program.wait(20s));
  EXPECT_EQ("new kept new kept error", program.output());
  program = of("prints", "30003", {.variables = {"OX_X=new"}, .kept_output = 12});  // more than a pipe holds
  EXPECT_EQ(30003 % 256, program.wait(20s));
  EXPECT_EQ("new kept new", program.output());
  EXPECT_EQ(30003 % 256, program.wait(0s)) << "again";
  program = of("prints", "30003", {.variables = {"OX_X=new"}, .kept_output = 12, .keeps_end = true});
  EXPECT_EQ(30003 % 256, program.wait(20s));
  EXPECT_EQ("w kept error", program.output());
  EXPECT_EQ(0u, program.id());
  EXPECT_NE(error_none, program.start({"no such program"}, {}));
}

bool comes_to_be(bool expected) {
  bool running = !expected;
  for (int i = 0; i < 2000 && running != expected; ++i) {
    EXPECT_EQ(error_none, service_running("Oxlogd", running));
    sleep_ms(10);
  }
  return running == expected;
}

TEST(Program, IsAskedToEndAndKilledWithWhatItHasStarted) {
  test::prepare_console();
  const auto resting = [](const char* part) {
    Program program = of(part, "Oxlogd", {.in_console = true});
    EXPECT_TRUE(comes_to_be(true));
    EXPECT_EQ(-1, program.wait(1ms));
    return program;
  };
  Program program = resting("rests");
  program.ask_to_end();
  EXPECT_EQ(7, program.wait(20s));
  program = resting("starts another");
  program.kill();
  EXPECT_EQ(137, program.wait(0s));
  EXPECT_TRUE(comes_to_be(false));
  program = resting("starts another");
  program = {};
  EXPECT_TRUE(comes_to_be(false));
}

TEST(Program, WhatAKilledOwnerHasLeftIsFound) {
  const std::vector<std::string> mark = {"OX_MARK=" + std::to_string(process_id())};
  const auto left = [&mark](const char* part, const std::vector<std::string>& variables) {
    Program program = of(part, "Oxlogd", {.variables = variables, .outlives = true});
    EXPECT_TRUE(comes_to_be(true));
    return LeftOver{program.id(), program.started()};
  };
  const LeftOver program = left("rests", {});
  EXPECT_FALSE(end_left_over({{program.id, program.started + 1, mark.front()}}));
  EXPECT_TRUE(end_left_over({program}));
  EXPECT_TRUE(comes_to_be(false));
  if (reload_signal == 0) return;
  (void)left("starts another", mark);
  EXPECT_TRUE(end_left_over({{0, 0, mark.front()}}));
  EXPECT_TRUE(comes_to_be(false));
}

}  // namespace
}  // namespace ox::platform
