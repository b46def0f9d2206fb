// Allocation failures on demand: of the tracked allocator's heap and of operator new alike.
#pragma once

#include <gtest/gtest.h>

#include <oxbase/oxc.h>

namespace ox::test {

// The n-th allocation from now on fails, once. 0 switches it off.
void fail_allocation(int n) noexcept;
// Switches it off; true when the n-th allocation took place.
bool stop_failing() noexcept;

// Runs `op` with its first, second, ... allocation failing, until it does not get that far any more. `op` returns a
// result code and releases what it made. Each failure must give 3 and leave no block behind; the last run gives 0.
// State that a first use builds for good (thread contexts, tables) is warmed up by one run before.
template <class Op>
void every_allocation_may_fail(Op op, OX_RESULT success = OX_OK) {
  ASSERT_EQ(success, op());
  for (int n = 1;; ++n) {
    const uint32_t before = oxcGetMemValue(1);
    fail_allocation(n);
    const OX_RESULT result = op();
    const bool reached = stop_failing();
    EXPECT_EQ(reached ? OX_RESULT{OX_ENOMEM} : success, result) << "allocation " << n;
    EXPECT_EQ(before, oxcGetMemValue(1)) << "blocks left after the failure of allocation " << n;
    if (!reached) return;
    ASSERT_LT(n, 100000);
  }
}

}  // namespace ox::test
