// A complete session against the scripted peer.
#pragma once

#include <gtest/gtest.h>

#include <oxbase/oxa.h>

#include "access/session.h"
#include "tests/support/installation.h"
#include "tests/support/scripted_peer.h"

namespace ox::test {

class SessionTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(0u, oxaInit(nullptr));
    (void)peer.greetings();
  }
  void TearDown() override { session().close(); }

  Installation installation;
  ScriptedPeer peer;
};

}  // namespace ox::test
