// Owners of data nodes.
#pragma once

#include <memory>
#include <new>
#include <utility>

#include <oxbase/oxc.h>
#include <oxbase/oxd.h>

namespace ox::manager {

struct FreeNode {
  void operator()(dnode* node) const noexcept { (void)oxdFree(node); }
};
using NodePtr = std::unique_ptr<dnode, FreeNode>;

[[nodiscard]] inline NodePtr make_node() {
  NodePtr node(oxdAlloc(1));
  if (!node) throw std::bad_alloc();
  return node;
}

// A list of data nodes; appending is O(1).
class NodeList {
 public:
  NodeList() = default;
  explicit NodeList(dnode* list) noexcept : head_(list) {}
  NodeList(NodeList&& other) noexcept : head_(std::exchange(other.head_, nullptr)) {}
  NodeList& operator=(NodeList&& other) noexcept {
    std::swap(head_, other.head_);
    return *this;
  }
  ~NodeList() { (void)oxdFree(head_); }

  void add(NodePtr node) noexcept { (void)oxcQueueAdd(&head_, node.release()); }
  // Takes the first node off the list; null when there is none.
  [[nodiscard]] NodePtr take_first() noexcept {
    dnode* const node = head_;
    if (node != nullptr) (void)oxcQueueDel(&head_, node);
    return NodePtr(node);
  }
  [[nodiscard]] dnode* get() const noexcept { return head_; }
  [[nodiscard]] dnode** out() noexcept { return &head_; }
  [[nodiscard]] bool empty() const noexcept { return head_ == nullptr; }

 private:
  dnode* head_ = nullptr;
};

}  // namespace ox::manager
