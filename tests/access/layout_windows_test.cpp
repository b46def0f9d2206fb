// What 32-bit programs see of records and of the shared blocks, and what the manager sees of addresses.
#include <windows.h>

#include <cstddef>
#include <cstring>

#include <oxbase/oxbase.h>

#include "access/async_request.h"
#include "common/trace_control.h"
#include "platform/windows/private_system.h"
#include "tests/amib/tree_fixture.h"

namespace ox {
namespace {

static_assert(sizeof(Queue) == 8 && offsetof(Queue, next) == 0 && offsetof(Queue, prev) == 4);

// A block as any program of the system opens it: by its name, with the system's calls.
class Mapped {
 public:
  explicit Mapped(const std::string& name)
      : handle_(::OpenFileMappingA(FILE_MAP_READ, FALSE, platform::object_name(name.c_str()).c_str())),
        bytes_(static_cast<const char*>(::MapViewOfFile(handle_, FILE_MAP_READ, 0, 0, 0))) {}
  Mapped(const Mapped&) = delete;
  Mapped& operator=(const Mapped&) = delete;
  ~Mapped() {
    if (bytes_ != nullptr) (void)::UnmapViewOfFile(bytes_);
    (void)::CloseHandle(handle_);
  }

  [[nodiscard]] bool there() const noexcept { return bytes_ != nullptr; }
  [[nodiscard]] std::uint32_t word(std::size_t at) const {
    std::uint32_t value = 0;
    std::memcpy(&value, bytes_ + at, sizeof value);
    return value;
  }
  [[nodiscard]] const char* text(std::size_t at) const { return bytes_ + at; }
  // Whole pages.
  [[nodiscard]] std::size_t size() const {
    MEMORY_BASIC_INFORMATION view{};
    return ::VirtualQuery(bytes_, &view, sizeof view) != 0 ? view.RegionSize : 0;
  }

 private:
  HANDLE handle_;
  const char* bytes_;
};

using Tree = test::SmallTreeTest;

TEST_F(Tree, BlocksHoldTheDirectoryAndTheNodesAtFixedPlaces) {
  const Mapped directory("Global\\ox1120");
  const Mapped nodes("Global\\ox1121");
  ASSERT_TRUE(directory.there() && nodes.there());
  EXPECT_EQ((8200u + 4095) / 4096 * 4096, directory.size());
  EXPECT_EQ(1121u, directory.word(12)) << "the key of block 1";
  EXPECT_EQ(0u, directory.word(16));
  EXPECT_EQ(0u, directory.word(8196));
  const auto place = [](std::uint32_t ref) { return ref & 0x1FFFFF; };
  const std::uint32_t root = directory.word(0);
  EXPECT_EQ(1u, root >> 21);
  EXPECT_STREQ("amibtop", nodes.text(place(root) + 36));
  // "cmnState cmn.2 INTEGER read-only SNMP-ACS", whose record is the last one's neighbour in the chain of creation.
  const std::uint32_t state = node("obj.cmn.cmnState");
  const std::uint32_t fields[] = {
      2, 1, 1, 3, node("obj.cmn"), 0, node("obj.cmn.cmnName"), node("obj.cmn.cmnList"), node("obj.cmn.cmnName")};
  for (std::size_t i = 0; i < std::size(fields); ++i) EXPECT_EQ(fields[i], nodes.word(place(state) + 4 * i)) << i;
  EXPECT_STREQ("cmnState", nodes.text(place(state) + 36));
  EXPECT_EQ(place(state) + 36 + 12, place(node("obj.cmn.cmnList")));
  EXPECT_STREQ("enterprises", nodes.text(place(directory.word(4)) + 36)) << "the newest node";
}

TEST(Layout, TheTraceIsSwitchedByFourWordsNamedAfterTheProcess) {
  trace::attach();
  {
    const Mapped control("oxdebug." + std::to_string(::GetCurrentProcessId()));
    ASSERT_TRUE(control.there());
    const std::uint32_t at_start[] = {0, 1, 0, 0};
    for (std::size_t i = 0; i < std::size(at_start); ++i) EXPECT_EQ(at_start[i], control.word(4 * i)) << i;
    oxcSetDebugMask(0x240);
    EXPECT_EQ(0x240u, control.word(0));
    oxcSetDebugMask(0);
  }
  trace::detach();
}

TEST(Layout, AWireIdIsTheRecordsAddress) {
  const int records[2] = {};
  std::uint32_t last = 0;
  for (const int& record : records) {
    const std::uint32_t id = make_wire_id(&record, last, [](std::uint32_t) { return false; });
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(&record), id);
  }
}

}  // namespace
}  // namespace ox
