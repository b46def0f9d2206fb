// Stored values as data nodes, and back.
#pragma once

#include "manager/base/node_list.h"
#include "manager/components/store.h"

namespace ox::manager {

// Nodes with AMIB name and value.
[[nodiscard]] NodePtr value_node(const Oid& path, const Value& value);
[[nodiscard]] NodePtr text_node(const Oid& path, const std::string& text);
// What reports tell of a component: the value, or that there is none any more.
[[nodiscard]] NodePtr told_node(const ComponentName& component, const Oid& path, const Value& value);
[[nodiscard]] NodePtr deleted_node(const ComponentName& component, const Oid& path);

// Brings the value of a node that is to be written into the type of its attribute, in place: the numbers of 4 bytes
// stand for each other, as do the addresses, and a text is read as a value of the type. 61 for another type; 32 without
// a value; 70, 88, 412 for a text that is no value of the type.
[[nodiscard]] OX_RESULT convert_value(dnode* node, std::uint32_t type);
[[nodiscard]] Value value_of(const dnode* node);
// The text of a DisplayString or OctetString; empty for any other.
[[nodiscard]] std::string text_of(const dnode* node);

}  // namespace ox::manager
