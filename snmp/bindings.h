// The list of variable bindings in a message: SEQUENCE OF SEQUENCE { name, value } (RFC 1157, 4.1.1; RFC 3416, 3). Each
// binding is one data node, its AMIB name the identifier in dotted text.
#pragma once

#include <cstdint>
#include <utility>

#include "data/dnode.h"
#include "snmp/ber.h"

namespace ox::snmp {

// Space that put_bindings() needs at most, and the list's last node. O(1) for each node.
struct BindingsExtent {
  std::uint64_t bound;
  const dnode* last;
};
[[nodiscard]] BindingsExtent extent_of_bindings(const dnode* list) noexcept;

// Writes a list up to its last node. With `first_null` the first binding gets the value NULL, whatever it holds.
// 111 for a malformed name, a node without value, and a value that SNMP cannot carry.
[[nodiscard]] OX_RESULT put_bindings(ber::ReverseWriter& out, const dnode* list, const dnode* last,
                                     bool first_null) noexcept;

// The same without the list's own header, for a list that goes on behind these bindings.
[[nodiscard]] OX_RESULT put_each_binding(ber::ReverseWriter& out, const dnode* list, const dnode* last,
                                         bool first_null) noexcept;

// What a value that cannot be read does: it spoils the message, or its own node has the error code 112.
enum class Unreadable { refused, fails_alone };

// The name and the value of a binding. False for anything else.
struct Binding {
  ber::Element name;
  ber::Element value;
};
[[nodiscard]] bool open_binding(const ber::Element& element, Binding& binding) noexcept;

// A node of a binding, or null: 112, 3.
[[nodiscard]] OX_RESULT take_binding(const Binding& binding, Unreadable unreadable, data::dnode_ptr& node) noexcept;

// Nodes in the order in which they come.
class BindingList {
 public:
  void add(data::dnode_ptr node) noexcept;
  [[nodiscard]] data::dnode_ptr take() noexcept { return std::move(first_); }

 private:
  data::dnode_ptr first_;
};

// Reads the bindings of a list element. 112, 3; the nodes are handed out only on success.
[[nodiscard]] OX_RESULT take_bindings(const ber::Element& element, Unreadable unreadable,
                                      data::dnode_ptr& list) noexcept;

}  // namespace ox::snmp
