// What Linux alone has: the signal for new settings, rights of files, and the service manager's unit.
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "tests/road/daemon.h"
#include "tests/support/installation.h"
#include "tests/support/system_root.h"

namespace ox::test {
namespace {

TEST(Reload, SettingsAreReadAgainAndNeverAnEnd) {
  Daemon daemon;
  const std::pair<const char*, const char*> steps[] = {
      {"MaxQueue:\t4\nTrapPort:\t0\n", ": MaxQueue\n"},
      {"MaxQueue:\t5\nMaxNodes:\t3\nTrapAddress:\t127.0.0.1\nSnmpInFlight:\t9\n",
       "; changed: MaxQueue, MaxNodes; changes at the next start: SnmpInFlight, TrapAddress\n"},
      {"MaxQueue:\tmany\nMaxNodes:\t7\n", "it has faults, so the settings stay as they are\n"},
      {"MaxQueue:\t5\nMaxNodes:\t3\n", "nothing has changed\n"}};
  std::size_t at = 0;
  for (const auto& [settings, told] : steps) {
    write_settings(settings);
    ASSERT_EQ(0, kill(daemon.pid(), SIGHUP));
    for (int i = 0; i < 2000 && daemon.log().find("read", at) == std::string::npos; ++i) usleep(10000);
    EXPECT_NE(std::string::npos, daemon.log().find(told, at)) << daemon.log();
    at = daemon.log().size();
  }
  const std::string node = "oxget system:system 11.1";
  EXPECT_EQ('0', run(node)[0]) << run(node);
  EXPECT_EQ(0, daemon.end());
}

// Clients of other accounts attach all that the manager has built: also where far siblings lie.
TEST(Rights, EveryBlockOfTheTreeIsThereForAll) {
  const std::string own = system_root() + "/run/own/", run = system_root() + "/run/";
  std::string definitions = "wide obj.77 AMIBNONE not-accessible NULL-ACS\n";
  for (int i = 1; i <= 2000; ++i) {
    definitions += 'w' + std::to_string(i) + " wide." + std::to_string(i) + " INTEGER read-only CONF-ACS\n";
  }
  write_file(work_dir() + "/public/amib/wide.def", definitions);
  Daemon daemon;
  int offered = 0;
  for (const auto& entry : std::filesystem::directory_iterator(own)) {
    const std::string name = entry.path().filename();
    if (name.find("Global%5Cox") == std::string::npos || name[0] != 'b') continue;
    EXPECT_EQ(read_file(own + name), read_file(run + name)) << name;
    ++offered;
  }
  EXPECT_TRUE(std::filesystem::exists(own + "b.Global%5Cox3168") && offered > 10) << offered;
  // What a manager that was killed has left is no tree that somebody holds, nor is its index believed for another one.
  daemon.kill();
  write_file(work_dir() + "/public/amib/wide.def", "wide obj.78 AMIBNONE not-accessible NULL-ACS\n");
  daemon.start();
  EXPECT_EQ("0 11.78  obj.wide\n", run_program({"oxamib", "name", "obj.wide"}));
  EXPECT_FALSE(std::filesystem::exists(run + "b.Global%5Cox3168"));
}

// As another user where this one may do everything, else by rights that this one has not.
std::string run_without_rights(const std::string& line) {
  const std::string program = OX_PROGRAMS "/" + line;
  if (geteuid() != 0) return run(line);
  const std::string file = system_root() + "/output";
  std::vector<std::string> words{"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
  for (const std::string& word : words_of(program)) words.push_back(word);
  write_file(file, "");
  const int status = started(words, file).wait(std::chrono::seconds(20));
  return std::to_string(status) + ' ' + read_text(file);
}

// Each by a command that mends it.
TEST(Rights, WrongOnesAreNamedAndMended) {
  lay_down_installation();
  const std::string root = system_root();
  constexpr std::pair<const char*, mode_t> wrong[] = {{"", 0777},           {"/registry.reg", 0664},
                                                      {"/work/conf", 0775}, {"/work/conf/traps.cf", 0666},
                                                      {"/work/data", 0750}, {"/work/tmp", 0770}};
  for (const auto& [file, mode] : wrong) ASSERT_EQ(0, chmod((root + file).c_str(), mode)) << file;
  ASSERT_EQ(0, symlink("/etc", (root + "/work/public/etc").c_str()));
  if (geteuid() == 0) {
    EXPECT_EQ(0u, run("oxmgrd").find("1 oxmgrd: error: root does not serve " + root)) << "may write it";
  }
  std::istringstream told(run("oxmgrd --check"));
  int commands = 0;
  for (std::string line; std::getline(told, line);) {
    const std::size_t next = line.find("; next: ");
    if (next == line.npos) continue;
    EXPECT_EQ(0, std::system(line.c_str() + next + 8)) << line;
    ++commands;
  }
  EXPECT_EQ(7, commands) << told.str();
  EXPECT_EQ("0 The installation is sound.\n", without_notes(run("oxmgrd --check")));
}

// Wherever they lead: what stands there was not written for the manager.
TEST(Rights, ALinkAmongTheSettingsIsNotFollowed) {
  Daemon daemon;
  EXPECT_EQ(0, daemon.end());
  const std::string conf = work_dir() + "/conf/", elsewhere = system_root() + "/elsewhere";
  write_file(elsewhere, "# sound for all\n");
  for (const std::string& led_to : {elsewhere, system_root() + "/nowhere"}) {
    for (const char* file : {"oxmgrd.cf", "access.cf", "traps.cf"}) {
      (void)unlink((conf + file).c_str());
      ASSERT_EQ(0, symlink(led_to.c_str(), (conf + file).c_str()));
    }
    const std::string checked = run("oxmgrd --check");
    daemon.start();
    EXPECT_EQ(0, daemon.end());
    for (const std::string file : {"oxmgrd.cf", "access.cf", "traps.cf"}) {
      const std::string fault = "a link, which is not followed; next: put the file itself in its place";
      EXPECT_NE(checked.npos, checked.find(conf + file + ":0: " + fault)) << checked;
      if (file == "traps.cf") continue;  // read where traps are received
      EXPECT_NE(checked.npos, daemon.log().find(conf + file + ":0: " + fault)) << daemon.log();
    }
  }
}

// The account that run_without_rights() has.
TEST(Rights, AnInstallationOfAnAccountIsSoundForIt) {
  if (geteuid() != 0) GTEST_SKIP() << "NOT TESTED: giving files to another account needs root";
  const std::string made = system_root() + "/made", precious = system_root() + "/precious";
  const std::string make = OX_SHARE_DIR "/../scripts/make-installation --account nobody '" + made + "' " OX_SHARE_DIR;
  ASSERT_EQ(0, chmod(system_root().c_str(), 0755));
  ASSERT_EQ(0, std::system(make.c_str()));
  set_environment("OXBASE_SYSTEM", made.c_str());
  const std::string open_to_others =
      "test -z \"$(find '" + made + "' ! -type l \\( -perm /022 ! -name tmp -o ! -user nobody \\) -print)\"";
  EXPECT_EQ(0, std::system(open_to_others.c_str()));
  EXPECT_EQ("0 The installation is sound.\n", without_notes(run_without_rights("oxmgrd --check")));
  EXPECT_EQ(0u, run("oxmgrd").find("1 oxmgrd: error: root does not serve " + made)) << "belongs to nobody";
  ASSERT_EQ(0, mkdir(precious.c_str(), 0777) | rmdir((made + "/work/tmp").c_str()) |
                   symlink(precious.c_str(), (made + "/work/tmp").c_str()));
  EXPECT_NE(0, std::system(make.c_str())) << "through a link";
}

TEST(Unit, IsHardened) {
  if (std::system("command -v systemd-analyze >/dev/null") != 0) GTEST_SKIP() << "NOT TESTED: no systemd-analyze";
  EXPECT_EQ(0, std::system("systemd-analyze security --no-pager --offline=true --threshold=25 " OX_SHARE_DIR
                           "/systemd/oxmgrd.service >&2"));
}

// What a service manager hears from one that it has started.
TEST(Unit, ReadinessLifeAndEndAreTold) {
  const std::string path = system_root() + "/heard";
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  const int listener = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const timeval patience{.tv_sec = 60, .tv_usec = 0};
  ASSERT_EQ(0, setsockopt(listener, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience));
  ASSERT_EQ(0, bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address));
  set_environment("NOTIFY_SOCKET", path.c_str());
  set_environment("WATCHDOG_USEC", "1000000");
  Daemon daemon;
  std::string heard;
  const auto hear = [&](const char* until) {
    for (char text[64]; heard.find(until) == heard.npos;) {
      const ssize_t size = recv(listener, text, sizeof text, 0);
      if (size <= 0) FAIL() << "not told: " << until;
      heard += std::string(text, static_cast<std::size_t>(size)) + ' ';
    }
    heard.clear();
  };
  hear("READY=1");
  hear("WATCHDOG=1 WATCHDOG=1");
  EXPECT_EQ(0, daemon.end());
  hear("STOPPING=1");
  close(listener);
}

TEST(Rights, WhoHasNoneIsToldSo) {
  Daemon daemon;
  const std::string root = system_root();
  ASSERT_EQ(0, chmod((root + "/service").c_str(), 0));
  for (const auto& [line, told] :
       {std::pair{"oxget system:system 11.1",
                  "manager: error 15: this user has no rights in the installation in " + root},
        {"oxmgrd", "error: the service mark in " + root + " cannot be held: "},
        {"oxmgrd", "; next: start it as the account that owns " + root}}) {
    const std::string shown = run_without_rights(line);
    EXPECT_NE(std::string::npos, shown.find(told)) << shown;
    EXPECT_EQ('1', shown[0]) << shown;
  }
  ASSERT_EQ(0, chmod((root + "/service").c_str(), 0770));
  EXPECT_EQ(0, daemon.end());
}

}  // namespace
}  // namespace ox::test
