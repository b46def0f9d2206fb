// What a process sees of a tree that another one has built.
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <functional>

#include "amib/shared_blocks.h"
#include "amib/tree.h"
#include "tests/amib/tree_fixture.h"

namespace ox::amib {
namespace {

using test::TreeTest;

// Another process that was there before the tree, so that it has nothing of it but what it attaches to. The two take
// turns: each waits for the other's signal.
class OtherProcess {
 public:
  // The task begins with a wait for the first signal.
  explicit OtherProcess(const std::function<int(OtherProcess&)>& task) {
    EXPECT_EQ(0, pipe(to_child_));
    EXPECT_EQ(0, pipe(to_parent_));
    pid_ = fork();
    if (pid_ == 0) _exit(wait() ? task(*this) : 99);
  }
  ~OtherProcess() {
    for (int end : {to_child_[0], to_child_[1], to_parent_[0], to_parent_[1]}) close(end);
  }
  [[nodiscard]] bool wait() const {
    char byte = 0;
    return read(pid_ == 0 ? to_child_[0] : to_parent_[0], &byte, 1) == 1;
  }
  [[nodiscard]] bool signal() const { return write(pid_ == 0 ? to_parent_[1] : to_child_[1], "x", 1) == 1; }
  [[nodiscard]] int result() const {
    int status = 0;
    EXPECT_EQ(pid_, waitpid(pid_, &status, 0));
    return WIFEXITED(status) ? WEXITSTATUS(status) : 100;
  }

 private:
  int to_child_[2] = {};
  int to_parent_[2] = {};
  pid_t pid_ = 0;
};

TEST_F(TreeTest, AnotherProcessReadsTheSameNodes) {
  OtherProcess other([](OtherProcess&) {
    uint32_t item = 0;
    if (oxbDeleteAmibTree(OXB_TREE) != 193) return 1;  // there, but not this process's
    if (oxbInit(OXB_TREE) != 0 || oxbInit(OXB_TREE) != 0) return 2;
    if (search_shm_entry(1121)->handles->next != nullptr) return 3;  // mapped again by the second call
    if (oxbEntry("obj.cmn.cmnList.1", &item) != 0) return 4;
    if (std::strcmp("cmnItem", oxbName(item)) != 0 || item != oxbChild(oxbParent(item))) return 5;
    // Letting go of the tree leaves it whole for those that attach later.
    if (oxbDeleteAmibTree(OXB_TREE) != 0 || oxbEntry("obj", &item) != 14) return 6;
    return oxbInit(OXB_TREE) == 0 && oxbEntry("obj", &item) == 0 ? 0 : 7;
  });
  load_small_tree();
  ShmView block;
  ASSERT_EQ(0u, shm_create(1123, 64, block));
  directory()->key[3] = 1123;  // slot 2 is free: not the end
  ASSERT_TRUE(other.signal());
  EXPECT_EQ(0, other.result());
  EXPECT_EQ(1121u, directory()->key[1]);
}

TEST_F(TreeTest, NodesOfBlocksAddedLaterAreNotFollowed) {
  OtherProcess other([](OtherProcess& owner) {
    uint32_t found = 0;
    if (oxbInit(OXB_TREE) != 0 || !owner.signal() || !owner.wait()) return 1;
    if (oxbEntry("obj.cmn.later", &found) != 125 || oxbEntry("obj.cmn.4", &found) != 0) return 2;
    if (std::strcmp("cmn", oxbName(found)) != 0) return 3;
    uint32_t leaves = 0;
    for (uint32_t leaf = 0; (leaf = oxbTraverse(root(), leaf)) != 0;) ++leaves;
    if (leaves != 4) return 4;
    if (oxbDeleteAmibTree(OXB_TREE) != 0 || oxbInit(OXB_TREE) != 0) return 5;
    return oxbEntry("obj.cmn.later", &found) == 0 ? 0 : 6;
  });
  load_small_tree();
  ASSERT_TRUE(other.signal() && other.wait());
  ASSERT_EQ(0u, add("later.def", "later cmn.4 INTEGER read-only CONF-ACS\nbelow sysDescr.1 NULL read-only CONF-ACS\n"));
  ASSERT_TRUE(other.signal());
  EXPECT_EQ(0, other.result());
}

}  // namespace
}  // namespace ox::amib
