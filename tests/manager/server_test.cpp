// Clients of a manager that memory runs out for.
#include "manager/sessions/server.h"

#include <atomic>
#include <thread>

#include "platform/pipe.h"
#include "tests/manager/manager_fixture.h"
#include "tests/support/fault_heap.h"
#include "tests/support/scripted_peer.h"

namespace ox::manager {
namespace {

constexpr char name[] = "\\\\.\\PIPE\\ox_stdpipe";

class ServerTest : public ManagerTest {};

TEST_F(ServerTest, AClientThatThereIsNoMemoryForIsToldSo) {
  Server server(manager_->loop, manager_->settings, manager_->clients, calls_of(*manager_));
  ASSERT_EQ(0u, server.start(name));
  const std::string greeting = test::half(7) + test::text("none");
  int refused = 0;
  bool reached = true;
  for (int n = 1; reached && n < 1000; ++n) {
    platform::Pipe pipe;
    ASSERT_EQ(0u, pipe.open(name));
    ASSERT_EQ(0u, pipe.write_all(std::as_bytes(std::span(greeting))));
    std::array<std::byte, 4> answer{};
    std::atomic<bool> done = false;
    std::thread reader([&] {
      std::size_t got = 0;
      for (std::span<std::byte> rest = answer; !rest.empty(); rest = rest.subspan(got)) {
        if (pipe.read_some(rest, got) != platform::error_none) break;
      }
      done = true;
    });
    test::fail_allocation(n);
    loop_.restart();
    while (!done) loop_.run_one_for(std::chrono::milliseconds(10));
    reached = test::stop_failing();
    reader.join();
    const int code = std::to_integer<int>(answer[3]);
    EXPECT_NE(std::byte{0}, answer[1]) << "hung up on: allocation " << n;
    EXPECT_TRUE(code == 0 || (code == 3 && reached)) << code << " at allocation " << n;
    refused += code == 3 ? 1 : 0;
  }
  EXPECT_FALSE(reached);
  EXPECT_GT(refused, 2);
}

}  // namespace
}  // namespace ox::manager
