#include <algorithm>

#include <oxbase/oxc.h>

#include "tests/support/fault_heap.h"
#include "tests/support/test.h"

namespace {

struct Item {
  Item *next = nullptr, *prev = nullptr;
  Item *next2 = nullptr, *prev2 = nullptr;
  char name = 0;
};

// The names along link pair k; fails when any invariant of a list is broken.
std::string names(Item* head, unsigned k = 0) {
  std::string result;
  const auto next = [k](const Item* item) { return k == 0 ? item->next : item->next2; };
  const auto prev = [k](const Item* item) { return k == 0 ? item->prev : item->prev2; };
  Item* before = nullptr;
  for (Item* item = head; item != nullptr; item = next(item)) {
    EXPECT_TRUE(before == nullptr || before == prev(item)) << "prev of " << item->name;
    before = item;
    result += item->name;
  }
  EXPECT_TRUE(head == nullptr || before == prev(head)) << "the head's prev is the tail";
  return result;
}

class QueueTest : public testing::Test {
 protected:
  QueueTest() : items_(8) {
    for (std::size_t i = 0; i < items_.size(); ++i) items_[i].name = static_cast<char>('a' + i);
  }
  Item& at(char name) { return items_[static_cast<std::size_t>(name - 'a')]; }
  Item* list(const std::string& wanted) {
    Item* head = nullptr;
    for (const char name : wanted) oxcQueueAdd(&head, &at(name));
    return head;
  }
  std::vector<Item> items_;
};

TEST_F(QueueTest, DeletionAtEveryPlaceKeepsTheInvariants) {
  using Row = std::tuple<const char*, char, const char*>;
  for (const auto& [before, removed, after] :
       {Row{"abc", 'a', "bc"}, Row{"abc", 'b', "ac"}, Row{"abc", 'c', "ab"}, Row{"a", 'a', ""}, Row{"", 'a', ""}}) {
    SCOPED_TRACE(before + std::string(" - ") + removed);
    Item* head = list(before);
    EXPECT_EQ(OX_OK, oxcQueueDel(&head, &at(removed)));
    EXPECT_EQ(after, names(head));
    EXPECT_TRUE(at(removed).next == nullptr && at(removed).prev == nullptr);
  }
}

TEST_F(QueueTest, InsertionLinkingAndSplitting) {
  Item* head = list("ab");
  oxcQueueIns(head, &at('a'), &at('c'));
  oxcQueueIns(head, &at('b'), &at('d'));
  EXPECT_EQ("acbd", names(head));
  oxcQueueSplit(&head, &at('b'));
  EXPECT_EQ("ac", names(head));
  EXPECT_EQ("bd", names(&at('b')));
  oxcQueueSplit(&head, &at('a'));
  EXPECT_EQ(nullptr, head);
  EXPECT_EQ("ac", names(&at('a')));
  oxcQueueLink(&head, list("gh"));
  EXPECT_EQ("gh", names(head));
  for (const std::string before : {"", "a"}) {  // a chain without prev is closed when it is linked
    head = list(before);
    at('b') = {.next = &at('c'), .name = 'b'};
    at('c') = {.prev = &at('b'), .name = 'c'};
    oxcQueueLink(&head, &at('b'));
    EXPECT_EQ(before + "bc", names(head));
  }
}

TEST_F(QueueTest, TheSecondLinkPairIsIndependent) {
  Item* first = list("abc");
  Item* second = nullptr;
  for (const char name : std::string("cba")) oxcQueueAdd2(&second, &at(name), 1);
  EXPECT_EQ("cba", names(second, 1));
  oxcQueueDel2(&second, &at('b'), 1);
  EXPECT_EQ("ca", names(second, 1));
  oxcQueueSplit2(&second, &at('a'), 1);
  EXPECT_EQ("c", names(second, 1));
  oxcQueueLink2(&second, &at('a'), 1);
  EXPECT_EQ("ca", names(second, 1));
  EXPECT_EQ("abc", names(first));
}

int by_name(const void* a, const void* b) {
  return (*static_cast<Item* const*>(a))->name - (*static_cast<Item* const*>(b))->name;
}

TEST_F(QueueTest, SortingRelinksAndSurvivesAMemoryShortage) {
  for (std::string order : {"", "a", "ba", "dbca", "abcd"}) {
    Item* head = list(order);
    std::sort(order.begin(), order.end());
    EXPECT_EQ(OX_OK, oxcQueueSort(&head, by_name));
    EXPECT_EQ(order, names(head));
  }
  ox::test::every_allocation_may_fail([&] {
    Item* head = list("cab");
    const OX_RESULT result = oxcQueueSort(&head, by_name);
    EXPECT_EQ(result == OX_OK ? "abc" : "cab", names(head));
    return result;
  });
}

std::string freed;
OX_RESULT note_free(void* node) {
  freed += static_cast<Item*>(node)->name;
  EXPECT_EQ(nullptr, static_cast<Item*>(node)->next);
  return OX_OK;
}

TEST_F(QueueTest, FreeingHandsOverEveryNodeUnlinked) {
  for (Item* head : {list("abc"), static_cast<Item*>(nullptr)}) EXPECT_EQ(OX_OK, oxcQueueFree(head, note_free));
  EXPECT_EQ("abc", freed);
}

}  // namespace
