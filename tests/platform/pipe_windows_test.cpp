// The serving end of a pipe when the system gives no more instances.
#include <windows.h>

#include <asio/io_context.hpp>
#include <atomic>
#include <chrono>
#include <memory>
#include <vector>

#include "platform/pipe.h"
#include "platform/server/pipe_server.h"
#include "tests/support/test.h"

namespace {

std::atomic<int> instances_left = 0;

HANDLE WINAPI create_counted(LPCSTR name, DWORD open, DWORD mode, DWORD most, DWORD out, DWORD in, DWORD limit,
                             LPSECURITY_ATTRIBUTES security) {
  using Create = decltype(&::CreateNamedPipeA);
  static const auto create = reinterpret_cast<Create>(
      reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleA("kernel32"), "CreateNamedPipeA")));
  if (instances_left-- > 0) return create(name, open, mode, most, out, in, limit, security);
  ::SetLastError(ERROR_PIPE_BUSY);
  return INVALID_HANDLE_VALUE;
}

}  // namespace

// In the place of the import.
extern "C" {
extern const decltype(&::CreateNamedPipeA) create_named_pipe __asm__("__imp__CreateNamedPipeA@32");
const decltype(&::CreateNamedPipeA) create_named_pipe = &create_counted;
}

namespace ox::platform {
namespace {

TEST(Pipe, TheLastInstanceIsTheReserveAndAcceptingGoesOn) {
  constexpr char name[] = "\\\\.\\PIPE\\ox_stdpipe";
  asio::io_context loop;
  std::vector<std::unique_ptr<PipeConnection>> served;
  const auto server = make_pipe_server(loop);
  const auto serve_next = [&] {
    const std::size_t before = served.size();
    while (served.size() == before && loop.run_one_for(std::chrono::seconds(60)) != 0) {
    }
  };
  instances_left = 6;
  ASSERT_EQ(error_none, server->serve(name, [&](auto client) { served.push_back(std::move(client)); }));
  Pipe clients[6];
  for (Pipe& client : clients) {
    ASSERT_EQ(error_none, client.open(name));
    serve_next();
  }
  ASSERT_EQ(6u, served.size());
  for (std::size_t i = 0; i < 6; ++i) EXPECT_EQ(i == 5, served[i]->from_reserve()) << i;
  Pipe more;
  EXPECT_NE(error_none, more.open(name));

  served.clear();
  instances_left = 100;
  Error opened = error_invalid_name;
  for (int i = 0; i < 600 && opened != error_none; ++i) {
    loop.run_one_for(std::chrono::milliseconds(100));
    opened = more.open(name);
  }
  ASSERT_EQ(error_none, opened);
  serve_next();
  ASSERT_EQ(1u, served.size());
  EXPECT_FALSE(served[0]->from_reserve());
}

}  // namespace
}  // namespace ox::platform
