// Services, programs, signals and servers that die.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <asio/io_context.hpp>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "platform/console.h"
#include "platform/named_event.h"
#include "platform/pipe.h"
#include "platform/server/pipe_server.h"
#include "platform/service.h"
#include "tests/platform/forked.h"
#include "tests/support/system_root.h"

namespace ox::platform {
namespace {

namespace fs = std::filesystem;
using test::Forked;
using test::system_root;

bool is_running(const char* service) {
  bool running = false;
  EXPECT_EQ(error_none, service_running(service, running));
  return running;
}

TEST(Service, RunsWhileAProcessHoldsItsMark) {
  ServiceMark mark;
  EXPECT_FALSE(is_running("Oxlogd"));
  Forked daemon([] {
    static ServiceMark theirs;
    return theirs.hold("Oxlogd") == error_none;
  });
  ASSERT_TRUE(daemon.succeeded());
  EXPECT_FALSE(is_running("Oxcmd"));
  EXPECT_TRUE(is_running("Oxlogd"));
  EXPECT_EQ(error_already_exists, mark.hold("Oxlogd"));
  EXPECT_TRUE(is_running("Oxlogd"));  // neither asking nor failing takes it away
  daemon.kill();
  EXPECT_FALSE(is_running("Oxlogd"));
  EXPECT_EQ(error_none, mark.hold("Oxlogd"));
  EXPECT_TRUE(is_running("Oxlogd"));
  mark = ServiceMark();
  EXPECT_FALSE(is_running("Oxlogd"));
  bool running = true;
  EXPECT_EQ(error_invalid_name, service_running("", running));
  EXPECT_TRUE(running);
}

TEST(StartProgram, FindsProgramsOnThePathAndLeavesNoZombie) {
  const std::string bin = system_root() + "/bin";
  const std::string fifo = system_root() + "/fifo";
  ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
  test::write_file(bin + "/OxLogon", "#!/bin/sh\necho started > '" + fifo + "'\n");
  test::write_file(bin + "/broken.exe", "#!/no/such/interpreter\n");
  for (const char* name : {"/OxLogon", "/broken.exe"}) fs::permissions(bin + name, fs::perms{0755});
  setenv("PATH", ("/nowhere::" + bin + ":" + std::getenv("PATH")).c_str(), 1);

  EXPECT_EQ(error_file_not_found, start_program("no-such-program.exe"));
  EXPECT_EQ(error_file_not_found, start_program("broken.exe"));
  EXPECT_EQ(error_file_not_found, last_error());
  ASSERT_EQ(error_none, start_program("OxLogon.exe"));
  EXPECT_EQ("started\n", test::read_file(fifo));  // waits for the writer
  EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG));
  EXPECT_EQ(ECHILD, errno);
}

TEST(Console, WritesToTheErrorStreamAndSurvivesItsReader) {
  const Forked process([] {
    int ends[2];
    char text[16] = {};
    bool good = pipe(ends) == 0 && dup2(ends[1], STDERR_FILENO) >= 0 && close(ends[1]) == 0;
    good = good && console_write("none yet") == error_invalid_handle;
    good = good && console_allocate() == error_none && console_allocate() == error_none;
    good = good && console_write("a line\n") == error_none && read(ends[0], text, sizeof text) == 7;
    close(ends[0]);
    good = good && is_pipe_closed(console_write("lost\n"));  // and no signal
    console_release();
    return good && console_write("released") == error_invalid_handle;
  });
  EXPECT_TRUE(process.succeeded());
}

NamedEvent interrupted;
bool on_event(ConsoleEvent event) {
  if (event == ConsoleEvent::interrupt) interrupted.set();
  return true;
}

TEST(Console, ItsHandlerKeepsInterruptsFromEndingTheProcess) {
  const Forked process([] {
    bool good = interrupted.create(nullptr, Access::group) == error_none;
    for (const int number : {SIGINT, SIGQUIT}) signal(number, SIG_DFL);  // a test in the background inherits others
    signal(SIGHUP, SIG_IGN);
    good = good && console_set_handler(on_event) == error_none;
    raise(SIGQUIT);
    for (int i = 0; i < 2; ++i) {
      raise(SIGINT);
      good = good && interrupted.wait(infinite) == error_none;
      interrupted.reset();
    }
    return good && signal(SIGHUP, SIG_DFL) == SIG_IGN;  // the program's own choice stays
  });
  EXPECT_TRUE(process.succeeded());

  const auto after_release = [] {
    signal(SIGINT, SIG_DFL);
    if (console_set_handler(on_event) != error_none) std::_Exit(1);
    console_release();
    raise(SIGINT);
    std::_Exit(0);
  };
  EXPECT_EXIT(after_release(), testing::KilledBySignal(SIGINT), "");
}

Error serve(std::unique_ptr<PipeServer>& server, asio::io_context& loop) {
  server = make_pipe_server(loop);
  return server->serve("ox_stdpipe", [](std::unique_ptr<PipeConnection>) {});
}

// A server that was killed leaves its socket behind, which refuses clients and which the next server takes over.
TEST(PipeServer, TakesOverFromAKilledOneOnly) {
  asio::io_context loop;
  std::unique_ptr<PipeServer> server;
  Pipe pipe;
  Forked living([] {
    static asio::io_context theirs;
    static std::unique_ptr<PipeServer> first;
    return serve(first, theirs) == error_none;
  });
  ASSERT_TRUE(living.succeeded());
  EXPECT_EQ(error_none, pipe.open("ox_stdpipe"));
  EXPECT_EQ(error_already_exists, serve(server, loop));
  living.kill();
  EXPECT_EQ(error_file_not_found, pipe.open("ox_stdpipe"));
  EXPECT_EQ(error_none, serve(server, loop));
  EXPECT_EQ(error_none, pipe.open("ox_stdpipe"));
  EXPECT_EQ(fs::perms{0660}, fs::status(system_root() + "/pipe/ox_stdpipe").permissions());
}

// A socket's address holds 107 bytes; a root may be deeper.
TEST(PipeServer, ServesInADeepRoot) {
  std::string deep = system_root();
  while (deep.size() < 300) deep += "/directory";
  setenv("OXBASE_SYSTEM", deep.c_str(), 1);
  asio::io_context loop;
  std::unique_ptr<PipeServer> server;
  Pipe pipe;
  ASSERT_EQ(error_none, serve(server, loop));
  EXPECT_EQ(error_none, pipe.open("\\\\.\\PIPE\\ox_stdpipe"));
  setenv("OXBASE_SYSTEM", system_root().c_str(), 1);
}

}  // namespace
}  // namespace ox::platform
