// What the families send and how they read what comes back.
#pragma once

#include <string>

#include <oxbase/oxa.h>

#include "data/dnode.h"

namespace ox::entries {

using data::dnode_ptr;

// Component names are shorter; those at hand have room for one and its terminator.
inline constexpr std::size_t name_limit = 64;

// 195 for null, 59 for a name of 64 characters or more.
[[nodiscard]] OX_RESULT check_name(const char* name) noexcept;

struct Component {
  const char* type = nullptr;
  const char* name = nullptr;

  [[nodiscard]] std::string text() const;  // "type:name"
};

// Reads attributes. 0 and an answer of at least one node; 122; 121; the errors of oxaGet.
[[nodiscard]] OX_RESULT get(const char* manager, const Component& component, const char* path, std::uint32_t options,
                            std::uint32_t seconds, dnode_ptr& answer);

// Reads one number. 0; 32 for an answer that is none; as get().
[[nodiscard]] OX_RESULT get_number(const char* manager, const Component& component, const char* path,
                                   std::uint32_t seconds, std::uint32_t& number);

// The list of a request in the making. Where a component is given, each node names it.
class Nodes {
 public:
  Nodes() = default;
  explicit Nodes(const Component& component) noexcept : component_(component) {}

  // Append a text, the empty one for null; a number. 0; 3; 57, 59 for an empty type or name of the component.
  [[nodiscard]] OX_RESULT add(const char* path, const char* text) noexcept;
  [[nodiscard]] OX_RESULT add(const char* path, std::uint32_t type, std::uint32_t number) noexcept;
  // Appends a node that has nothing but a path.
  [[nodiscard]] OX_RESULT add(const char* path) noexcept;
  // Appends a node that has another one's path and value, and no more. 0; 3; 57, 59.
  [[nodiscard]] OX_RESULT add_copy(const dnode& node) noexcept;

  [[nodiscard]] const dnode* list() const noexcept { return list_.get(); }

 private:
  [[nodiscard]] OX_RESULT add_value(const char* path, std::uint32_t type, std::uintptr_t value) noexcept;
  [[nodiscard]] OX_RESULT append(dnode_ptr node) noexcept;

  Component component_;
  dnode_ptr list_;
};

// Writes attributes. 0; the errors of oxaSet. What the answer's nodes say is in them.
[[nodiscard]] OX_RESULT set(const char* manager, const Nodes& nodes, std::uint32_t seconds);

// The value of a node of a number's type. False when it is not 4 bytes; the number is left as it was.
[[nodiscard]] bool read_number(const dnode* node, std::uint32_t& number) noexcept;

}  // namespace ox::entries
