// A complete session against the scripted peer.
#pragma once

#include <array>

#include <oxbase/oxa.h>

#include "access/session.h"
#include "tests/support/installation.h"
#include "tests/support/scripted_peer.h"

namespace ox::test {

class SessionTest : public testing::Test {
 protected:
  void SetUp() override {
    disconnects.clear();
    open_anew();
  }
  void TearDown() override { session().close(); }

  void open_anew() {
    session().close();
    ASSERT_EQ(0u, oxaInit([](std::uint32_t a, OX_RESULT b, std::uint32_t c) { disconnects.push_back({a, b, c}); }));
    (void)peer.greetings();
  }

  // What the disconnect callback was called with. It is called once in a process's life.
  using Disconnects = std::vector<std::array<std::uint32_t, 3>>;
  static inline Disconnects disconnects;

  Installation installation;
  ScriptedPeer peer;
};

}  // namespace ox::test
