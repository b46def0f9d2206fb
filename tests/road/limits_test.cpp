// What is too much for the real manager is told, and the session goes on.
#include <oxbase/oxa.h>
#include <oxbase/oxe.h>

#include "access/session.h"
#include "tests/road/daemon.h"
#include "tests/support/system_root.h"
#include "tests/support/test.h"

namespace ox::test {
namespace {

struct EventListRelease {
  void operator()(evmsg* list) const { (void)oxeEvmsgFree(list); }
};
using EventList = std::unique_ptr<evmsg, EventListRelease>;

// So many times the event of that number.
EventList list_of(std::uint32_t number, std::size_t count) {
  std::string wire(8 * count, '\0');
  for (std::size_t i = 0; i < count; ++i) {
    wire[8 * i + 3] = 1;
    wire[8 * i + 7] = static_cast<char>(number);
  }
  evmsg* list = nullptr;
  EXPECT_EQ(0u, oxeEvmsgDecode(wire.data(), static_cast<std::uint32_t>(wire.size()), &list));
  return EventList(list);
}

TEST(Limits, EventsTooLongAndListsTooLong) {
  const Daemon daemon;
  ASSERT_EQ(0u, oxaInit(nullptr));
  std::uint32_t handle = 0;
  ASSERT_EQ(0u, oxeEventOpen(nullptr, "limits", &handle));
  const EventList event(oxeEvmsgAlloc());
  (void)oxeEvmsgSetMemo(event.get(), std::string(1'100'000, 'm').c_str());
  EXPECT_EQ(266u, oxeEventSend(handle, event.get()));
  (void)oxeEvmsgSetMemo(event.get(), "short");
  EXPECT_EQ(0u, oxeEventSend(handle, event.get()));
  std::uint32_t number = 0;
  ASSERT_EQ(0u, oxeEvmsgGetSndId(event.get(), &number));

  const EventList many = list_of(number, 200'000);  // 1.6 MB
  const auto is_marked = [] {
    evmsg* log = nullptr;
    std::uint32_t flag = 0;
    EXPECT_EQ(0u, oxeEvlogGet(nullptr, nullptr, &log));
    const EventList owner(log);
    (void)oxeEvmsgGetFlag(log, &flag);
    return (flag & 1) != 0;
  };
  EXPECT_EQ(0u, oxeEvlogCheck(nullptr, 0, many.get()));
  EXPECT_TRUE(is_marked());
  EXPECT_EQ(0u, oxeEvlogUncheck(nullptr, 0, many.get()));
  EXPECT_FALSE(is_marked());
  EXPECT_EQ(266u, oxeEvlogModify(nullptr, 0, many.get()));
  EXPECT_EQ(122u, oxeEvlogDelete(nullptr, 0, many.get())) << "the second request finds it gone";
  session().close();
}

}  // namespace
}  // namespace ox::test
