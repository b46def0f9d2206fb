// A program's own loop, and one that the manager cuts off.
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <functional>
#include <utility>

#include <oxbase/oxa.h>

#include "access/session.h"
#include "tests/road/loss_road.h"
#include "tests/support/scripted_peer.h"

namespace ox::test {
namespace {

constexpr int patience = 60'000;  // milliseconds

// The library's own end of its connection.
int own_connection() {
  for (int fd = 3; fd < 1000; ++fd) {
    sockaddr_un peer{};
    socklen_t size = sizeof peer;
    if (::getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &size) == 0 && peer.sun_family == AF_UNIX &&
        std::string(peer.sun_path).find("ox_stdpipe") != std::string::npos) {
      return fd;
    }
  }
  return -1;
}

int losses = 0;
void OX_CALL on_loss(std::uint32_t, OX_RESULT code, std::uint32_t) { losses += code == 17 ? 1 : 100; }
int refusals = 0;
void OX_CALL on_report(void*, void*, dnode* list, OX_RESULT code) {
  refusals += code == 0 ? 0 : code == 17 ? 1 : 100;
  (void)oxdFree(list);
}

// The program waits by itself, and calls the library for the first time when the descriptor says so.
TEST_F(LossRoad, AProgramsOwnPollSeesEveryEndOfTheConnection) {
  write_file(work_dir() + "/conf/oxmgrd.cf", "SendTimeout:\t1\n");
  const auto write = [](const std::string& bytes) {
    const int fd = own_connection();
    for (std::size_t at = 0; at < bytes.size();) {
      const ssize_t count = ::send(fd, bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL);
      if (count <= 0) return;
      at += static_cast<std::size_t>(count);
    }
  };
  const std::string request =
      request_bytes({.command = 1, .body = text("system:system") + text("11.1.1.0") + std::string(10, '\0')});
  const struct {
    const char* what;
    std::function<void()> lose;
    bool is_gone = false;
  } rows[] = {
      {"the manager dies", [&] { lose_manager(true); }, true},
      {"it ends", [&] { lose_manager(false); }, true},
      {"it cuts off one who sends rubbish", [&] { write("GET / HTTP/1.0\r\n\r\n" + std::string(40, '\0')); }},
      {"it cuts off one who is too slow",
       [&] {
         for (int i = 0; i < 20'000; ++i) write(request);
       }},
  };
  lose_manager(true);
  daemon.start();
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    void* request_of_ours = nullptr;
    ASSERT_EQ(0u, oxaInit(on_loss));
    ASSERT_EQ(0u,
              oxaAsyGet(nullptr, "system:system", "11.1.1.0", nullptr, 64, 0, on_report, nullptr, &request_of_ours));
    pollfd own{static_cast<int>(oxaGetReportFd()), POLLIN, 0};
    ASSERT_EQ(0, ::poll(&own, 1, 0));
    row.lose();
    EXPECT_EQ(1, ::poll(&own, 1, patience));
    for (int turn = 0; turn < 100 && oxaDispatch(0) == 0; ++turn) {
    }
    EXPECT_EQ(14u, oxaDispatch(0));
    EXPECT_EQ(1, std::exchange(losses, 0));
    EXPECT_EQ(1, std::exchange(refusals, 0));
    EXPECT_EQ(14u, oxaClose(request_of_ours));
    if (row.is_gone) daemon.start();
  }
  session().close();
}

}  // namespace
}  // namespace ox::test
