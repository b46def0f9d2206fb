// What 32-bit programs see of records and of the shared blocks, and what the manager sees of addresses.
#include <windows.h>

#include <cstddef>

#include <oxbase/oxbase.h>

#include "access/async_request.h"
#include "common/trace_control.h"
#include "platform/windows/private_system.h"
#include "tests/amib/tree_fixture.h"

namespace ox {
namespace {

static_assert(sizeof(Queue) == 8 && offsetof(Queue, next) == 0 && offsetof(Queue, prev) == 4);

// The bytes of a block, in whole pages, as any program of the system sees them: by its name, with the system's calls.
std::string block(const std::string& name) {
  const HANDLE handle = ::OpenFileMappingA(FILE_MAP_READ, FALSE, platform::object_name(name.c_str()).c_str());
  const void* const view = ::MapViewOfFile(handle, FILE_MAP_READ, 0, 0, 0);
  MEMORY_BASIC_INFORMATION pages{};
  EXPECT_NE(0u, ::VirtualQuery(view, &pages, sizeof pages));
  const std::string bytes(static_cast<const char*>(view), view != nullptr ? pages.RegionSize : 0);
  (void)::UnmapViewOfFile(view);
  (void)::CloseHandle(handle);
  return bytes;
}

std::uint32_t word(const std::string& bytes, std::size_t at) {
  std::uint32_t value = 0;
  bytes.copy(reinterpret_cast<char*>(&value), sizeof value, at);
  return value;
}

using Tree = test::SmallTreeTest;

// What stands inside a record is the same everywhere.
TEST_F(Tree, BlocksHoldTheDirectoryAndTheNodesAtFixedPlaces) {
  const std::string directory = block("Global\\ox1120"), nodes = block("Global\\ox1121");
  EXPECT_EQ((8200u + 4095) / 4096 * 4096, directory.size());
  EXPECT_EQ(1121u, word(directory, 12)) << "the key of block 1";
  EXPECT_EQ(0u, word(directory, 16));
  const auto name_of = [&](std::uint32_t ref) { return nodes.c_str() + (ref & 0x1FFFFF) + 36; };
  EXPECT_EQ(1u, word(directory, 0) >> 21);
  EXPECT_STREQ("amibtop", name_of(word(directory, 0)));
  EXPECT_STREQ("enterprises", name_of(word(directory, 4))) << "the newest node";
  EXPECT_STREQ("cmnState", name_of(node("obj.cmn.cmnState")));
}

TEST(Layout, TheTraceIsSwitchedByFourWordsNamedAfterTheProcess) {
  trace::attach();
  const std::string name = "oxdebug." + std::to_string(::GetCurrentProcessId());
  EXPECT_EQ(std::string("\0\0\0\0\1\0\0\0\0\0\0\0\0\0\0\0", 16), block(name).substr(0, 16));
  oxcSetDebugMask(0x240);
  EXPECT_EQ(0x240u, word(block(name), 0));
  oxcSetDebugMask(0);
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
