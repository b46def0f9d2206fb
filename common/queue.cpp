// Intrusive doubly linked lists, held by one head pointer. The head's prev is the last node, so that both ends are
// found in one step; the last node's next is null.
// They stay untraced: the trace itself and every list of the library are made of them.
#include <cstdlib>

#include <oxbase/oxc.h>

#include "common/memory.h"

namespace ox {
namespace {

struct Links {
  void* next;
  void* prev;
};

// A list along link pair k of its records.
class List {
 public:
  List(void* head, std::uint32_t k) noexcept : head_(static_cast<void**>(head)), k_(k) {}

  [[nodiscard]] void* first() const noexcept { return *head_; }
  [[nodiscard]] Links& links(void* node) const noexcept { return static_cast<Links*>(node)[k_]; }

  void add(void* node) noexcept {
    links(node).next = nullptr;
    if (first() == nullptr) {
      links(node).prev = node;
      *head_ = node;
      return;
    }
    void* tail = links(first()).prev;
    links(tail).next = node;
    links(node).prev = tail;
    links(first()).prev = node;
  }

  void remove(void* node) noexcept {
    Links& own = links(node);
    if (first() != nullptr && links(first()).prev == node) links(first()).prev = own.prev;
    if (node == first()) {
      *head_ = own.next;
    } else if (own.prev != nullptr) {
      links(own.prev).next = own.next;
    }
    if (own.next != nullptr) links(own.next).prev = own.prev;
    own = {nullptr, nullptr};
  }

  void link(void* other) noexcept {
    close_chain(other);
    if (first() == nullptr) {
      *head_ = other;
      return;
    }
    void* tail = links(first()).prev;
    links(tail).next = other;
    links(first()).prev = links(other).prev;
    links(other).prev = tail;
  }

  void split(void* node) noexcept {
    if (first() == nullptr) return;
    if (node == first()) {
      *head_ = nullptr;
      return;
    }
    void* tail = links(first()).prev;
    void* before = links(node).prev;
    links(before).next = nullptr;
    links(first()).prev = before;
    links(node).prev = tail;
  }

  // Makes the list of the nodes in the array's order.
  void relink(void** nodes, std::uint32_t count) noexcept {
    for (std::uint32_t i = 0; i < count; ++i) {
      links(nodes[i]) = {i + 1 < count ? nodes[i + 1] : nullptr, i != 0 ? nodes[i - 1] : nodes[count - 1]};
    }
    *head_ = nodes[0];
  }

 private:
  // A chain that was built through next alone has no prev in its first node yet.
  void close_chain(void* chain) noexcept {
    if (links(chain).prev != nullptr) return;
    void* last = chain;
    while (links(last).next != nullptr) last = links(last).next;
    links(chain).prev = last;
  }

  void** head_;
  std::uint32_t k_;
};

OX_RESULT sort(List list, int(OX_CALL* compare)(const void*, const void*)) {
  std::uint32_t count = 0;
  for (void* node = list.first(); node != nullptr; node = list.links(node).next) ++count;
  if (count == 0) return OX_OK;
  const auto nodes = make_tracked_array<void*>(count, "sort");
  if (!nodes) return OX_ENOMEM;
  std::uint32_t i = 0;
  for (void* node = list.first(); node != nullptr; node = list.links(node).next) nodes[i++] = node;
  std::qsort(nodes.get(), count, sizeof(void*), compare);
  list.relink(nodes.get(), count);
  return OX_OK;
}

}  // namespace
}  // namespace ox

using ox::List;

OX_RESULT OX_CALL oxcQueueAdd(void* head, void* node) { return oxcQueueAdd2(head, node, 0); }

OX_RESULT OX_CALL oxcQueueAdd2(void* head, void* node, uint32_t k) {
  if (head == nullptr || node == nullptr) return OX_EARG;
  List(head, k).add(node);
  return OX_OK;
}

OX_RESULT OX_CALL oxcQueueIns(void* first, void* after, void* node) {
  if (first == nullptr || after == nullptr || node == nullptr) return OX_EARG;
  const List list(&first, 0);
  void* next = list.links(after).next;
  list.links(next != nullptr ? next : first).prev = node;
  list.links(node) = {next, after};
  list.links(after).next = node;
  return OX_OK;
}

OX_RESULT OX_CALL oxcQueueDel(void* head, void* node) { return oxcQueueDel2(head, node, 0); }

OX_RESULT OX_CALL oxcQueueDel2(void* head, void* node, uint32_t k) {
  if (head == nullptr || node == nullptr) return OX_EARG;
  List(head, k).remove(node);
  return OX_OK;
}

OX_RESULT OX_CALL oxcQueueLink(void* head, void* list) { return oxcQueueLink2(head, list, 0); }

OX_RESULT OX_CALL oxcQueueLink2(void* head, void* list, uint32_t k) {
  if (head == nullptr) return OX_EARG;
  if (list != nullptr) List(head, k).link(list);
  return OX_OK;
}

OX_RESULT OX_CALL oxcQueueSplit(void* head, void* node) { return oxcQueueSplit2(head, node, 0); }

OX_RESULT OX_CALL oxcQueueSplit2(void* head, void* node, uint32_t k) {
  if (head == nullptr || node == nullptr) return OX_EARG;
  List(head, k).split(node);
  return OX_OK;
}

OX_RESULT OX_CALL oxcQueueSort(void* head, int(OX_CALL* compare)(const void*, const void*)) {
  if (head == nullptr || compare == nullptr) return OX_EARG;
  return ox::sort(List(head, 0), compare);
}

OX_RESULT OX_CALL oxcQueueFree(void* first, OX_RESULT(OX_CALL* freeFn)(void* node)) {
  if (freeFn == nullptr) return OX_EARG;
  List list(&first, 0);
  while (void* node = list.first()) {
    list.remove(node);
    (void)freeFn(node);
  }
  return OX_OK;
}
