// What the library does when threads come and go.
#include <gtest/gtest.h>
#include <windows.h>

#include <thread>

#include <oxbase/oxc.h>

#include "tests/road/module.h"

namespace ox::test {
namespace {

// How many of the system's slots a new thread has filled before it calls anything.
int filled_at_start() {
  int filled = 0;
  std::thread([&filled] {
    for (DWORD slot = 0; slot < TLS_MINIMUM_AVAILABLE; ++slot) filled += ::TlsGetValue(slot) != nullptr ? 1 : 0;
  }).join();
  return filled;
}

TEST(Library, AThreadHasItsStateBeforeItsFirstCall) {
  const int without = filled_at_start();
  Module module;
  EXPECT_LT(without, filled_at_start());
  module.unload();
  EXPECT_EQ(without, filled_at_start());
}

// It goes on to live, and ends when nobody is there to be told.
TEST(Library, AThreadOutlivesTheLibrary) {
  Module module;
  auto* const text = module.find<decltype(oxcStrError)>("oxcStrError");
  HANDLE const used = ::CreateEventA(nullptr, TRUE, FALSE, nullptr);
  HANDLE const gone = ::CreateEventA(nullptr, TRUE, FALSE, nullptr);
  std::thread thread([&] {
    EXPECT_NE(nullptr, text(7));
    (void)::SetEvent(used);
    (void)::WaitForSingleObject(gone, 10000);
  });
  EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(used, 10000));
  module.unload();
  EXPECT_FALSE(Module::is_loaded());
  (void)::SetEvent(gone);
  thread.join();
  Module again;
  EXPECT_NE(nullptr, again.find<decltype(oxcStrError)>("oxcStrError")(7));
  again.unload();
  (void)::CloseHandle(used);
  (void)::CloseHandle(gone);
}

}  // namespace
}  // namespace ox::test
