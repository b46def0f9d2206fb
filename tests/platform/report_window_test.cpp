#include "platform/report_window.h"

#include <thread>

#include "platform/named_event.h"
#include "tests/support/test.h"

namespace ox::platform {
namespace {

std::vector<std::uint32_t> seen;
ReportWindow* window_of_handler = nullptr;
ReportWindow::Poster poster_of_handler;

void note(std::uint32_t message) { seen.push_back(message); }

TEST(ReportWindow, RunsWhatOtherThreadsPostInTheirOrder) {
  ReportWindow window, other;
  EXPECT_EQ(0U, window.handle());
  EXPECT_EQ(error_invalid_handle, window.poster().post(400));
  ASSERT_EQ(error_none, window.create(note));
  ASSERT_EQ(error_none, other.create(note));
  EXPECT_NE(0U, window.handle());
  EXPECT_NE(window.handle(), other.handle());
  std::thread([poster = window.poster()] {
    for (const std::uint32_t message : {400U, 401U}) EXPECT_EQ(error_none, poster.post(message));
  }).join();
  std::thread([&] { window.dispatch(0); }).join();  // not its thread: nothing runs
  EXPECT_TRUE(seen.empty());
  window.dispatch(infinite);
  EXPECT_EQ((std::vector<std::uint32_t>{400, 401}), seen);
  window.dispatch(1);
  EXPECT_EQ(2U, seen.size());

  std::thread late([poster = window.poster()] { EXPECT_EQ(error_none, poster.post(7)); });
  window.dispatch(infinite);
  late.join();
  EXPECT_EQ(7U, seen.back());
}

TEST(ReportWindow, AFullQueueRefusesAndAGoneWindowIsTold) {
  ReportWindow window;
  ASSERT_EQ(error_none, window.create(note));
  const ReportWindow::Poster poster = window.poster();
  Error error = error_none;
  for (int i = 0; i < 100'000 && error == error_none; ++i) error = poster.post(1);
  EXPECT_EQ(error_quota, error);
  EXPECT_EQ(error_quota, last_error());
  window.dispatch(0);
  EXPECT_EQ(error_none, poster.post(1));
  EXPECT_TRUE(poster.alive());
  window = ReportWindow();
  EXPECT_FALSE(poster.alive());
  EXPECT_EQ(error_invalid_handle, poster.post(1));
}

// 1 pumps again, 2 posts to itself, 3 destroys the window.
void awkward(std::uint32_t message) {
  note(message);
  if (message == 1) window_of_handler->dispatch(0);
  if (message == 2) (void)poster_of_handler.post(2);
  if (message != 3) return;
  poster_of_handler = {};
  *window_of_handler = ReportWindow();
}

TEST(ReportWindow, HandlersMayPumpPostAndDestroy) {
  using Messages = std::vector<std::uint32_t>;
  const std::tuple<const char*, Messages, Messages, bool> rows[] = {
      {"pumping again runs the rest", {1, 10, 11}, {1, 10, 11}, true},
      {"what a handler posts waits for the next turn", {2}, {2}, true},
      {"nothing runs in a destroyed window", {3, 12}, {3}, false}};
  for (const auto& [what, posted, expected, alive] : rows) {
    SCOPED_TRACE(what);
    seen.clear();
    ReportWindow window;
    window_of_handler = &window;
    ASSERT_EQ(error_none, window.create(awkward));
    poster_of_handler = window.poster();
    for (const std::uint32_t message : posted) ASSERT_EQ(error_none, poster_of_handler.post(message));
    window.dispatch(0);
    EXPECT_EQ(expected, seen);
    EXPECT_EQ(alive, poster_of_handler.alive());
    poster_of_handler = {};
  }
}

}  // namespace
}  // namespace ox::platform
