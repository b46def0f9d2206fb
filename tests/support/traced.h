// What a test's calls write to the trace.
#pragma once

#include <oxbase/oxc.h>

#include "common/trace_control.h"
#include "tests/support/system_root.h"
#include "tests/support/test.h"

namespace ox::test {

// The lines that `run` traces while the bits of `mask` are set.
template <class Run>
[[nodiscard]] std::string traced(uint32_t mask, Run run) {
  const std::string path = work_dir() + "/tmp/traced";
  trace::attach();
  EXPECT_EQ(0u, oxcDebugOutput(0, (path + ".dbg").c_str()));
  (void)oxcSetDebugMask(mask);
  run();
  (void)oxcSetDebugMask(0);
  trace::detach();
  return read_text(path + "_00.dbg");
}

}  // namespace ox::test
