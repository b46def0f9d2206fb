// Components of the manager as such: adding, deleting, relating.
#pragma once

#include <oxbase/oxtypes.h>

#include "data/dnode.h"
#include "entries/requests.h"

namespace ox::entries {

// Management codes of the same meaning, as the families use them.
inline constexpr std::uint32_t add_entry = 5;
inline constexpr std::uint32_t delete_entry = 14;
inline constexpr std::uint32_t add_command = 39;
inline constexpr std::uint32_t delete_command = 6;
inline constexpr std::uint32_t set_command = 41;

inline constexpr std::uint32_t add_relation = 8;
inline constexpr std::uint32_t remove_relation = 9;
inline constexpr std::uint32_t copy_collected = 200;  // the binary values of one data entry into another

inline constexpr char entry_name_path[] = "10.7.30.0";  // whose attributes a management request writes

// Adds a component: of the given name, or for null of one that the manager makes. Its name stands in a buffer of the
// process until the next one is added. 0; 207 the name is taken; 1 for an answer without a name; the errors of
// oxaMgmtControl.
[[nodiscard]] OX_RESULT add_component(std::uint32_t code, const char* manager, const Component& wanted,
                                      const char*& name);

// 0; 195 for a null type or name; the errors of oxaMgmtControl.
[[nodiscard]] OX_RESULT delete_component(std::uint32_t code, const char* manager, const Component& component);

// Manages two components by a relation, or without one: adds it, removes it, copies from one to the other.
[[nodiscard]] OX_RESULT manage_two(std::uint32_t code, const char* manager, const char* relation, const Component& from,
                                   const Component& to);

// The components that are related to one. 0 and an answer, which related_name() reads; 122 none.
[[nodiscard]] OX_RESULT get_related(const char* manager, const char* relation, const Component& component,
                                    dnode_ptr& answer);

// The name of a related component when it is of that type, else null; it stands in the thread's buffer of display
// texts. 0; 3.
[[nodiscard]] OX_RESULT related_name(const dnode& node, const char* type, const char*& name) noexcept;

// Sends a management request whose answer is its result alone.
[[nodiscard]] OX_RESULT manage(std::uint32_t code, const char* manager, const Nodes& nodes);

// Deletes what has just been added, unless release() says that it is complete.
class AddedComponent {
 public:
  AddedComponent(std::uint32_t delete_code, const char* manager, const Component& component) noexcept
      : delete_code_(delete_code), manager_(manager), component_(component) {}
  ~AddedComponent() {
    if (component_.name != nullptr) (void)delete_component(delete_code_, manager_, component_);
  }
  AddedComponent(const AddedComponent&) = delete;
  AddedComponent& operator=(const AddedComponent&) = delete;
  void release() noexcept { component_.name = nullptr; }

 private:
  std::uint32_t delete_code_;
  const char* manager_;
  Component component_;
};

}  // namespace ox::entries
