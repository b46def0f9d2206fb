// Owners of data nodes, and what the manager asks of them.
#pragma once

#include <memory>
#include <new>
#include <span>
#include <utility>

#include <oxbase/oxc.h>
#include <oxbase/oxd.h>

#include "manager/base/component_name.h"
#include "manager/base/oid.h"
#include "manager/base/payload.h"

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

// A node with the AMIB name. Throws std::bad_alloc, as all that makes or completes nodes.
[[nodiscard]] NodePtr named_node(const Oid& path);
// A node that says why a path has no value.
[[nodiscard]] NodePtr error_node(const Oid& path, OX_RESULT code);
// Says whose node it is.
void set_component(dnode* node, const ComponentName& component);
// Says when it was answered: now.
void set_response_time(dnode* node);

// The AMIB name of a node; empty when it has none.
[[nodiscard]] Oid path_of(const dnode* node);
// The same into numbers whose memory is used again.
void read_path(const dnode* node, Oid& path);
// The error code of a node, 0 when it has none.
[[nodiscard]] OX_RESULT code_of(const dnode* node);

// Reads a list as it travels: 0, 3, 71.
[[nodiscard]] OX_RESULT decode_nodes(std::span<const std::byte> bytes, NodeList& nodes);
// 0, 3, 266.
[[nodiscard]] OX_RESULT encode_nodes(const NodeList& nodes, Bytes& bytes);

}  // namespace ox::manager
