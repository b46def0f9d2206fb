// The library loaded and unloaded while the program runs.
#include <thread>

#include <oxbase/oxa.h>
#include <oxbase/oxb.h>
#include <oxbase/oxc.h>

#include "platform/environment.h"
#include "tests/road/daemon.h"
#include "tests/road/module.h"
#include "tests/support/installation.h"
#include "tests/support/scripted_peer.h"

namespace ox::test {
namespace {

void load_use_unload() {
  Module module;
  auto* const text = module.find<decltype(oxcStrError)>("oxcStrError");
  (void)module.find<decltype(oxcSetDebugMask)>("oxcSetDebugMask")(0);
  EXPECT_EQ(0u, module.find<decltype(oxbInit)>("oxbInit")(1120));
  EXPECT_NE(nullptr, text(7));
  std::thread([text] { EXPECT_NE(nullptr, text(7)); }).join();
  module.unload();
  EXPECT_NE(Module::may_go, Module::is_loaded());
}

TEST(Library, AHundredLoadsLeaveNothing) {
  constexpr int loads = 100;
  const Installation installation;
  const auto held = [] { return held_by_this_and(static_cast<int>(platform::process_id())); };
  for (int i = 0; i < 3; ++i) load_use_unload();
  const auto before = held();
  const auto slot = next_thread_slot();
  for (int i = 0; i < loads; ++i) load_use_unload();
  EXPECT_GE(slot + Module::runtime_slots * loads, next_thread_slot());
  const auto now = held();
  const int others = Module::runtime_handles * loads + 3;  // the system's own come and go
  for (std::size_t i = 0; i < now.size(); ++i) EXPECT_GE(before[i] + others, now[i]) << i;
}

int losses = 0;

// Also when its loss ends the thread that the library has started: the window, and what is posted to it, are there yet.
TEST(Library, StaysWhereASessionHasBeenOpened) {
  const Installation installation;
  ScriptedPeer peer;
  Module module;
  auto* const dispatch = module.find<decltype(oxaDispatch)>("oxaDispatch");
  ASSERT_EQ(0u, module.find<decltype(oxaInit)>("oxaInit")([](std::uint32_t, OX_RESULT, std::uint32_t) { ++losses; }));
  (void)peer.greetings();
  module.unload();
  peer.answer(reply_bytes({.type = 6}));
  peer.announce();
  EXPECT_EQ(0u, dispatch(10000));
  EXPECT_EQ(1u, peer.requests().size());
  peer.hang_up();
  while (dispatch(10000) == 0) {
  }
  EXPECT_EQ(1, losses);
  EXPECT_TRUE(Module::is_loaded());
}

}  // namespace
}  // namespace ox::test
