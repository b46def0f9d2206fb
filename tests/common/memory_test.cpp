#include <algorithm>
#include <cstring>

#include <oxbase/oxc.h>

#include "common/block_index.h"
#include "common/memory_state.h"
#include "platform/heap.h"
#include "tests/support/fault_heap.h"
#include "tests/support/system_root.h"
#include "tests/support/texts.h"

namespace {

enum Index : uint32_t { live = 1, serial, bytes, peak, tracking };

class MemoryTest : public testing::Test {
 protected:
  void SetUp() override { oxcSetMemDebug(1); }
  void TearDown() override { oxcSetMemDebug(0); }
};

TEST_F(MemoryTest, CountersFollowEveryOperation) {
  using Counters = std::vector<uint32_t>;
  const uint32_t blocks = oxcGetMemValue(live), serials = oxcGetMemValue(serial);
  const auto counters = [&] {  // live blocks and serials since the start, and the bytes
    return Counters{oxcGetMemValue(live) - blocks, oxcGetMemValue(serial) - serials, oxcGetMemValue(bytes)};
  };
  void* a = oxcMemAlloc(100, "a");
  void* b = oxcMemZalloc(50, "b");
  EXPECT_EQ((Counters{2, 2, 150}), counters());
  EXPECT_EQ(0, std::memcmp(b, std::vector<char>(50).data(), 50));
  EXPECT_EQ(b, oxcMemRealloc(b, 10, "b2")) << "a block never moves to shrink";
  EXPECT_EQ((Counters{2, 2, 110}), counters());
  std::memcpy(a, "abc", 4);
  a = oxcMemRealloc(a, 100000, "a2");
  EXPECT_STREQ("abc", static_cast<char*>(a));
  EXPECT_EQ((Counters{2, 2, 100010}), counters());
  oxcMemFree(a);
  oxcFree(b);
  EXPECT_EQ((Counters{0, 2, 0}), counters());
  EXPECT_EQ(100010u, oxcGetMemValue(peak));
  EXPECT_EQ(nullptr, oxcMemAlloc(UINT32_MAX - 3, "wraps"));
  for (const uint32_t none : {0u, 6u}) EXPECT_EQ(0u, oxcGetMemValue(none));

  oxcSetMemDebug(0);
  a = oxcMemAlloc(4, "before");
  oxcSetMemDebug(1);
  a = oxcMemRealloc(a, 4096, "known now");
  EXPECT_EQ((Counters{1, 4, 4096}), counters());
  EXPECT_EQ('@', static_cast<char*>(a)[4096]);
  oxcMemFree(a);
  EXPECT_EQ((Counters{0, 4, 0}), counters());
}

TEST_F(MemoryTest, DamagedAndUnknownBlocksAreReportedAndReleased) {
  const std::string log = ox::test::system_root() + "/system.log";
  ox::test::write_file(log, "");
  const uint32_t blocks = oxcGetMemValue(live);
  auto* damaged = static_cast<char*>(oxcMemAlloc(5, "damaged"));
  damaged[5] = 0;  // one past the requested size, inside the block
  oxcMemFree(damaged);
  oxcSetMemDebug(0);
  void* unknown = oxcMemAlloc(5, "unknown");
  oxcSetMemDebug(1);
  oxcMemFree(unknown);
  EXPECT_EQ(blocks, oxcGetMemValue(live));
  const std::string text = ox::test::read_text(log);
  ox::test::expect_parts(text, {"Destroied", "NOT_FOUND"});
}

// One that was made smaller where it is has still all its room: it goes back to the system, and is not kept as a small
// one.
TEST_F(MemoryTest, ABlockMadeSmallerIsReleasedWhole) {
  void* const large = oxcMemRealloc(oxcMemAlloc(100000, "large"), 16, "small");
  ASSERT_LE(100000u, ox::platform::heap_size(large));
  oxcMemFree(large);
  void* const small = oxcMemAlloc(16, "small");
  EXPECT_GT(1000u, ox::platform::heap_size(small));
  oxcMemFree(small);
}

TEST_F(MemoryTest, TheListFileShowsLiveBlocksInOrder) {
  const std::string file = ox::test::work_dir() + "/tmp/list.log";
  const std::string tags[] = {"first", "second", "third"};
  void* blocks[3] = {};
  for (int i : {0, 1, 2}) blocks[i] = oxcMemAlloc(16, tags[i].c_str());
  blocks[1] = oxcMemRealloc(blocks[1], 4096, tags[1].c_str());  // keeps its place
  oxcMemDebugListOut(file.c_str());
  const std::string text = ox::test::read_text(file);
  std::size_t at = 0;
  for (const std::string& part :
       {tags[0], std::string("=0000004096("), tags[1], tags[2], std::string("=0000004128(")}) {
    at = text.find(part, at);
    ASSERT_NE(std::string::npos, at) << part << " in " << text;
  }
  for (void* block : blocks) oxcMemFree(block);
}

// The index against a plain model, with addresses that collide.
TEST(BlockIndexTest, FindsWhatItHoldsThroughGrowthAndShrinking) {
  ox::memory::BlockIndex index;
  std::vector<char> arena(200000);
  std::vector<char*> blocks;
  for (std::size_t i = 0; i < 20000; ++i) blocks.push_back(arena.data() + i * 8);
  for (char* block : blocks) ASSERT_TRUE(index.add({block, block, 0, 0}));
  const auto kept = [](std::size_t i) { return i % 20 == 1; };
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    if (!kept(i)) index.remove(index.find(blocks[i]));
  }
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    const auto* record = index.find(blocks[i]);
    ASSERT_EQ(kept(i), record != nullptr) << i;
    ASSERT_TRUE(record == nullptr || record->tag == blocks[i]) << "a record is its block's own";
  }
  EXPECT_EQ(blocks.size() / 20, index.records().size());
  ASSERT_TRUE(index.move(index.find(blocks[1]), blocks[0]));
  EXPECT_EQ(nullptr, index.find(blocks[1]));
  EXPECT_EQ(blocks[1], index.find(blocks[0])->tag);
  index.clear();
}

TEST_F(MemoryTest, EveryAllocationOfATrackedPairMayFail) {
  const uint32_t before = oxcGetMemValue(live);
  bool reached = true;
  for (int n = 1; reached; ++n) {
    void* blocks[300] = {};
    ox::test::fail_allocation(n);
    for (void*& block : blocks) block = oxcMemAlloc(8, "fault");
    reached = ox::test::stop_failing();
    EXPECT_GE(reached ? 1 : 0, std::ranges::count(blocks, nullptr)) << n;  // a full index works on
    for (void* block : blocks) oxcMemFree(block);
    EXPECT_EQ(before, oxcGetMemValue(live)) << n;
  }
}

}  // namespace
