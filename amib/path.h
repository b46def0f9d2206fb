// Written paths: which node they name, and what is left over below it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include <oxbase/oxtypes.h>

#include "amib/node.h"

namespace ox::amib {

inline constexpr std::size_t path_limit = 4096;   // characters with the terminator
inline constexpr std::uint32_t depth_limit = 64;  // components

using PathText = std::array<char, path_limit>;

// Where a written path leads in the tree in use. Not copyable: `rest` may point into the object itself.
class Walk {
 public:
  Walk() = default;
  Walk(const Walk&) = delete;
  Walk& operator=(const Walk&) = delete;

  // Follows the path from the root to the deepest node that it names. What is left must be an instance: digits and "*".
  // 125 for an unknown name, 126 for a path too long, 127 for too many components. Nothing is copied, save for the two
  // shorthand prefixes and for quotes. Needs an attached tree; the path must stay while the walk is used.
  OX_RESULT follow(const char* path);

  [[nodiscard]] Ref node() const noexcept { return node_; }
  // The instance as it was written, perhaps with superfluous separators.
  [[nodiscard]] std::string_view rest() const noexcept { return rest_; }

 private:
  OX_RESULT follow_plain(std::string_view path) noexcept;
  OX_RESULT follow_quoted(std::string_view path);
  [[nodiscard]] OX_RESULT check_rest(std::uint32_t components) const noexcept;

  Ref node_ = 0;
  std::string_view rest_;
  PathText text_;  // not cleared: used for the paths that have to be rewritten
};

// Splits off the next component; empty at the end.
[[nodiscard]] std::string_view next_component(std::string_view& path) noexcept;

// A path taken apart into its node and its instance; both stand in one text.
struct PathParts {
  const char* object;
  const char* instance;
};

enum class Form { names, numbers };

// The path of a node, "" for the root. 127 for a node too deep, 126, 125 for a reference to no node.
OX_RESULT node_path(Ref node, Form form, PathText& text);
// A written path with every component that is a node in that form. 125 for a null or empty path.
OX_RESULT convert_path(const char* path, Form form, PathText& text);
OX_RESULT split_path(const char* path, PathText& text, PathParts& parts);

// The node of a path; the root for a null or empty one.
OX_RESULT find_node(const char* path, Ref& node);

// Whether b is a, or a prefix of it at the boundary of a component.
[[nodiscard]] bool is_path_prefix(std::string_view a, std::string_view b) noexcept;

}  // namespace ox::amib
