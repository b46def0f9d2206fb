// Messages that come to the report window from without.
#include <gtest/gtest.h>
#include <windows.h>

#include <vector>

#include "platform/report_window.h"

namespace ox::platform {
namespace {

std::vector<std::uint32_t> seen;

TEST(ReportWindow, OthersMayPostToIt) {
  ReportWindow window;
  ASSERT_EQ(error_none, window.create([](std::uint32_t message) { seen.push_back(message); }));
  const auto own = reinterpret_cast<HWND>(static_cast<std::uintptr_t>(window.handle()));
  ASSERT_NE(FALSE, ::PostMessageA(own, WM_COMMAND, 401, 0));
  window.dispatch(0);
  EXPECT_EQ(error_none, window.poster().post(400)) << "what was not posted here is not counted";
  window.dispatch(1000);
  EXPECT_EQ((std::vector<std::uint32_t>{401, 400}), seen);
}

}  // namespace
}  // namespace ox::platform
