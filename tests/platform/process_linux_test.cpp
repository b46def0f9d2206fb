// What the process learns from its environment and leaves behind; signals and servers.
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <asio/io_context.hpp>
#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "platform/codepage.h"
#include "platform/console.h"
#include "platform/environment.h"
#include "platform/file.h"
#include "platform/named_event.h"
#include "platform/pipe.h"
#include "platform/server/pipe_server.h"
#include "platform/service.h"
#include "tests/platform/forked.h"
#include "tests/support/system_root.h"
#include "tests/support/test.h"
#include "tests/support/texts.h"

namespace ox::platform {
namespace {

namespace fs = std::filesystem;
using test::Forked;
using test::system_root;

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

// A socket's address holds 107 bytes; a root may be deeper.
TEST(PipeServer, ServesInADeepRoot) {
  const std::string deep = system_root() + test::repeated("/directory", 30);
  setenv("OXBASE_SYSTEM", deep.c_str(), 1);
  asio::io_context loop;
  const auto server = make_pipe_server(loop);
  Pipe pipe;
  ASSERT_EQ(error_none, server->serve("ox_stdpipe", [](std::unique_ptr<PipeConnection>) {}));
  EXPECT_EQ(error_none, pipe.open("\\\\.\\PIPE\\ox_stdpipe"));
  EXPECT_EQ(fs::perms{0660}, fs::status(deep + "/pipe/ox_stdpipe").permissions());
  setenv("OXBASE_SYSTEM", system_root().c_str(), 1);
}

TEST(Environment, TheFirstLocaleVariableTellsTheLanguage) {
  // LC_ALL, LC_MESSAGES, LANG; "-" for one that is not set.
  const std::pair<const char*, bool> rows[] = {{"-|-|-", false},        {"-|-|ja_JP.UTF-8", true}, {"-|-|ja", true},
                                               {"-|-|jam_JM", false},   {"-|-|j", false},          {"C|-|ja_JP", false},
                                               {"||ja_JP.eucJP", true}, {"-|en_GB|ja_JP", false},  {"ja@x|C|C", true}};
  for (const auto& [values, japanese] : rows) {
    const std::vector<std::string> set = test::split(values);
    for (const int i : {0, 1, 2}) {
      const char* const name = std::array{"LC_ALL", "LC_MESSAGES", "LANG"}[i];
      (void)(set[i] != "-" ? setenv(name, set[i].c_str(), 1) : unsetenv(name));
    }
    EXPECT_EQ(japanese, language_is_japanese()) << values;
  }
}

TEST(Environment, MembershipIsThatOfTheProcess) {
  bool member = true;
  EXPECT_EQ(1332U, user_in_group("no-such-group", member));
  EXPECT_TRUE(member);
  EXPECT_EQ(error_none, user_in_group("daemon", member));
  EXPECT_FALSE(member);
  EXPECT_EQ(error_none, user_in_group(geteuid() == 0 ? "root" : "users", member));
  EXPECT_TRUE(member || geteuid() != 0);
}

TEST(Codepage, SurroundingsAreThoseOfTheLocale) {
  for (const char* locale : {"C", "C.UTF-8", "no_SUCH.locale"}) {
    setenv("LC_ALL", locale, 1);
    EXPECT_EQ(utf8, own_code_page()) << locale;
  }
}

TEST(FileLinux, WhatIsNoPlainFileIsMarked) {
  const std::string directory = test::work_dir() + "/marked";
  test::write_file(directory + "/.hidden", "x");
  ASSERT_EQ(0, mkfifo((directory + "/fifo").c_str(), 0600));
  fs::create_symlink("nowhere", directory + "/dangling");
  std::vector<DirectoryEntry> entries;
  ASSERT_EQ(error_none, list_directory(directory.c_str(), entries));
  EXPECT_EQ(2U, entries.size());
  for (const DirectoryEntry& entry : entries) {
    EXPECT_EQ(entry.name == "fifo", entry.attributes.system) << entry.name;
    EXPECT_EQ(entry.name == ".hidden", entry.attributes.hidden) << entry.name;
  }
}

}  // namespace
}  // namespace ox::platform
