#include "data/field_kinds.h"

#include <oxbase/oxc.h>

namespace ox::field {

OX_RESULT assign(Text& member, const char* text, const char* tag) noexcept {
  if (text == nullptr) return clear(member), OX_OK;
  const std::size_t size = std::strlen(text) + 1;
  if (size > UINT32_MAX - copy_step) return OX_ENOMEM;
  const auto room = static_cast<std::uint32_t>(size + copy_step - 1) / copy_step * copy_step;
  auto* block = static_cast<char*>(oxcMemAlloc(room, tag));
  if (block == nullptr) return OX_ENOMEM;
  std::memcpy(block, text, size);
  clear(member);
  member = {block, static_cast<std::uint32_t>(size)};
  return OX_OK;
}

OX_RESULT assign(NodeList& member, const dnode* list) noexcept {
  dnode* head = nullptr;
  for (const dnode* node = list; node != nullptr; node = oxdNext(node)) {
    dnode* const copy = oxdCopy(node);
    if (copy == nullptr) {
      (void)oxdFree(head);
      return OX_ENOMEM;
    }
    (void)oxcQueueAdd(&head, copy);
  }
  clear(member);
  member = head;
  return OX_OK;
}

}  // namespace ox::field
